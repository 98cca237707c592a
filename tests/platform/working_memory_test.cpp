#include "platform_linux/working_memory.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>
#include <vector>

#include "picture_files.h"
#include "platform_linux/vips_codec.h"
#include "temporary_folder.h"

namespace kelvaris {
namespace {

template <class Task>
void onThreads(int count, Task task) {
    std::vector<std::thread> threads;
    for (int i = 0; i < count; ++i) threads.emplace_back(task, i);
    for (std::thread& thread : threads) thread.join();
}

TEST(WorkingMemoryTest, SharesNeverExceedTheWholeUnlessOneIsAlone) {
    WorkingMemory memory(100);
    std::atomic<int> used = 0;
    std::atomic<int> passed = 0;
    onThreads(8, [&](int thread) {
        for (int round = 0; round < 200; ++round) {
            const int bytes = thread == 7 ? 250 : 10 + 13 * thread % 60;
            const WorkingMemory::Share share(memory, bytes);
            const int sum = used += bytes;
            if (sum <= 100 || sum == bytes) ++passed;
            std::this_thread::yield();
            used -= bytes;
        }
    });
    EXPECT_EQ(passed, 8 * 200);
}

TEST(WorkingMemoryTest, PicturesThatAreHeldWholeWaitForEachOther) {
    testing::TemporaryFolder folder;
    const Bitmap photograph = testing::photograph(300, 200);
    std::vector<Path> files;
    for (const std::string name : {"a.jpg[interlace]", "b.png[interlace]", "c.heic", "d.jpg"}) {
        testing::savePicture(photograph, (folder.path() / name).string());
        files.push_back(folder.path() / name.substr(0, name.find('[')));
    }
    const auto codec = VipsImageCodec::make({.workingBytes = 1});
    std::atomic<int> decoded = 0;
    onThreads(4, [&](int thread) {
        for (int round = 0; round < 5; ++round) {
            const auto source = codec->open(files[static_cast<std::size_t>(thread + round) % files.size()]);
            if (source && (*source)->decode(100)) ++decoded;
        }
        VipsImageCodec::endThread();
    });
    EXPECT_EQ(decoded, 4 * 5);
}

}  // namespace
}  // namespace kelvaris

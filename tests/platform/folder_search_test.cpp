#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

#include "base/run_loop.h"
#include "platform_linux/linux_folder_search.h"
#include "platform_linux/system_clock.h"

namespace kelvaris {
namespace {

namespace fs = std::filesystem;

class ThreadQueues final : public OperationQueueFactory {
public:
    std::unique_ptr<OperationQueue> makeQueue(std::string name, int width) override {
        return std::make_unique<ThreadedOperationQueue>(std::move(name), width);
    }
};

class LinuxFolderSearchTest : public ::testing::Test {
protected:
    LinuxFolderSearchTest() {
        root = fs::temp_directory_path() / ("kelvaris-search-" + std::to_string(::getpid()));
        fs::create_directories(root);
    }
    ~LinuxFolderSearchTest() override { fs::remove_all(root); }

    std::vector<Path> found(const std::string& name, LinuxFolderSearch::Limits limits = {}) {
        LinuxFolderSearch search(main, queues, {Path(root.string())}, limits, false);
        RunLoop loop(main);
        std::optional<std::vector<Path>> answer;
        search.search(name, [&](std::vector<Path> paths) { answer = std::move(paths); });
        loop.runUntil([&] { return answer.has_value(); });
        return *answer;
    }
    Path path(const std::string& relative) const { return Path((root / relative).string()); }

    fs::path root;
    SystemMonotonicClock clock;
    MainQueue main{clock};
    ThreadQueues queues;
};

TEST_F(LinuxFolderSearchTest, FindsFoldersByTheirExactNameNearestFirst) {
    for (const char* folder :
         {"a/b/c/2026-03-kyoto", "z/2026-03-kyoto", "z/2026-03-kyoto-2", ".hidden/2026-03-kyoto"}) {
        fs::create_directories(root / folder);
    }
    std::ofstream(root / "a" / "2026-03-kyoto") << "a file, not a folder";
    EXPECT_EQ(found("2026-03-kyoto"), (std::vector{path("z/2026-03-kyoto"), path("a/b/c/2026-03-kyoto")}));
    EXPECT_TRUE(found("2026-03-k*").empty());
}

TEST_F(LinuxFolderSearchTest, LinksThatLeadBackDoNotHoldItUpAndDepthIsBounded) {
    fs::create_directories(root / "a/b/c/d/roll");
    fs::create_directory_symlink(root, root / "a/b/loop");
    EXPECT_EQ(found("roll"), (std::vector{path("a/b/c/d/roll")}));
    EXPECT_TRUE(found("roll", {.depth = 3}).empty());
}

}  // namespace
}  // namespace kelvaris

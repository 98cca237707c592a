#include <dirent.h>
#include <fcntl.h>
#include <fmt/format.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>

#include "library/fingerprint.h"
#include "platform_linux/linux_files.h"
#include "stopwatch.h"

/// What a roll's start and save ask of its folder: one listing, and the names and sizes of its pictures.
/// The floor is a bare walk of the folder with one stat a file.
namespace kelvaris::benchmarks {
namespace {

namespace fs = std::filesystem;

/// A folder of small files, removed at the end.
class Folder {
public:
    explicit Folder(int count)
        : path_(fs::temp_directory_path() / fmt::format("kelvaris-benchmark-{}", getpid())) {
        fs::create_directories(path_);
        for (int i = 0; i < count; ++i) std::ofstream(path_ / fmt::format("frame_{:05}.jpg", i)) << i;
    }
    ~Folder() { fs::remove_all(path_); }
    Folder(const Folder&) = delete;
    Folder& operator=(const Folder&) = delete;
    Path path() const { return Path(path_.string()); }

private:
    const fs::path path_;
};

void bareWalk(const Path& path) {
    DIR* const stream = opendir(path.string().c_str());
    if (!stream) std::abort();
    off_t total = 0;
    while (const dirent* const entry = readdir(stream)) {
        struct stat info {};
        if (fstatat(dirfd(stream), entry->d_name, &info, 0) == 0) total += info.st_size;
    }
    closedir(stream);
    benchmark::DoNotOptimize(total);
}

void listingAndFingerprint(benchmark::State& state) {
    const Folder folder(static_cast<int>(state.range(0)));
    const LinuxFiles files;
    compare(
        state, [&] { benchmark::DoNotOptimize(computeFingerprint(files, folder.path())); },
        [&] { bareWalk(folder.path()); });
}
BENCHMARK(listingAndFingerprint)->Arg(10'000)->UseManualTime()->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace kelvaris::benchmarks

#pragma once

#include <unistd.h>

#include <filesystem>
#include <string>

namespace kelvaris::benchmarks {

/// A folder of this process among the temporary ones, with all that is in it removed at the end.
class TemporaryFolder {
public:
    TemporaryFolder() {
        static int made = 0;
        path_ = std::filesystem::temp_directory_path() /
                ("kelvaris-benchmark-" + std::to_string(getpid()) + "-" + std::to_string(++made));
        std::filesystem::create_directories(path_);
    }
    ~TemporaryFolder() {
        std::error_code ignored;
        std::filesystem::remove_all(path_, ignored);
    }
    TemporaryFolder(const TemporaryFolder&) = delete;
    TemporaryFolder& operator=(const TemporaryFolder&) = delete;

    const std::filesystem::path& path() const { return path_; }
    std::filesystem::path operator/(const std::filesystem::path& name) const { return path_ / name; }

private:
    std::filesystem::path path_;
};

}  // namespace kelvaris::benchmarks

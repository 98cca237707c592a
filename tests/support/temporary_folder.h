#pragma once

#include <stdlib.h>

#include <filesystem>
#include <string>

#include "base/path.h"

namespace kelvaris::testing {

/// A folder on the real disk, gone with the object.
class TemporaryFolder {
public:
    TemporaryFolder() {
        std::string name = (std::filesystem::temp_directory_path() / "kelvaris-test-XXXXXX").string();
        if (!mkdtemp(name.data())) std::abort();
        path_ = Path(name);
    }
    ~TemporaryFolder() {
        std::error_code failed;
        std::filesystem::permissions(path_.string(), std::filesystem::perms::owner_all, failed);
        std::filesystem::remove_all(path_.string(), failed);
    }
    TemporaryFolder(const TemporaryFolder&) = delete;
    TemporaryFolder& operator=(const TemporaryFolder&) = delete;

    const Path& path() const { return path_; }

private:
    Path path_;
};

}  // namespace kelvaris::testing

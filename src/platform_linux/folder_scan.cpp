#include "platform_linux/folder_scan.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>

#include <memory>
#include <string_view>

#include "platform_linux/native_path.h"

namespace kelvaris {

namespace {

bool isFolder(int parent, const dirent& entry) {
    if (entry.d_type != DT_UNKNOWN) return entry.d_type == DT_DIR;
    struct stat status {};
    return fstatat(parent, entry.d_name, &status, AT_SYMLINK_NOFOLLOW) == 0 && S_ISDIR(status.st_mode);
}

}  // namespace

std::optional<FolderScan> scanFolder(const Path& folder) {
    const std::unique_ptr<DIR, int (*)(DIR*)> stream(opendir(nativePath(folder).c_str()), closedir);
    struct stat self {};
    if (!stream || fstat(dirfd(stream.get()), &self) != 0) return std::nullopt;
    FolderScan scan{.identity = {self.st_dev, self.st_ino}, .folders = {}};
    while (const dirent* const entry = readdir(stream.get())) {
        const std::string_view name = entry->d_name;
        if (name.starts_with('.') || !isFolder(dirfd(stream.get()), *entry)) continue;
        scan.folders.push_back(folder / pathTextFromNative(name));
    }
    return scan;
}

}  // namespace kelvaris

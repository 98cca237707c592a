#include "platform_linux/linux_folder_access.h"

#include <fcntl.h>
#include <unistd.h>

#include "platform/folder_reference.h"
#include "platform_linux/native_path.h"

namespace kelvaris {

std::optional<std::string> LinuxFolderAccess::makeReference(const Path& folder) {
    return makeFolderReference(files_, folder);
}

std::optional<ResolvedFolder> LinuxFolderAccess::resolve(const std::string& reference,
                                                         SiblingFolders& siblings) {
    return resolveFolderReference(files_, reference, siblings);
}

bool LinuxFolderAccess::beginAccess(const Path& folder) {
    return files_.isDirectory(folder) &&
           faccessat(AT_FDCWD, nativePath(folder).c_str(), R_OK | X_OK, AT_EACCESS) == 0;
}

}  // namespace kelvaris

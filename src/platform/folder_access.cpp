#include "platform/folder_access.h"

namespace kelvaris {

std::optional<ResolvedFolder> FolderAccess::resolve(const std::string& reference) {
    SiblingFolders siblings;
    return resolve(reference, siblings);
}

}  // namespace kelvaris

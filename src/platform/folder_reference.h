#pragma once

#include <optional>
#include <string>

#include "platform/files.h"
#include "platform/folder_access.h"

namespace kelvaris {

/// The rules by which a folder is found again, on any file system that tells devices and inodes.

/// A token of the folder's path, device, inode and birth; nothing when the path is no folder.
std::optional<std::string> makeFolderReference(const Files& files, const Path& folder);

/// The folder itself at its old path is fresh. Otherwise the same folder beside its old place, else
/// whatever folder stands at the old path, is stale; else nothing, as for an empty or foreign token.
std::optional<ResolvedFolder> resolveFolderReference(const Files& files, const std::string& reference);

}  // namespace kelvaris

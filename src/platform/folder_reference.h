#pragma once

#include <optional>
#include <string>

#include "platform/files.h"
#include "platform/folder_access.h"

namespace kelvaris {

/// The rules by which a folder is found again, on any file system that tells inodes.

/// A token of the folder's path, inode and birth; nothing when the path is no folder.
std::optional<std::string> makeFolderReference(const Files& files, const Path& folder);

/// The folder itself at its old path is fresh, also on another device. Otherwise the same folder beside
/// its old place, else whatever folder stands at the old path, is stale; else nothing, as for an empty or
/// foreign token. Whether a folder at the old path holds the roll's files is for its reader to judge.
std::optional<ResolvedFolder> resolveFolderReference(const Files& files, const std::string& reference,
                                                     SiblingFolders& siblings);

}  // namespace kelvaris

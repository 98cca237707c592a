#pragma once

#include <sys/types.h>

#include <optional>
#include <utility>
#include <vector>

#include "base/path.h"

namespace kelvaris {

/// One step of a walk.
struct FolderScan {
    std::pair<dev_t, ino_t> identity;
    std::vector<Path> folders;  ///< those directly in it, without hidden ones and links
};

/// Nothing when the folder cannot be opened. What is in it is not touched where its file system tells
/// folders apart by itself, so that a mount that hangs holds nobody up.
std::optional<FolderScan> scanFolder(const Path& folder);

}  // namespace kelvaris

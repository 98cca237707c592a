#pragma once

#include <optional>
#include <string>

#include "base/path.h"
#include "platform/sibling_folders.h"

namespace kelvaris {

/// Where a folder reference leads today.
struct ResolvedFolder {
    Path path;
    bool isStale = false;  ///< the reference should be made anew: the folder moved or was replaced
};

/// Durable references to the user's folders. Any thread: the mirror finds its folder on its own queue.
class FolderAccess {
public:
    virtual ~FolderAccess() = default;

    /// An opaque token that finds the folder again after a restart, also when it was renamed beside its
    /// old place; nothing when the folder cannot be referred to.
    virtual std::optional<std::string> makeReference(const Path& folder) = 0;
    /// Nothing for an empty or foreign token, and when the folder cannot be found.
    std::optional<ResolvedFolder> resolve(const std::string& reference);
    /// The same for one of many references. The listings of parent folders are kept in siblings, so that
    /// a hundred rolls that moved in one folder cost one listing of it.
    virtual std::optional<ResolvedFolder> resolve(const std::string& reference, SiblingFolders& siblings) = 0;

    /// Opens a folder for reading; each success is paired with one endAccess.
    virtual bool beginAccess(const Path& folder) = 0;
    virtual void endAccess(const Path& folder) = 0;
};

}  // namespace kelvaris

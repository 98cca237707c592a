#pragma once

#include <functional>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "platform/files.h"
#include "platform/places.h"
#include "vault/vault_store.h"

namespace kelvaris {

/// What this program makes on a machine, by name: the places that a mirror must stay out of, and what a
/// reset removes. Whatever else lies in these folders is somebody else's.

/// A folder with files of the program in it.
struct OwnFolder {
    Path path;
    /// Whether a file of that name is the program's.
    std::function<bool(std::string_view name)> ownsFile;
    /// Whether a folder of that name in it is the program's, with all that is in it.
    std::function<bool(std::string_view name)> ownsFolder;
    /// Whether the folder itself was made for the program alone; other files may stand beside its own
    /// elsewhere, as in a folder that the user named as the root of a library.
    bool isPrivate = false;
};

/// Every such folder, inner ones before those that hold them.
std::vector<OwnFolder> ownFolders(const Files& files, const VaultPaths& vault, const Places& places);

/// The path free of links; where nothing stands at the path, its folder is followed instead.
Path realPath(const Files& files, const Path& path);
/// Whether the path is the folder or lies below it. Both free of links.
bool isWithin(const Path& path, const Path& folder);

/// Why a mirror must not stand in the folder, for the user; nothing when it may.
std::optional<std::string> mirrorFolderRefusal(const Files& files, const Path& folder,
                                               const VaultPaths& vault, const Places& places,
                                               std::span<const Path> rollFolders);

/// Why nothing may be reset: a line for each folder of scans and each mirror that lies in a folder of the
/// program's own.
std::vector<std::string> resetRefusals(const Files& files, std::span<const OwnFolder> folders,
                                       std::span<const Path> rollFolders,
                                       const std::optional<Path>& mirrorFolder);

/// What a reset did.
struct ResetReport {
    std::vector<std::string> refusals;  ///< for the user; when there are any, nothing was removed
    std::vector<std::string> failures;  ///< what could not be removed, and why

    bool hasFailed() const { return !refusals.empty() || !failures.empty(); }
};

/// Removes what the folders own, and each folder in which nothing is left then. Nobody else may use the
/// vault. @return what could not be removed.
std::vector<std::string> removeOwn(Files& files, std::span<const OwnFolder> folders);

}  // namespace kelvaris

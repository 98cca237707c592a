#pragma once

#include <optional>
#include <string_view>
#include <vector>

#include "base/instant.h"
#include "base/uuid.h"
#include "platform/files.h"
#include "vault/vault_paths.h"
#include "vault/vault_store.h"

namespace kelvaris {

// What lies in a vault beside its rolls, found without changing anything. Any thread.

/// A folder of rolls that were put aside on one day. A day has several when a roll was removed twice.
struct AsideFolder {
    Path path;
    Instant day;
    int number = 1;
};

/// The latest first. Folders whose name is no day are not the vault's.
std::vector<AsideFolder> asideFolders(const Files& files, const VaultPaths& paths);

/// The roll to which a file belongs by its name: "<id>.md", a backup of it, or "<id>.bin".
std::optional<RollID> rollOfFile(std::string_view filename);

std::vector<AsideRoll> asideRolls(const Files& files, const VaultPaths& paths);

std::vector<Path> keptBeside(const Files& files, const VaultPaths& paths);

}  // namespace kelvaris

#pragma once

#include <vector>

#include "base/path.h"
#include "base/uuid.h"
#include "platform/files.h"
#include "vault/vault_problem.h"

namespace kelvaris {

/// Which files in the folder of rolls stand for which roll, told by their names alone.
///
/// A roll's file is named after the roll's id, in letters of either case. Whatever else ends in ".md" (a copy
/// that a synchronising program made of a conflict, a file of the user's) is foreign. Of several files of
/// one roll the one with the canonical upper-case name counts, then the newest.
struct RollListing {
    struct Roll {
        RollID id;
        std::vector<Path> files;  ///< never empty; the first one counts
    };
    std::vector<Roll> rolls;             ///< in the order of the listing
    std::vector<VaultProblem> problems;  ///< foreign files, duplicates, backups whose file is gone

    /// A pure function; any thread.
    static RollListing of(const std::vector<FolderEntry>& entries);
};

}  // namespace kelvaris

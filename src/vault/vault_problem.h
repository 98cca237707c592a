#pragma once

#include <string>

#include "base/path.h"

namespace kelvaris {

/// Something about a vault's files that the user should know. Nothing was lost by it: what could not be
/// used still lies where it was, or beside it.
struct VaultProblem {
    enum class Kind {
        damaged,          ///< did not decode when it was to be replaced; kept beside the file
        salvaged,         ///< some values could not be read; the others count
        fromBackup,       ///< only a backup could be read
        unreadable,       ///< neither the file nor a backup gives a record
        library,          ///< the folder of rolls itself cannot be listed: no roll was read
        foreign,          ///< not named after a roll, or holds another one; left alone
        duplicate,        ///< a second file of one roll; left alone
        backupsOnly,      ///< backups of a roll without its file
        theirs,           ///< another program wrote the file meanwhile; its version is kept beside
        refused,          ///< a save that would have taken entries away; kept beside
        unusableVectors,  ///< a sidecar that cannot be read, kept beside the file or left in place
    };
    Kind kind = Kind::damaged;
    Path file;
    std::string text;  ///< one line for the user, the path included

    bool operator==(const VaultProblem&) const = default;
};

}  // namespace kelvaris

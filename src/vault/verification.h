#pragma once

#include <optional>
#include <string>
#include <vector>

#include "platform/files.h"
#include "vault/vault_store.h"

namespace kelvaris {

/// How a frontmatter file reads.
struct FileCheck {
    enum class State {
        intact,      ///< decodes
        salvaged,    ///< some of its values do not; the others count
        fromBackup,  ///< only a backup decodes
        unreadable,  ///< neither it nor a backup decodes
        absent,
    };
    Path file;
    State state = State::absent;
    int backup = 0;      ///< the backup that decodes, 1 to 3; 0 for none
    std::string reason;  ///< why the file itself does not decode
};

/// What stands beside a roll's file, compared with what the file says.
struct RollCheck {
    enum class Sidecar {
        none,    ///< no file: there are no vectors
        agrees,  ///< each record belongs to a photo, with a vector for each of its faces
        disagrees,
        unusable,  ///< of another kind or version, or cut short
    };
    enum class Folder {
        agrees,  ///< the fingerprint is that of the folder
        disagrees,
        unreadable,  ///< away, or not to be listed
    };
    enum class Mirror {
        off,      ///< no mirror was looked at
        agrees,   ///< the same but for what is machine-local
        differs,  ///< it decodes, and says something else
        absent,
        unreadable,
    };

    FileCheck file;
    std::string id;  ///< empty when nothing decodes, as are the two below
    std::string folderPath;
    std::size_t photoCount = 0;
    Sidecar sidecar = Sidecar::none;
    std::vector<std::string> sidecarDifferences;  ///< file names
    Folder folder = Folder::unreadable;
    std::vector<std::string> fingerprintDifferences;  ///< names of files that came, went or changed size
    Mirror mirror = Mirror::off;
};

struct VaultReport {
    std::vector<RollCheck> rolls;  ///< by file name
    FileCheck preferences;
    RollCheck::Mirror preferencesMirror = RollCheck::Mirror::off;
    std::vector<Path> sidecarsWithoutRoll;
    std::vector<Path> backupsWithoutRoll;  ///< rolls of which only backups survive, which no start finds
    std::vector<Path> mirrorOnly;          ///< rolls that only the mirror holds, by file name
    std::vector<Path> mirrorUnreadable;    ///< of those, the ones that do not decode
    std::vector<VaultProblem> problems;    ///< files that are no roll's, or a folder that cannot be listed
    std::vector<Path> keptBeside;          ///< damaged, refused and other programs' versions of files
    std::vector<AsideRoll> removed;        ///< rolls that wait to be taken back or forgotten

    /// Whether every file decodes and everything agrees, and nothing lies about that the user should look
    /// at; folders that are away are no fault, nor are removed rolls.
    bool isClean() const;
};

/// Reads the whole vault, and the mirror in the folder if one is given, and changes nothing. Any thread.
VaultReport verifyVault(const Files& files, const VaultPaths& paths, const std::optional<Path>& mirrorFolder);

}  // namespace kelvaris

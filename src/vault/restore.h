#pragma once

#include <atomic>
#include <optional>
#include <string>
#include <vector>

#include "platform/clock.h"
#include "platform/files.h"
#include "platform/language.h"
#include "vault/restore_decision.h"
#include "vault/vault_store.h"

namespace kelvaris {

/// A file of a restore that needs a word.
struct RestoreNote {
    std::string name;    ///< the roll's, or the file's
    std::string reason;  ///< empty where the list that it stands in says why

    bool operator==(const RestoreNote&) const = default;
};

/// What a restore did.
struct RestoreReport {
    std::string refusal;                ///< why nothing was begun; empty when it was
    bool foundRolls = false;            ///< whether the folder has a readable "Kelvaris/rolls"
    int restored = 0;                   ///< rolls that now say what the mirror says
    int replaced = 0;                   ///< of those: differed, and their old files are backups
    int unchanged = 0;                  ///< of those: said the same before
    int takenBack = 0;                  ///< rolls that had been removed here and were put aside
    std::vector<RestoreNote> kept;      ///< differ and are newer here than in the mirror
    std::vector<RestoreNote> skipped;   ///< files of the mirror that cannot be used
    std::vector<RestoreNote> failures;  ///< could not be read or written here
    /// What became of the preferences; nothing when the mirror has none, or they are among the above.
    std::optional<RestoreDecision::Act> preferences;

    /// Whether a file of the vault is another now.
    bool hasChangedAnything() const;
    /// Whether the restore counts as failed: nothing was there to restore, or not all that should be
    /// written was.
    bool hasFailed() const;
};

/// "Restored 3 rolls from backup folder: ..." and a line for each list of the report; or the refusal.
std::string restoreText(const RestoreReport& report);

/// What a restore works with.
struct RestoreTools {
    VaultStore& store;
    Files& files;
    const Language& language;
    const Clock& clock;
    const std::atomic<bool>& isEnding;  ///< ends the restore behind the file that it is at
};

/// Takes over what the mirror below the folder knows, file by file, as decidedRoll() says. Local files that
/// the mirror lacks stay, and so do the vectors. A roll that was removed here comes back with all that was
/// put aside of it, and then counts like one that was not. A file that is replaced becomes a backup; one that
/// does not decode is set aside. Each file is replaced whole or not at all. Any thread, with nobody else
/// writing.
RestoreReport restoreFromMirror(const RestoreTools& tools, const Path& folder, bool replacesNewer);

}  // namespace kelvaris

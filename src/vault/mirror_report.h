#pragma once

#include <optional>
#include <string>
#include <vector>

#include "base/instant.h"
#include "base/path.h"

namespace kelvaris {

/// A file of the vault that could not be mirrored.
struct MirrorFailure {
    std::string id;      ///< of the roll; empty for other files
    std::string name;    ///< the roll's name, or its id where that is not known, or the file's name
    std::string reason;  ///< for the user

    bool operator==(const MirrorFailure&) const = default;
};

/// What became of a run over the whole vault.
struct MirrorReport {
    int rolls = 0;  ///< that stand in the mirror as they do here
    int written = 0;
    int unchanged = 0;
    std::vector<MirrorFailure> failures;
    bool preferencesWritten = false;

    bool hasFailed() const { return !failures.empty(); }
};

/// What the mirror does not hold yet.
struct MirrorBacklog {
    bool isWorking = false;  ///< and is still at it
    bool isAway = false;     ///< the folder cannot be found, which pauses the mirror
    std::vector<MirrorFailure> files;
};

/// How a mirror stands.
struct MirrorStatus {
    bool isOn = false;
    std::optional<Path> folder;       ///< where it was found
    std::optional<Instant> lastCopy;  ///< when the newest of its files was written
    int rolls = 0;                    ///< of the vault
    std::vector<std::string> behind;  ///< names of those whose copy is absent or says something else
};

/// "kyoto, lisbon and 3 more: No space left on device; preferences.md: Invalid preferences": the failures of
/// one reason together, in the order of their first.
std::string failureText(const std::vector<MirrorFailure>& failures);

/// "kyoto, lisbon and 3 more"
std::string namesText(const std::vector<std::string>& names);

}  // namespace kelvaris

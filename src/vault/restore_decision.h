#pragma once

#include <optional>
#include <string>

#include "base/instant.h"
#include "platform/clock.h"
#include "platform/language.h"

namespace kelvaris {

/// A file of the vault or of its mirror, as a restore looks at it.
struct FileVersion {
    std::string bytes;
    std::optional<Instant> modified;
};

/// What a restore does with one file of a mirror. Pure.
struct RestoreDecision {
    enum class Act {
        take,       ///< nothing that decodes stands here
        replace,    ///< what stands here differs, and becomes a backup
        leave,      ///< what stands here says the same
        keepNewer,  ///< what stands here differs and is newer than the mirror's
        skip,       ///< the mirror's file cannot be used
    };
    Act act = Act::skip;
    std::string name;    ///< of the roll; empty when the mirror's file does not decode
    std::string id;      ///< likewise
    std::string bytes;   ///< to be written, of take and replace
    std::string reason;  ///< of skip
};

/// @param stem the name of the mirror's file without its extension, which must be the roll's id.
/// @param local nothing when no file stands here.
/// @param replacesNewer takes the mirror's also where the file here is newer.
RestoreDecision decidedRoll(const std::string& stem, const FileVersion& mirrored,
                            const std::optional<FileVersion>& local, bool replacesNewer);

/// The same for the preferences, whose settings of the mirror stay those of this machine.
RestoreDecision decidedPreferences(const FileVersion& mirrored, const std::optional<FileVersion>& local,
                                   bool replacesNewer, const Language& language, const Clock& clock);

}  // namespace kelvaris

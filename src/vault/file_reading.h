#pragma once

#include <optional>
#include <vector>

#include "base/uuid.h"
#include "platform/clock.h"
#include "platform/files.h"
#include "preferences/vault_preferences.h"
#include "vault/file_stamp.h"
#include "vault/roll_manifest.h"
#include "vault/vault_problem.h"

namespace kelvaris {

/// What a frontmatter file and its backups give, for a program that goes on with it.
template <class Record>
struct FileReading {
    std::optional<Record> record;
    std::optional<FileStamp> stamp;  ///< of the file itself; nothing when it is absent or cannot be read
    std::vector<VaultProblem> problems;
};

/// The file as it reads strictly, else what can be salvaged of it, else the newest backup that reads
/// strictly, else what can be salvaged of a backup. Nothing is written. Any thread.
/// @param id of the roll: a file with another one counts as not there.
FileReading<VaultRollManifest> readRollFile(const Files& files, const Clock& clock, const Path& file,
                                            RollID id);
FileReading<VaultPreferences> readPreferencesFile(const Files& files, const Clock& clock, const Path& file);

}  // namespace kelvaris

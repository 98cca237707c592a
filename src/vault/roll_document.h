#pragma once

#include <map>
#include <optional>
#include <string>
#include <vector>

#include "vault/roll_manifest.h"
#include "vault/vault_store.h"

namespace kelvaris {

/// What is known of a roll's stored form while the roll is live: the last form that was read or written. The
/// live roll is a view of it, and a save puts the two together. What the live roll shows whole is not held
/// a second time, since a library holds half a million photos.
struct RollDocument {
    Path file;                        ///< where the roll's file lies
    std::optional<FileStamp> stamp;   ///< of the file's bytes; none: not read or written yet
    std::optional<Instant> modified;  ///< when the file was written, as the file system tells it
    std::vector<std::string> names;   ///< file names of all entries, sorted
    std::map<std::string, PhotoManifestEntry> outdated;  ///< what an older analysis found, by file name
    bool sidecarIsUnusable = false;  ///< vectors that could not be read stay where they are

    /// Takes over what was read.
    void take(const StoredRoll& stored);
    /// Takes over what the manifest holds, once it is the stored form.
    void remember(const VaultRollManifest& stored);
};

/// What is to be stored: the live values, and what the document holds beyond them. What an older analysis
/// found of a photo stays until a newer one has its own result. Pure.
VaultRollManifest merged(const RollDocument& document, VaultRollManifest live);

/// File names of entries that the document has and the manifest lacks. No act takes an entry away: what the
/// user takes out of a roll stays in its file. So every name here is a fault of the program. Pure.
std::vector<std::string> lostNames(const RollDocument& document, const VaultRollManifest& manifest);

/// The fingerprint to store: the folder's files, and the sizes last seen of photos whose files are not there.
/// Pure. @param present by name, as fingerprintOf() gives it.
std::vector<FileFingerprint> mergedFingerprint(std::vector<FileFingerprint> present,
                                               const std::vector<FileFingerprint>& stored,
                                               const std::vector<PhotoManifestEntry>& photos);

}  // namespace kelvaris

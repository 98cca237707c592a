#pragma once

#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "base/bytes.h"
#include "base/operation_queue.h"
#include "base/uuid.h"
#include "platform/clock.h"
#include "platform/files.h"
#include "preferences/vault_preferences.h"
#include "vault/file_reading.h"
#include "vault/file_stamp.h"
#include "vault/roll_listing.h"
#include "vault/roll_manifest.h"
#include "vault/vault_paths.h"
#include "vault/vault_problem.h"
#include "vocabulary/photo_embeddings.h"

namespace kelvaris {

/// A roll as the vault holds it, read ahead of the live roll.
struct StoredRoll {
    VaultRollManifest manifest;
    EmbeddingsByFilename embeddings;  ///< empty without a usable sidecar
    Path file;                        ///< where it was found, and where its saves go
    std::optional<FileStamp> stamp;   ///< of the file itself, whatever it holds; nothing when it is unread
    bool sidecarIsUnusable = false;   ///< there are vectors, but they cannot be read
    std::vector<VaultProblem> problems;
};

/// A roll that was removed, where it waits to be taken back or forgotten.
struct AsideRoll {
    RollID id;
    Path file;
    std::string folderPath;  ///< empty when nothing of its file decodes
    std::vector<FileFingerprint> fileFingerprint;
    std::size_t photoCount = 0;
    Instant when;  ///< the day of its removal, midnight UTC
};

/// How the writing of a file ended.
struct Replacement {
    enum class Kind {
        unchanged,  ///< the file held these bytes already; nothing was touched
        written,
        failed,  ///< the file is what it was; the reason is in the log, too
    };
    Kind kind = Kind::unchanged;
    FileStamp stamp;                     ///< of the bytes in the file; says nothing after a failure
    std::string error;                   ///< of a failure, in the system's own words
    std::vector<VaultProblem> problems;  ///< what was kept beside the file

    bool isSaved() const { return kind != Kind::failed; }
};

/// The files of a vault as values, without a live object in sight. Holds no state of its own; any thread.
class VaultStore {
public:
    /// @param files outlives the store, as does the clock.
    VaultStore(Files& files, const Clock& clock, VaultPaths paths)
        : files_(files), clock_(clock), paths_(std::move(paths)) {}

    const VaultPaths& paths() const { return paths_; }

    /// Makes the folders, clears away what killed programs had begun to write, and writes SCHEMA.md unless it
    /// stands there as it should. For the one program that may write. Errors are swallowed: the first save
    /// will tell.
    void ensureDirectoriesExist();

    // --- Reading

    /// One file, or the first of its backups that decodes, strictly.
    std::optional<VaultRollManifest> loadManifest(const Path& file) const;
    /// The files that stand for a roll, one a roll, in the order of the listing; empty when there is no
    /// folder or it cannot be listed.
    std::vector<Path> rollFiles() const;
    /// The roll of a file that is named after it, from the file itself, what can be salvaged of it, or a
    /// backup; with its sidecar. Nothing when none of them reads.
    std::optional<StoredRoll> loadRoll(const Path& file) const;
    /// Every roll, in the order of rollFiles().
    std::vector<VaultRollManifest> loadAllManifests() const;
    /// The same with the sidecars, read and decoded on the workers and on the calling thread together, and
    /// taken on the calling thread one by one. Only a few rolls are ever read ahead. Blocks until all are
    /// taken.
    /// @return everything that the user should know, the problems of the rolls taken included. One of
    /// kind `library` means that the rolls could not be looked for: the library is not empty, but unread.
    std::vector<VaultProblem> forEachRoll(OperationQueue& workers,
                                          const std::function<void(StoredRoll)>& take) const;
    /// The first roll of exactly that folder. Only files that name it are decoded whole.
    std::optional<StoredRoll> loadRollByFolderPath(std::string_view folderPath) const;
    std::optional<VaultRollManifest> loadManifestByFolderPath(std::string_view folderPath) const;
    /// Nothing when there is no sidecar, or no usable one.
    std::optional<EmbeddingsByFilename> loadEmbeddings(RollID id) const;
    /// preferences.md, what can be salvaged of it, or a backup.
    FileReading<VaultPreferences> readPreferences() const;
    std::optional<VaultPreferences> loadPreferences() const { return readPreferences().record; }

    // --- Writing

    /// Writes a frontmatter file atomically; what it held becomes backup 1 when that is older work of ours.
    /// Bytes that do not decode, and those that another program wrote, become no backup: they are kept as
    /// "<name>.damaged-<time>" or "<name>.theirs-<time>". At no moment is there no copy of them. When the
    /// new bytes find no room on the disk, the file and its backups stay as they are.
    /// @param lastKnown of the bytes that the caller last read or wrote there; nothing when it does not
    /// know the file, so that whatever decodes counts as older work.
    Replacement replaceWithBackups(const Path& file, std::string_view bytes,
                                   const std::optional<FileStamp>& lastKnown);
    /// Keeps the bytes as "<name>.<word>-<time>", once: a copy with the same bytes serves again.
    /// @return where they are kept.
    FileResult<Path> keepBeside(const Path& file, std::string_view word, std::string_view bytes);
    /// Writes the sidecar, or removes it when there is nothing to keep. One that cannot be read is not
    /// removed; it is kept beside a new one. A failure is logged and costs nothing but vectors, which are
    /// made anew.
    /// @param mayReplace whether the vectors are made from what the sidecar holds; otherwise it is
    /// treated as if it could not be read.
    Replacement writeEmbeddings(RollID id, const EmbeddingsByFilename& embeddings, bool mayReplace = true);
    /// Removes the roll's file, backups, sidecar and thumbnails. Errors are swallowed.
    void removeRoll(RollID id);

    // --- Removed rolls: <vault>/removed/<yyyy-mm-dd>/ holds the files under their own names

    /// Moves the roll's file, then its backups and sidecar, and removes its thumbnails. The move of the file
    /// decides: at no moment is the roll in both places or in none, and what else stays behind when the
    /// program ends half-way does no harm.
    /// @param file where the roll's file lies; a roll that was never saved has none, which is no error.
    FileResult<void> putAside(RollID id, const Path& file);
    /// Moves what was put aside last back, never over a file of that roll.
    /// @return where the roll's file lies again.
    FileResult<Path> takeBack(RollID id);
    /// The latest first.
    std::vector<AsideRoll> asideRolls() const;
    /// Forgets what was put aside that many days ago or earlier, everything when no number is given, and
    /// ends what a killed program left half put aside. Files that the store did not put there stay.
    /// @return the rolls that are gone for good.
    std::vector<RollID> emptyAside(std::optional<int> olderThanDays);

    /// What replaceWithBackups(), writeEmbeddings() and keepBeside() kept beside files of the vault.
    std::vector<Path> keptBeside() const;

private:
    void removeAbandonedFiles();
    struct RollReading;
    RollReading readRoll(const RollListing::Roll& roll) const;
    FileResult<RollListing> listRolls() const;
    void readSidecar(StoredRoll& roll, RollID id) const;
    void turnBackups(const Path& file, std::string_view current);
    Path freePlaceBeside(const Path& file, std::string_view word) const;
    Path freeAsideFolder(RollID id) const;
    void moveCompanions(RollID id, const Path& file, const Path& folder, bool isBack);
    bool hasRollFile(RollID id) const;
    void removeIfEmpty(const Path& folder);
    FileResult<Path> swapAside(const Path& file, ByteView bytes, Durability durability);

    Files& files_;
    const Clock& clock_;
    VaultPaths paths_;
};

}  // namespace kelvaris

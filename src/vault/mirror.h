#pragma once

#include <atomic>
#include <chrono>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "base/operation_queue.h"
#include "platform/clock.h"
#include "platform/files.h"
#include "platform/folder_access.h"
#include "platform/language.h"
#include "preferences/mirror_state.h"
#include "preferences/vault_preferences.h"
#include "vault/mirror_documents.h"
#include "vault/mirror_report.h"
#include "vault/restore.h"
#include "vault/roll_manifest.h"
#include "vault/vault_store.h"

namespace kelvaris {

/// The second copy of the vault in a folder of the user's choice: frontmatter files without what is
/// machine-local, no backups, no vectors, no thumbnails. The mirror only grows, and nothing in it ever
/// fails a save: what could not be mirrored is told by the report of the run, or by waitUntilWritten().
///
/// Any thread. One serial queue writes the mirror; mirrorAll() and restoreFromMirror() belong on it when
/// saves may follow at the same time: see enqueue().
class VaultMirror {
public:
    static constexpr const char* queueName = "com.kelvaris.vault.mirror";

    /// Everything handed in must outlive the object.
    VaultMirror(VaultStore& store, Files& files, FolderAccess& folders, const Language& language,
                const Clock& clock, OperationQueueFactory& queues, MirrorState& state);
    /// Drops what waits, and waits for the file that is being written.
    ~VaultMirror();

    /// The chosen folder; nothing when the mirror is off or its folder cannot be found, which pauses it.
    std::optional<Path> enabledMirrorBase() const;

    /// Mirrors the record in the background, if a mirror is on when its turn comes. A record that waits is
    /// replaced by a later one of the same roll. What fails is tried again with the next record.
    void follow(VaultRollManifest manifest);
    void follow(VaultPreferences preferences);
    /// Mirrors in the background what is newer here than in the mirror: what an earlier program had no time
    /// or no disk for. Costs two questions a file where nothing is behind. Nothing after a restore: what the
    /// mirror holds of rolls that are newer here is still to be had then.
    void catchUp();
    /// Runs the work on the mirror's queue, behind the writes that wait there.
    void enqueue(std::function<void()> work);
    /// Blocks until everything that was asked of the queue is done, or the time is over: for a program that
    /// ends. @return what is not in the mirror.
    MirrorBacklog waitUntilWritten(std::chrono::milliseconds most);

    /// Writes one record to the mirror in that folder. @return whether the copy stands there.
    bool writeMirror(VaultRollManifest manifest, const Path& folder);
    bool writeMirror(VaultPreferences preferences, const Path& folder);

    /// Mirrors everything that is on disk. Equal copies are not written again. A roll of which only a backup
    /// decodes never replaces a copy that decodes.
    MirrorReport mirrorAll();

    /// Compares the whole vault with its mirror.
    MirrorStatus status() const;

    /// Takes over what the mirror in the folder knows: see restore.h.
    RestoreReport restoreFromMirror(const Path& folder, bool replacesNewer);

private:
    static constexpr const char* awayReason = "Mirror bookmark could not be resolved";

    class Outstanding;

    struct Outcome {
        enum class Kind { written, unchanged, gone, failed };
        Kind kind = Kind::written;
        std::string name;  ///< of the roll, where it is known
        std::string reason;
    };
    /// A file that the mirror is behind with.
    struct Waiting {
        std::string id;  ///< empty for the preferences
        std::string name;
        std::function<Outcome(const Path& folder)> write;
    };

    bool isOn() const;
    std::optional<Path> findFolder() const;

    void await(Waiting waiting);
    void enqueueWriting();  // with the lock held
    Waiting fromDisk(const std::string& id, const std::string& name);
    void writeWaiting();
    std::optional<Waiting> takeWaiting();
    void noteOutcome(const Waiting& waiting, const Outcome& outcome);

    Outcome copyRoll(VaultRollManifest manifest, const Path& folder);
    Outcome copyPreferences(VaultPreferences preferences, const Path& folder);
    Outcome writeFile(std::string_view bytes, const Path& target);

    Path localRollFile(const std::string& id) const;
    Outcome copyStoredRoll(const Path& file, const Path& folder);
    Outcome copyDamagedRoll(const Path& file, const Path& folder);
    Outcome copyStoredPreferences(const Path& folder);
    void note(MirrorReport& report, const std::string& id, const std::string& name, const Outcome& outcome);
    void awaitNewerFiles(const Path& folder);
    bool isUpToDate(const Path& file, const MirrorPaths& mirror, std::string& name) const;

    VaultStore& store_;
    Files& files_;
    FolderAccess& folders_;
    const Language& language_;
    const Clock& clock_;
    MirrorState& state_;
    std::shared_ptr<Outstanding> outstanding_;
    std::atomic<bool> isEnding_{false};
    std::atomic<bool> wasRestoredFrom_{false};

    mutable std::mutex mutex_;                     // of the members up to the queue
    std::map<std::string, Waiting> waiting_;       ///< by id
    std::optional<MirrorFailure> current_;         ///< being written
    std::map<std::string, MirrorFailure> failed_;  ///< by id, until a later write of the file succeeds
    bool isAway_ = false;                          ///< at the last look
    bool isWritingEnqueued_ = false;

    std::unique_ptr<OperationQueue> queue_;  // last: it ends before what its operations touch
};

}  // namespace kelvaris

#pragma once

#include <chrono>
#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "base/operation_queue.h"
#include "platform/clock.h"
#include "platform/files.h"
#include "platform/folder_access.h"
#include "platform/language.h"
#include "preferences/mirror_state.h"
#include "preferences/vault_preferences.h"
#include "vault/roll_manifest.h"
#include "vault/vault_store.h"

namespace kelvaris {

/// Where a mirror's files stand below the folder that the user chose.
struct MirrorPaths {
    Path base;  ///< "Kelvaris"
    Path rolls;
    Path preferencesFile;
    Path schemaFile;

    static MirrorPaths under(const Path& folder);
};

/// The second copy of the vault in a folder of the user's choice: frontmatter files without what is
/// machine-local, no backups, no vectors, no thumbnails. The mirror only grows, and nothing in it ever
/// fails a save: failures end in the MirrorState and in the log.
///
/// Any thread. Saves are followed on a serial queue of its own; mirrorAll() and restoreFromMirror() run on
/// the thread of their caller, beside it, since every write is atomic.
class VaultMirror {
public:
    static constexpr const char* queueName = "com.kelvaris.vault.mirror";

    /// Everything handed in must outlive the object.
    VaultMirror(VaultStore& store, Files& files, FolderAccess& folders, const Language& language,
                const Clock& clock, OperationQueueFactory& queues, MirrorState& state);
    /// Drops what waits, and waits for a write that runs.
    ~VaultMirror();

    /// The chosen folder; nothing when the mirror is off or its folder cannot be found, which pauses it.
    std::optional<Path> enabledMirrorBase() const;

    /// Mirrors the record in the background, if a mirror is on when its turn comes.
    void follow(VaultRollManifest manifest);
    void follow(VaultPreferences preferences);
    /// Blocks until everything that follows saves is written, or the time is over: for a program that ends.
    /// @return whether nothing waits any more.
    bool waitUntilWritten(std::chrono::milliseconds most);

    void writeMirror(VaultRollManifest manifest, const Path& folder);
    void writeMirror(VaultPreferences preferences, const Path& folder);

    /// Mirrors everything that is on disk. @return the rolls of the vault; 0 when the mirror is off.
    int mirrorAll();

    /// Takes over what decodes in the mirror, byte for byte; local files that the mirror lacks, and those
    /// whose copy in the mirror is damaged, stay.
    /// @return the rolls taken over; nothing when the folder has no readable "Kelvaris/rolls".
    std::optional<int> restoreFromMirror(const Path& folder);

private:
    class Outstanding;

    void enqueue(std::function<void()> operation);
    bool restoreFile(const Path& from, const Path& to, bool (*decodes)(std::string_view));
    void writeMirrorFile(std::string_view bytes, const Path& target, const Path& folder);

    VaultStore& store_;
    Files& files_;
    FolderAccess& folders_;
    const Language& language_;
    const Clock& clock_;
    MirrorState& state_;
    std::shared_ptr<Outstanding> outstanding_;
    std::unique_ptr<OperationQueue> queue_;  // last: it ends before what its operations touch
};

}  // namespace kelvaris

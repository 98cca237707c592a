#pragma once

#include <chrono>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "base/lifetime.h"
#include "base/main_queue.h"
#include "library/film_roll.h"
#include "platform/clock.h"
#include "platform/files.h"
#include "platform/folder_access.h"
#include "platform/language.h"
#include "preferences/mirror_state.h"
#include "preferences/preferences_store.h"
#include "vault/mirror.h"
#include "vault/vault_store.h"

namespace kelvaris {

/// What the vault needs of the machine. Everything in it outlives the service.
struct VaultMachine {
    Files& files;
    FolderAccess& folders;
    const Language& language;
    const Clock& clock;
    MainQueue& main;
    OperationQueueFactory& queues;
    MirrorState& mirrorState;
};

/// Durable store of rolls and preferences under one root folder. Main thread only; store() and mirror()
/// tell what other threads may call.
///
/// One program at a time may write: the first one holds a lock on the root. Another one reads, and every
/// save of it is refused and logged.
class VaultService final : public PreferencesStore {
public:
    /// Whether the program means to write. A reader takes no lock, so it never keeps a writer out, and
    /// makes no folder. One that writes only if nobody else does takes no offence at a refusal.
    enum class Access { readWrite, readWriteIfFree, readOnly };

    static constexpr std::chrono::milliseconds saveDelay{1500};

    /// Makes the vault's folders and writes SCHEMA.md, when it may write.
    VaultService(VaultPaths paths, const VaultMachine& machine, Access access = Access::readWrite);
    ~VaultService() override;

    bool canWrite() const { return lock_ != nullptr; }
    /// Why a program that means to write may not, in words for the user; empty when it may.
    const std::string& writeRefusal() const { return writeRefusal_; }

    /// The vault's files as values.
    const VaultStore& store() const { return store_; }
    VaultStore& store() { return store_; }
    const VaultPaths& paths() const { return store_.paths(); }
    VaultMirror& mirror() { return mirror_; }

    // --- Rolls

    /// Writes the roll's file, shifting its backups, then its sidecar, then hands a copy to the mirror.
    /// Invalid values are refused and leave file and backups as they are. The fingerprint of the folder is
    /// taken anew, unless it cannot be listed: then the stored one is kept.
    /// @return whether the roll's file was written; the reason is in the log.
    bool save(FilmRoll& roll);
    /// Saves the roll once saveDelay has passed without another call for it.
    void scheduleSave(const RollPointer& roll);
    /// Calls all waiting saves off, without saving.
    void cancelPendingSaves();
    /// The rolls whose saves wait.
    std::vector<RollPointer> pendingSaves() const;

    std::vector<VaultRollManifest> loadAllManifests() const { return store_.loadAllManifests(); }
    std::optional<VaultRollManifest> loadManifest(const Path& file) const {
        return store_.loadManifest(file);
    }
    std::optional<VaultRollManifest> loadManifestByFolderPath(std::string_view folderPath) const {
        return store_.loadManifestByFolderPath(folderPath);
    }
    /// Puts the stored form onto a roll whose folder was just loaded, with the vectors of its sidecar. What
    /// it does to the roll: see manifest_exchange.h.
    void applyManifest(const VaultRollManifest& manifest, FilmRoll& roll) const;
    /// The same for a roll that was read ahead.
    void applyManifest(StoredRoll stored, FilmRoll& roll) const;

    /// Forgets the roll: its file, backups, sidecar, thumbnails and waiting save. The mirror keeps its copy.
    void deleteRoll(RollID id);

    // --- Preferences

    std::optional<VaultPreferences> loadPreferences() const { return store_.loadPreferences(); }
    /// @return false when the record is not valid or could not be written.
    bool savePreferences(const VaultPreferences& preferences);

    std::optional<VaultPreferences> load() override { return loadPreferences(); }
    bool save(const VaultPreferences& record) override { return savePreferences(record); }

private:
    struct PendingSave {
        RollPointer roll;
        TimerHandle timer;
        std::uint64_t ticket = 0;
    };

    bool refusesWriting() const;
    void saveScheduled(const RollPointer& roll, std::uint64_t ticket);
    VaultRollManifest currentManifest(FilmRoll& roll) const;

    Files& files_;
    const Language& language_;
    const Clock& clock_;
    MainQueue& main_;
    VaultStore store_;
    std::unique_ptr<FileLock> lock_;
    std::string writeRefusal_;
    std::map<RollID, PendingSave> pending_;
    std::uint64_t nextTicket_ = 1;
    VaultMirror mirror_;
    Lifetime lifetime_;
};

}  // namespace kelvaris

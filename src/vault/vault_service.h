#pragma once

#include <chrono>
#include <map>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "base/main_queue.h"
#include "base/observable.h"
#include "base/result.h"
#include "library/film_roll.h"
#include "platform/clock.h"
#include "platform/files.h"
#include "platform/folder_access.h"
#include "platform/language.h"
#include "preferences/mirror_state.h"
#include "preferences/preferences_store.h"
#include "vault/mirror.h"
#include "vault/roll_document.h"
#include "vault/save_schedule.h"
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
///
/// What is stored is never made less by what happens to be loaded: a save puts the live roll together with
/// the last known stored form (RollDocument), and is refused when an entry would be lost all the same.
class VaultService final : public PreferencesStore {
public:
    /// Whether the program means to write. A reader takes no lock, so it never keeps a writer out, and
    /// makes no folder. One that writes only if nobody else does takes no offence at a refusal.
    enum class Access { readWrite, readWriteIfFree, readOnly };

    /// Makes the vault's folders and writes SCHEMA.md, when it may write.
    VaultService(VaultPaths paths, const VaultMachine& machine, Access access = Access::readWrite);
    ~VaultService() override;

    bool canWrite() const { return lock_ != nullptr; }
    /// Why a program that means to write may not, in words for the user; empty when it may.
    const std::string& writeRefusal() const { return writeRefusal_; }

    /// The vault's files as values.
    VaultStore& store() { return store_; }
    const VaultStore& store() const { return store_; }
    const VaultPaths& paths() const { return store_.paths(); }
    VaultMirror& mirror() { return mirror_; }
    /// What was found wrong with the files since the start, for the user.
    const std::vector<VaultProblem>& problems() const { return problems_; }
    /// Keeps problems that the store has logged.
    void tell(std::span<const VaultProblem> problems);

    // --- Rolls

    /// The rolls of the library: from now on every change of them is saved.
    void watch(const std::vector<RollPointer>& rolls) { schedule_.watch(rolls); }
    /// When each roll is written, and what is not.
    SaveSchedule& schedule() { return schedule_; }
    const SaveSchedule& schedule() const { return schedule_; }

    /// Writes the roll's file, shifting its backups, then its sidecar, then hands a copy to the mirror; what
    /// the disk holds already is not written again. Invalid values are refused and leave file and backups
    /// as they are, as is a roll that would lose an entry. The fingerprint is that of the folder, as far as
    /// the folder is the roll's own; else the stored one is kept.
    /// @return whether the disk holds the roll now; the reason is in the log and with unsavedRolls().
    bool save(FilmRoll& roll) { return schedule_.saveNow(roll).has_value(); }
    /// Saves the rolls at once, several at a time; what fails stays unsaved and is tried again. Returns when
    /// all have had their turn.
    void saveAll(const std::vector<RollPointer>& rolls);
    /// Saves the roll once it was left alone for a while. Nothing for a roll that is not watched.
    void scheduleSave(const RollPointer& roll) { schedule_.schedule(roll); }
    /// Calls all waiting saves off, without saving.
    void cancelPendingSaves() { schedule_.forget(); }
    /// While held, as during a restore or a reset, nothing is written.
    void setHeld(bool held);
    /// Forgets what the files were known to hold, as after a restore: whatever stands there is older work of
    /// ours, and no other program's.
    void forgetFiles();

    std::vector<VaultRollManifest> loadAllManifests() const { return store_.loadAllManifests(); }
    std::optional<VaultRollManifest> loadManifest(const Path& file) const {
        return store_.loadManifest(file);
    }
    std::optional<VaultRollManifest> loadManifestByFolderPath(std::string_view folderPath) const {
        return store_.loadManifestByFolderPath(folderPath);
    }
    /// Puts the stored form onto a roll, with the vectors of its sidecar, and remembers it as the roll's
    /// document. What it does to the roll: see manifest_exchange.h.
    void applyManifest(const VaultRollManifest& manifest, FilmRoll& roll);
    /// The same for a roll that was read ahead.
    void applyManifest(StoredRoll stored, FilmRoll& roll);

    /// Rolls whose file somebody else changed since it was last read or written here. One listing.
    std::vector<RollID> changedOutside() const;
    /// Takes in what somebody else wrote into the roll's file, unless the roll has unsaved edits: then the
    /// next save keeps theirs beside the file. A file that is not the roll's any more, as a damaged one, is
    /// written anew in its turn. @return whether the roll took it in.
    bool takeInHandEdit(FilmRoll& roll);

    /// Puts the roll's file, backups and sidecar aside, for the day on which the roll is wanted again. The
    /// mirror keeps its copy. @return why it could not be done; then the roll is still in the vault.
    Result<void, std::string> deleteRoll(RollID id);
    /// Takes the files of a roll back that were put aside, and remembers them as the roll's document.
    Result<StoredRoll, std::string> takeBackRoll(RollID id);

    // --- Preferences

    /// What the file gives, or what can be salvaged of it, or a backup; told when it is not the file.
    std::optional<VaultPreferences> loadPreferences();
    /// @return false when the record is not valid or could not be written.
    bool savePreferences(const VaultPreferences& preferences);

    std::optional<VaultPreferences> load() override { return loadPreferences(); }
    bool save(const VaultPreferences& record) override { return savePreferences(record); }

private:
    struct Prepared;

    Result<Prepared, std::string> prepared(const FilmRoll& roll);
    Result<void, std::string> finished(FilmRoll& roll, Prepared prepared, const Replacement& replaced);
    Result<void, std::string> write(FilmRoll& roll);
    std::optional<std::string> writingRefused() const;
    RollDocument& documentOf(RollID id);
    VaultRollManifest currentManifest(const FilmRoll& roll, const RollDocument& document) const;
    std::string refuseLoss(const RollDocument& document, const std::vector<std::string>& lost,
                           std::string_view bytes);
    void noteWritten(RollDocument& document);

    Files& files_;
    const Language& language_;
    const Clock& clock_;
    OperationQueueFactory& queues_;
    VaultStore store_;
    std::unique_ptr<FileLock> lock_;
    std::string writeRefusal_;
    bool isHeld_ = false;
    std::map<RollID, RollDocument> documents_;
    std::optional<FileStamp> preferencesStamp_;
    std::vector<VaultProblem> problems_;
    VaultMirror mirror_;
    SaveSchedule schedule_;
};

}  // namespace kelvaris

#include "vault/vault_service.h"

#include <fmt/format.h>

#include <utility>

#include "base/log.h"
#include "library/fingerprint.h"
#include "vault/manifest_exchange.h"
#include "vault/vault_documents.h"

namespace kelvaris {

VaultService::VaultService(VaultPaths paths, const VaultMachine& machine, Access access)
    : files_(machine.files),
      language_(machine.language),
      clock_(machine.clock),
      main_(machine.main),
      store_(machine.files, machine.clock, std::move(paths)),
      mirror_(store_, machine.files, machine.folders, machine.language, machine.clock, machine.queues,
              machine.mirrorState) {
    if (access == Access::readOnly) {
        writeRefusal_ = "The library was opened for reading only";
        return;
    }
    (void)files_.createDirectories(this->paths().root);
    auto lock = files_.lock(this->paths().lockFile);
    if (!lock) {
        writeRefusal_ = lock.error().code == FileError::Code::inUse
                            ? "Another Kelvaris is using this library"
                            : fmt::format("The library cannot be written: {}", lock.error().message);
        if (access == Access::readWrite) log::error("Vault", "{}", writeRefusal_);
        return;
    }
    lock_ = std::move(*lock);
    store_.ensureDirectoriesExist();
}

VaultService::~VaultService() = default;

bool VaultService::refusesWriting() const {
    if (canWrite()) return false;
    log::error("Vault", "Not saved: {}", writeRefusal_);
    return true;
}

VaultRollManifest VaultService::currentManifest(FilmRoll& roll) const {
    std::vector<FileFingerprint> fingerprint = roll.storedFingerprint();
    if (!roll.isDisconnected()) {
        if (const auto listing = files_.list(roll.sourceFolder())) fingerprint = fingerprintOf(*listing);
    }
    return buildManifest(roll, std::move(fingerprint));
}

bool VaultService::save(FilmRoll& roll) {
    if (refusesWriting()) return false;
    VaultRollManifest manifest = currentManifest(roll);
    if (!manifest.isValid()) {
        log::error("Vault", "Refusing to save invalid roll metadata");
        return false;
    }
    const auto file = encodedRollFile(manifest, language_);
    if (!file) {
        log::error("Vault", "Failed to encode roll {}: {}", manifest.id, file.error());
        return false;
    }
    roll.setStoredFingerprint(manifest.fileFingerprint);
    const bool isWritten = store_.replaceWithBackups(paths().rollFile(roll.id()), *file, {}).isSaved();
    store_.writeEmbeddings(roll.id(), buildEmbeddings(roll));
    mirror_.follow(std::move(manifest));
    return isWritten;
}

void VaultService::scheduleSave(const RollPointer& roll) {
    const std::uint64_t ticket = nextTicket_++;
    PendingSave& pending = pending_[roll->id()];
    pending.timer.cancel();
    pending = {.roll = roll,
               .timer = main_.postAfter(saveDelay,
                                        [this, alive = lifetime_.weak(), roll, ticket] {
                                            if (alive.lock()) saveScheduled(roll, ticket);
                                        }),
               .ticket = ticket};
}

void VaultService::saveScheduled(const RollPointer& roll, std::uint64_t ticket) {
    save(*roll);
    // An edit that the save itself set off waits for a save of its own.
    const auto found = pending_.find(roll->id());
    if (found != pending_.end() && found->second.ticket == ticket) pending_.erase(found);
}

void VaultService::cancelPendingSaves() {
    for (auto& [id, pending] : pending_) pending.timer.cancel();
    pending_.clear();
}

std::vector<RollPointer> VaultService::pendingSaves() const {
    std::vector<RollPointer> rolls;
    for (const auto& [id, pending] : pending_) rolls.push_back(pending.roll);
    return rolls;
}

void VaultService::applyManifest(const VaultRollManifest& manifest, FilmRoll& roll) const {
    const auto id = RollID::parse(manifest.id);
    auto embeddings = id ? store_.loadEmbeddings(*id) : std::nullopt;
    kelvaris::applyManifest(manifest, std::move(embeddings).value_or(EmbeddingsByFilename()), roll);
}

void VaultService::applyManifest(StoredRoll stored, FilmRoll& roll) const {
    kelvaris::applyManifest(stored.manifest, std::move(stored.embeddings), roll);
}

void VaultService::deleteRoll(RollID id) {
    if (refusesWriting()) return;
    if (const auto found = pending_.find(id); found != pending_.end()) {
        found->second.timer.cancel();
        pending_.erase(found);
    }
    store_.removeRoll(id);
}

bool VaultService::savePreferences(const VaultPreferences& preferences) {
    if (refusesWriting()) return false;
    if (!preferences.isValid()) {
        log::error("Vault", "Refusing to save invalid preferences");
        return false;
    }
    const auto file = encodedPreferencesFile(preferences, language_, clock_);
    if (!file) {
        log::error("Vault", "Failed to encode preferences: {}", file.error());
        return false;
    }
    const bool isWritten = store_.replaceWithBackups(paths().preferencesFile, *file, {}).isSaved();
    mirror_.follow(preferences);
    return isWritten;
}

}  // namespace kelvaris

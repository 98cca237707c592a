#include "vault/vault_service.h"

#include <fmt/format.h>

#include <algorithm>
#include <utility>

#include "base/log.h"
#include "base/text.h"
#include "library/fingerprint.h"
#include "library/folder_verdict.h"
#include "vault/manifest_exchange.h"
#include "vault/ordered_production.h"
#include "vault/vault_documents.h"

namespace kelvaris {

namespace {

/// A save mostly waits for the disk, and disks serve several flushes together.
constexpr int savesAtOnce = 8;

}  // namespace

VaultService::VaultService(VaultPaths paths, const VaultMachine& machine, Access access)
    : files_(machine.files),
      language_(machine.language),
      clock_(machine.clock),
      queues_(machine.queues),
      store_(machine.files, machine.clock, std::move(paths)),
      mirror_(store_, machine.files, machine.folders, machine.language, machine.clock, machine.queues,
              machine.mirrorState),
      schedule_(machine.main, machine.clock, [this](FilmRoll& roll) { return write(roll); }) {
    if (access == Access::readOnly) {
        writeRefusal_ = "The library was opened for reading only";
        schedule_.setHeld(true);  // nobody asked for a save
        return;
    }
    (void)files_.createDirectories(this->paths().root);
    auto lock = files_.lock(this->paths().lockFile);
    if (!lock) {
        writeRefusal_ = lock.error().code == FileError::Code::inUse
                            ? "Another Kelvaris is using this library"
                            : fmt::format("The library cannot be written: {}", lock.error().message);
        if (access == Access::readWrite) log::error("Vault", "{}", writeRefusal_);
        schedule_.setHeld(access != Access::readWrite);
        return;
    }
    lock_ = std::move(*lock);
    store_.ensureDirectoriesExist();
}

VaultService::~VaultService() = default;

void VaultService::tell(std::span<const VaultProblem> problems) {
    for (const VaultProblem& problem : problems) {
        if (std::find(problems_.begin(), problems_.end(), problem) == problems_.end()) {
            problems_.push_back(problem);
        }
    }
}

std::optional<std::string> VaultService::writingRefused() const {
    if (!canWrite()) return writeRefusal_;
    if (isHeld_) return "The library is being restored or reset";
    return std::nullopt;
}

void VaultService::setHeld(bool held) {
    isHeld_ = held;
    schedule_.setHeld(held);
}

void VaultService::forgetFiles() {
    documents_.clear();
    preferencesStamp_.reset();
}

// --- Saving --------------------------------------------------------------------------------------------

RollDocument& VaultService::documentOf(RollID id) {
    const auto [place, isNew] = documents_.try_emplace(id);
    RollDocument& document = place->second;
    if (!isNew) return document;
    // A roll that nobody read from here may have a file all the same; what it holds must not be lost.
    document.file = paths().rollFile(id);
    if (auto stored = store_.loadRoll(document.file)) document.take(*stored);
    return document;
}

VaultRollManifest VaultService::currentManifest(const FilmRoll& roll, const RollDocument& document) const {
    std::vector<FileFingerprint> fingerprint = roll.storedFingerprint();
    VaultRollManifest manifest = merged(document, buildManifest(roll, {}));
    if (!roll.isDisconnected()) {
        const auto listing = files_.list(roll.sourceFolder());
        // Another disk in the folder's place must not be taken for the roll's from now on.
        if (listing && judgeFolder(listing, fingerprint).isPresent()) {
            fingerprint = mergedFingerprint(fingerprintOf(*listing), fingerprint, manifest.photos);
        }
    }
    manifest.fileFingerprint = std::move(fingerprint);
    return manifest;
}

struct VaultService::Prepared {
    RollDocument* document;
    VaultRollManifest manifest;
    std::string bytes;
};

Result<VaultService::Prepared, std::string> VaultService::prepared(const FilmRoll& roll) {
    if (auto refusal = writingRefused()) {
        log::error("Vault", "Not saved: {}", *refusal);
        return Unexpected(std::move(*refusal));
    }
    RollDocument& document = documentOf(roll.id());
    VaultRollManifest manifest = currentManifest(roll, document);
    if (!manifest.isValid()) {
        log::error("Vault", "Refusing to save invalid roll metadata");
        return Unexpected(std::string("a value of the roll is out of its range"));
    }
    auto file = encodedRollFile(manifest, language_);
    if (!file) {
        log::error("Vault", "Failed to encode roll {}: {}", manifest.id, file.error());
        return Unexpected(file.error());
    }
    if (const auto lost = lostNames(document, manifest); !lost.empty()) {
        return Unexpected(refuseLoss(document, lost, *file));
    }
    return Prepared{&document, std::move(manifest), std::move(*file)};
}

Result<void, std::string> VaultService::finished(FilmRoll& roll, Prepared prepared,
                                                 const Replacement& replaced) {
    tell(replaced.problems);
    if (!replaced.isSaved()) return Unexpected(replaced.error);
    RollDocument& document = *prepared.document;
    document.stamp = replaced.stamp;
    document.remember(prepared.manifest);
    noteWritten(document);
    roll.setStoredFingerprint(prepared.manifest.fileFingerprint);
    const Replacement vectors =
        store_.writeEmbeddings(roll.id(), buildEmbeddings(roll), !document.sidecarIsUnusable);
    tell(vectors.problems);
    if (vectors.kind == Replacement::Kind::written) document.sidecarIsUnusable = false;
    mirror_.follow(std::move(prepared.manifest));
    return {};
}

Result<void, std::string> VaultService::write(FilmRoll& roll) {
    auto ready = prepared(roll);
    if (!ready) return Unexpected(ready.error());
    const Replacement replaced =
        store_.replaceWithBackups(ready->document->file, ready->bytes, ready->document->stamp);
    return finished(roll, std::move(*ready), replaced);
}

void VaultService::saveAll(const std::vector<RollPointer>& rolls) {
    struct Waiting {
        RollPointer roll;
        std::uint64_t revision;
        Prepared ready;
    };
    std::vector<Waiting> waiting;
    for (const RollPointer& roll : rolls) {
        const std::uint64_t revision = roll->contentRevision();
        auto ready = prepared(*roll);
        if (ready) {
            waiting.push_back({roll, revision, std::move(*ready)});
        } else {
            schedule_.noteOutcome(*roll, revision, Unexpected(ready.error()));
        }
    }
    using Writing = OrderedProduction<Replacement>;
    const auto writing =
        std::make_shared<Writing>(waiting.size(), waiting.size(), [this, &waiting](std::size_t index) {
            const Prepared& ready = waiting[index].ready;
            return store_.replaceWithBackups(ready.document->file, ready.bytes, ready.document->stamp);
        });
    const auto workers = queues_.makeQueue("com.kelvaris.vault.saves", savesAtOnce);
    for (int i = 0; i < workers->width(); ++i) workers->add([writing] { writing->help(); });
    std::size_t next = 0;
    writing->takeAll([&](const Replacement& replaced) {
        Waiting& each = waiting[next++];
        auto outcome = finished(*each.roll, std::move(each.ready), replaced);
        schedule_.noteOutcome(*each.roll, each.revision, std::move(outcome));
    });
}

std::string VaultService::refuseLoss(const RollDocument& document, const std::vector<std::string>& lost,
                                     std::string_view bytes) {
    const std::string reason =
        fmt::format("the save would lose {}; this is a fault of the program", joined(lost, ", "));
    const auto kept = store_.keepBeside(document.file, "refused", bytes);
    const VaultProblem problem{
        VaultProblem::Kind::refused, document.file,
        fmt::format("{} was not saved: {}{}", document.file.filename(), reason,
                    kept ? ". What would have been written is in " + kept->string() : std::string())};
    log::error("Vault", "{}", problem.text);
    tell({&problem, 1});
    return reason;
}

void VaultService::noteWritten(RollDocument& document) {
    if (const auto info = files_.info(document.file)) document.modified = info->modified;
}

// --- Loading -------------------------------------------------------------------------------------------

void VaultService::applyManifest(const VaultRollManifest& manifest, FilmRoll& roll) {
    const auto id = RollID::parse(manifest.id);
    auto embeddings = id ? store_.loadEmbeddings(*id) : std::nullopt;
    kelvaris::applyManifest(manifest, std::move(embeddings).value_or(EmbeddingsByFilename()), roll);
    documentOf(roll.id());
}

void VaultService::applyManifest(StoredRoll stored, FilmRoll& roll) {
    RollDocument document;
    document.take(stored);
    documents_.insert_or_assign(roll.id(), std::move(document));
    tell(stored.problems);
    kelvaris::applyManifest(stored.manifest, std::move(stored.embeddings), roll);
}

std::vector<RollID> VaultService::changedOutside() const {
    std::map<std::string, const FolderEntry*> files;
    const auto listing = files_.list(paths().rolls);
    if (!listing) return {};
    for (const FolderEntry& entry : *listing) files.emplace(entry.path.filename(), &entry);
    std::vector<RollID> changed;
    for (const auto& [id, document] : documents_) {
        const auto found = files.find(document.file.filename());
        if (found == files.end() || !found->second->info || !document.stamp) continue;
        const FileInfo& info = *found->second->info;
        const bool isSame = static_cast<std::uint64_t>(info.size) == document.stamp->size &&
                            info.modified == document.modified;
        if (!isSame) changed.push_back(id);
    }
    return changed;
}

bool VaultService::takeInHandEdit(FilmRoll& roll) {
    if (schedule_.isUnsaved(roll)) return false;
    RollDocument& document = documentOf(roll.id());
    const auto bytes = files_.read(document.file);
    if (!bytes) return false;
    const FileStamp stamp = FileStamp::of(asText(*bytes));
    if (stamp == document.stamp) {
        noteWritten(document);
        return false;
    }
    const auto manifest = decodedRollFile(asText(*bytes));
    if (!manifest || RollID::parse(manifest->id) != roll.id()) {
        // What is known of the roll is here alone now; its save keeps what lies in the file's place beside it.
        schedule_.schedule(roll.shared_from_this());
        return false;
    }
    log::info("Vault", "{} was edited by somebody else, and is read again", document.file.filename());
    takeInManifest(*manifest, roll);
    document.stamp = stamp;
    document.remember(*manifest);
    noteWritten(document);
    schedule_.noteSaved(roll);
    return true;
}

// --- Removed rolls -------------------------------------------------------------------------------------

Result<void, std::string> VaultService::deleteRoll(RollID id) {
    if (auto refusal = writingRefused()) return Unexpected(*refusal);
    if (auto aside = store_.putAside(id, documentOf(id).file); !aside)
        return Unexpected(aside.error().message);
    documents_.erase(id);
    return {};
}

Result<StoredRoll, std::string> VaultService::takeBackRoll(RollID id) {
    if (auto refusal = writingRefused()) return Unexpected(*refusal);
    const auto file = store_.takeBack(id);
    if (!file) return Unexpected(file.error().message);
    auto stored = store_.loadRoll(*file);
    if (!stored) return Unexpected(std::string("its file cannot be read"));
    RollDocument document;
    document.take(*stored);
    documents_.insert_or_assign(id, std::move(document));
    return std::move(*stored);
}

// --- Preferences ---------------------------------------------------------------------------------------

std::optional<VaultPreferences> VaultService::loadPreferences() {
    auto reading = store_.readPreferences();
    tell(reading.problems);
    // A later reading, on the way to a save, must not pass somebody else's edit off as known.
    if (!preferencesStamp_) preferencesStamp_ = reading.stamp;
    return std::move(reading.record);
}

bool VaultService::savePreferences(const VaultPreferences& preferences) {
    if (const auto refusal = writingRefused()) {
        log::error("Vault", "Not saved: {}", *refusal);
        return false;
    }
    if (!preferences.isValid()) {
        log::error("Vault", "Refusing to save invalid preferences");
        return false;
    }
    const auto file = encodedPreferencesFile(preferences, language_, clock_);
    if (!file) {
        log::error("Vault", "Failed to encode preferences: {}", file.error());
        return false;
    }
    const Replacement replaced = store_.replaceWithBackups(paths().preferencesFile, *file, preferencesStamp_);
    tell(replaced.problems);
    if (replaced.kind == Replacement::Kind::failed) {
        log::error("Vault", "Could not save the preferences: {}", replaced.error);
        return false;
    }
    preferencesStamp_ = replaced.stamp;
    mirror_.follow(preferences);
    return true;
}

}  // namespace kelvaris

// The mirror beside the whole vault: mirroring all of it, catching up, and comparing.

#include <algorithm>
#include <utility>

#include "base/log.h"
#include "vault/bodies.h"
#include "vault/mirror.h"
#include "vault/open_mirror.h"
#include "vault/vault_documents.h"

namespace kelvaris {

namespace {

constexpr const char* damagedReason = "The file is damaged; its copy stays as it is";

}  // namespace

Path VaultMirror::localRollFile(const std::string& id) const {
    const Path named = store_.paths().rolls / (id + ".md");
    if (files_.exists(named)) return named;
    for (const Path& file : store_.rollFiles()) {
        if (RollID::parse(file.stem()) == RollID::parse(id)) return file;
    }
    return named;
}

VaultMirror::Outcome VaultMirror::copyStoredRoll(const Path& file, const Path& folder) {
    const auto bytes = readVaultFile(files_, file);
    if (!bytes && bytes.error().code == FileError::Code::notFound) return {Outcome::Kind::gone, "", ""};
    if (!bytes) return {Outcome::Kind::failed, "", bytes.error().message};
    // The common case without decoding: a file's name is its id.
    const auto copy = readVaultFile(files_, MirrorPaths::under(folder).rollFile(file.stem()));
    if (copy && withFolderBookmark(*bytes, "") == *copy) return {Outcome::Kind::unchanged, "", ""};
    auto manifest = decodeFrontmatter<VaultRollManifest>(*bytes);
    const bool isItsOwn = manifest && RollID::parse(manifest->id) == RollID::parse(file.stem());
    if (!isItsOwn) return copyDamagedRoll(file, folder);
    return copyRoll(std::move(*manifest), folder);
}

VaultMirror::Outcome VaultMirror::copyDamagedRoll(const Path& file, const Path& folder) {
    auto roll = store_.loadRoll(file);
    if (!roll) return {Outcome::Kind::failed, "", "Neither the file nor a backup of it can be read"};
    const auto copy = readVaultFile(files_, MirrorPaths::under(folder).rollFile(roll->manifest.id));
    if (copy && decodedRollFile(*copy)) {
        return {Outcome::Kind::failed, rollName(roll->manifest), damagedReason};
    }
    return copyRoll(std::move(roll->manifest), folder);
}

VaultMirror::Outcome VaultMirror::copyStoredPreferences(const Path& folder) {
    const auto bytes = readVaultFile(files_, store_.paths().preferencesFile);
    if (!bytes && bytes.error().code == FileError::Code::notFound) return {Outcome::Kind::gone, "", ""};
    if (!bytes) return {Outcome::Kind::failed, "", bytes.error().message};
    auto preferences = decodeFrontmatter<VaultPreferences>(*bytes);
    if (!preferences) return {Outcome::Kind::failed, "", damagedReason};
    return copyPreferences(std::move(*preferences), folder);
}

MirrorReport VaultMirror::mirrorAll() {
    MirrorReport report;
    const auto folder = enabledMirrorBase();
    if (!folder && isOn()) report.failures.push_back({"", "", awayReason});
    if (!folder) return report;
    const OpenMirror open(files_, folders_, *folder);
    const Path& rolls = store_.paths().rolls;
    if (const auto listing = files_.list(rolls);
        !listing && listing.error().code != FileError::Code::notFound) {
        report.failures.push_back({"", rolls.filename(), listing.error().message});
    }
    for (const Path& file : store_.rollFiles()) {
        if (isEnding_) break;
        const Outcome outcome = copyStoredRoll(file, *folder);
        note(report, file.stem(), file.stem(), outcome);
        report.written += outcome.kind == Outcome::Kind::written;
        report.unchanged += outcome.kind == Outcome::Kind::unchanged;
    }
    report.rolls = report.written + report.unchanged;
    const Outcome preferences = copyStoredPreferences(*folder);
    note(report, "", store_.paths().preferencesFile.filename(), preferences);
    report.preferencesWritten = preferences.kind == Outcome::Kind::written;
    const Outcome schema = writeFile(schemaText(), MirrorPaths::under(*folder).schemaFile);
    if (schema.kind == Outcome::Kind::failed) report.failures.push_back({"", schema.name, schema.reason});
    const std::lock_guard lock(mutex_);
    if (failed_.empty() && !report.hasFailed()) state_.forgetFailure();
    log::info("Vault", "Mirrored {} rolls to backup folder", report.rolls);
    return report;
}

void VaultMirror::note(MirrorReport& report, const std::string& id, const std::string& name,
                       const Outcome& outcome) {
    noteOutcome({id, name, nullptr}, outcome);
    if (outcome.kind != Outcome::Kind::failed) return;
    report.failures.push_back({id, outcome.name.empty() ? name : outcome.name, outcome.reason});
}

// --- What is behind ------------------------------------------------------------------------------------

void VaultMirror::catchUp() {
    if (!isOn()) return;
    enqueue([this] {
        if (wasRestoredFrom_) return;
        if (const auto folder = findFolder()) awaitNewerFiles(*folder);
    });
}

void VaultMirror::awaitNewerFiles(const Path& folder) {
    const MirrorPaths mirror = MirrorPaths::under(folder);
    std::vector<Waiting> behind;
    const auto look = [&](const std::string& id, const Path& local, const Path& copy) {
        const auto here = files_.info(local);
        const auto there = files_.info(copy);
        const bool isNewer = here && (!there || here->modified > there->modified);
        if (isNewer) behind.push_back(fromDisk(id, id));
    };
    for (const Path& file : store_.rollFiles()) {
        if (isEnding_) return;
        look(file.stem(), file, mirror.rollFile(file.stem()));
    }
    look("", store_.paths().preferencesFile, mirror.preferencesFile);
    const std::lock_guard lock(mutex_);
    for (Waiting& waiting : behind) {
        const std::string id = waiting.id;
        waiting_.try_emplace(id, std::move(waiting));  // a record that waits is newer than its file
    }
    if (!waiting_.empty()) enqueueWriting();
}

bool VaultMirror::isUpToDate(const Path& file, const MirrorPaths& mirror, std::string& name) const {
    const auto bytes = readVaultFile(files_, file);
    if (!bytes) return false;
    const auto copy = readVaultFile(files_, mirror.rollFile(file.stem()));
    if (copy && agreesWithMirror(*bytes, *copy)) return true;
    if (const auto manifest = decodedRollFile(*bytes)) name = rollName(*manifest);
    return false;
}

MirrorStatus VaultMirror::status() const {
    MirrorStatus status{.isOn = isOn(), .folder = findFolder(), .lastCopy = {}, .rolls = 0, .behind = {}};
    const auto files = store_.rollFiles();
    status.rolls = static_cast<int>(files.size());
    if (!status.folder) return status;
    const FolderScope access(folders_, *status.folder);
    const MirrorPaths mirror = MirrorPaths::under(*status.folder);
    for (const Path& file : files) {
        std::string name = file.stem();
        if (!isUpToDate(file, mirror, name)) status.behind.push_back(std::move(name));
    }
    for (const Path& folder : {mirror.base, mirror.rolls}) {
        const auto entries = files_.list(folder);
        if (!entries) continue;
        for (const FolderEntry& entry : *entries) {
            if (entry.info && entry.info->isRegularFile && entry.info->modified) {
                status.lastCopy = std::max(status.lastCopy, entry.info->modified);
            }
        }
    }
    return status;
}

RestoreReport VaultMirror::restoreFromMirror(const Path& folder, bool replacesNewer) {
    wasRestoredFrom_ = true;
    const FolderScope access(folders_, folder);
    return kelvaris::restoreFromMirror({store_, files_, language_, clock_, isEnding_}, folder, replacesNewer);
}

}  // namespace kelvaris

#include "vault/verification.h"

#include <fmt/format.h>

#include <algorithm>
#include <map>
#include <set>
#include <utility>

#include "library/fingerprint.h"
#include "vault/embedding_sidecar.h"
#include "vault/mirror.h"
#include "vault/removed_rolls.h"
#include "vault/vault_documents.h"
#include "vault/yaml_limits.h"

namespace kelvaris {

namespace {

using MirrorState = RollCheck::Mirror;

template <class Record>
Result<Record, DecodeFailure> decodedFile(std::string_view file) {
    if constexpr (std::is_same_v<Record, VaultRollManifest>) {
        return decodedRollFile(file);
    } else {
        return decodedPreferencesFile(file);
    }
}

template <class Record>
std::optional<Record> salvagedRecord(const Files& files, const Path& path) {
    const auto bytes = files.read(path, static_cast<std::int64_t>(YamlLimits().bytes));
    if (!bytes) return std::nullopt;
    const auto salvage = [&] {
        if constexpr (std::is_same_v<Record, VaultRollManifest>) {
            return salvagedRollFile(asText(*bytes));
        } else {
            return salvagedPreferencesFile(asText(*bytes));
        }
    }();
    return salvage ? std::optional(salvage->record) : std::nullopt;
}

template <class Record>
Result<Record, std::string> readRecord(const Files& files, const Path& path) {
    const auto bytes = files.read(path, static_cast<std::int64_t>(YamlLimits().bytes));
    if (!bytes) return Unexpected(bytes.error().message);
    auto record = decodedFile<Record>(asText(*bytes));
    if (!record) return Unexpected(record.error().reason);
    return std::move(*record);
}

/// Fills the check; what it gives is the record of the file, what is salvaged of it, or that of the backup
/// that decodes.
template <class Record>
std::optional<Record> checkFile(const Files& files, const Path& path, FileCheck& check) {
    check.file = path;
    auto record = readRecord<Record>(files, path);
    if (record) {
        check.state = FileCheck::State::intact;
        return std::move(*record);
    }
    check.reason = record.error();
    if (auto salvage = salvagedRecord<Record>(files, path)) {
        check.state = FileCheck::State::salvaged;
        return salvage;
    }
    check.state = files.exists(path) ? FileCheck::State::unreadable : FileCheck::State::absent;
    for (int number = 1; number <= backupCount; ++number) {
        if (auto backup = readRecord<Record>(files, backupPath(path, number))) {
            check.state = FileCheck::State::fromBackup;
            check.backup = number;
            return std::move(*backup);
        }
    }
    return std::nullopt;
}

std::vector<Path> listed(const Files& files, const Path& folder) {
    std::vector<Path> paths;
    if (const auto entries = files.list(folder)) {
        for (const FolderEntry& entry : *entries) paths.push_back(entry.path);
    }
    std::sort(paths.begin(), paths.end());
    return paths;
}

bool isRollFile(const Path& path) {
    return path.extension() == "md" && path.filename().find(".bak") == std::string::npos;
}

/// One file a roll, by name; what else is there goes to the problems.
std::vector<std::pair<RollID, Path>> listedRolls(const Files& files, const VaultPaths& paths,
                                                 std::vector<VaultProblem>& problems) {
    std::vector<std::pair<RollID, Path>> rolls;
    const auto entries = files.list(paths.rolls);
    if (!entries) {
        if (entries.error().code == FileError::Code::notFound) return rolls;
        problems.push_back({VaultProblem::Kind::library, paths.rolls,
                            fmt::format("{}: the rolls cannot be read ({})", paths.rolls.string(),
                                        entries.error().message)});
        return rolls;
    }
    RollListing listing = RollListing::of(*entries);
    for (const RollListing::Roll& roll : listing.rolls) rolls.emplace_back(roll.id, roll.files.front());
    std::sort(rolls.begin(), rolls.end(), [](const auto& a, const auto& b) { return a.second < b.second; });
    for (VaultProblem& problem : listing.problems) {
        // Told by backupsWithoutRoll, which looks at names of every kind.
        if (problem.kind != VaultProblem::Kind::backupsOnly) problems.push_back(std::move(problem));
    }
    return rolls;
}

void checkSidecar(const Files& files, const VaultPaths& paths, const VaultRollManifest& manifest,
                  RollCheck& check) {
    const auto id = RollID::parse(manifest.id);
    const auto bytes = files.read(paths.embeddingsFile(*id));
    if (!bytes) return;
    const auto embeddings = EmbeddingSidecar::decode(*bytes);
    if (!embeddings) {
        check.sidecar = RollCheck::Sidecar::unusable;
        return;
    }
    std::map<std::string, const PhotoManifestEntry*> entries;
    for (const auto& photo : manifest.photos) entries.try_emplace(photo.filename, &photo);
    for (const auto& [filename, vectors] : *embeddings) {
        const auto entry = entries.find(filename);
        const bool agrees =
            entry != entries.end() &&
            (vectors.faces.empty() ||
             (entry->second->faceRegions && entry->second->faceRegions->size() == vectors.faces.size()));
        if (!agrees) check.sidecarDifferences.push_back(filename);
    }
    check.sidecar =
        check.sidecarDifferences.empty() ? RollCheck::Sidecar::agrees : RollCheck::Sidecar::disagrees;
}

void checkFingerprint(const Files& files, const VaultRollManifest& manifest, RollCheck& check) {
    const auto listing = files.list(Path(manifest.folderPath));
    if (!listing) return;
    std::map<std::string, std::int64_t> stored;
    std::map<std::string, std::int64_t> present;
    for (const auto& file : manifest.fileFingerprint) stored.emplace(file.filename, file.size);
    for (const auto& file : fingerprintOf(*listing)) present.emplace(file.filename, file.size);
    std::vector<std::pair<std::string, std::int64_t>> different;
    std::set_symmetric_difference(stored.begin(), stored.end(), present.begin(), present.end(),
                                  std::back_inserter(different));
    std::set<std::string> names;
    for (const auto& [name, size] : different) names.insert(name);
    check.fingerprintDifferences.assign(names.begin(), names.end());
    check.folder = names.empty() ? RollCheck::Folder::agrees : RollCheck::Folder::disagrees;
}

template <class Record>
MirrorState compared(const Files& files, const Path& mirrored, const Record& expected) {
    if (!files.exists(mirrored)) return MirrorState::absent;
    const auto record = readRecord<Record>(files, mirrored);
    if (!record) return MirrorState::unreadable;
    return *record == expected ? MirrorState::agrees : MirrorState::differs;
}

void findStrayFiles(const Files& files, const VaultPaths& paths, VaultReport& report) {
    std::set<std::string> known;
    std::set<std::string> backedUp;
    for (const auto& roll : report.rolls) known.insert(roll.file.file.stem());
    for (const auto& roll : report.rolls) {
        if (const auto id = RollID::parse(roll.id)) known.insert(id->text());
    }
    for (const Path& path : listed(files, paths.embeddings)) {
        if (path.extension() == "bin" && !known.contains(path.stem())) {
            report.sidecarsWithoutRoll.push_back(path);
        }
    }
    for (const Path& path : listed(files, paths.rolls)) {
        const std::string name = path.filename();
        const auto mark = name.find(".md.bak");
        if (mark == std::string::npos || files.exists(paths.rolls / (name.substr(0, mark) + ".md"))) continue;
        if (backedUp.insert(name.substr(0, mark)).second) report.backupsWithoutRoll.push_back(path);
    }
}

void checkMirrorOnly(const Files& files, const MirrorPaths& mirror, VaultReport& report) {
    std::set<std::string> local;
    for (const auto& roll : report.rolls) {
        local.insert(roll.file.file.filename());
        local.insert(roll.id + ".md");
    }
    for (const Path& path : listed(files, mirror.rolls)) {
        if (!isRollFile(path) || local.contains(path.filename())) continue;
        report.mirrorOnly.push_back(path);
        if (!readRecord<VaultRollManifest>(files, path)) report.mirrorUnreadable.push_back(path);
    }
}

bool isGood(RollCheck::Mirror mirror) { return mirror == MirrorState::off || mirror == MirrorState::agrees; }

}  // namespace

bool VaultReport::isClean() const {
    const auto isCleanRoll = [](const RollCheck& roll) {
        return roll.file.state == FileCheck::State::intact && roll.sidecar != RollCheck::Sidecar::unusable &&
               roll.sidecar != RollCheck::Sidecar::disagrees && roll.folder != RollCheck::Folder::disagrees &&
               isGood(roll.mirror);
    };
    return std::all_of(rolls.begin(), rolls.end(), isCleanRoll) &&
           (preferences.state == FileCheck::State::intact || preferences.state == FileCheck::State::absent) &&
           isGood(preferencesMirror) && sidecarsWithoutRoll.empty() && backupsWithoutRoll.empty() &&
           mirrorUnreadable.empty() && problems.empty() && keptBeside.empty();
}

VaultReport verifyVault(const Files& files, const VaultPaths& paths,
                        const std::optional<Path>& mirrorFolder) {
    VaultReport report;
    const auto mirror = mirrorFolder ? std::optional(MirrorPaths::under(*mirrorFolder)) : std::nullopt;
    for (const auto& [id, path] : listedRolls(files, paths, report.problems)) {
        RollCheck& check = report.rolls.emplace_back();
        auto manifest = checkFile<VaultRollManifest>(files, path, check.file);
        if (!manifest) continue;
        if (RollID::parse(manifest->id) != id) {
            report.problems.push_back(
                {VaultProblem::Kind::foreign, path,
                 fmt::format("{}: holds another roll; it is left alone", path.string())});
            continue;
        }
        check.id = manifest->id;
        check.folderPath = manifest->folderPath;
        check.photoCount = manifest->photos.size();
        checkSidecar(files, paths, *manifest, check);
        checkFingerprint(files, *manifest, check);
        if (mirror) {
            const Path mirrored = mirror->rolls / (manifest->id + ".md");
            check.mirror = compared(files, mirrored, asMirrored(std::move(*manifest)));
        }
    }
    auto preferences = checkFile<VaultPreferences>(files, paths.preferencesFile, report.preferences);
    if (mirror && preferences && report.preferences.state == FileCheck::State::intact) {
        report.preferencesMirror =
            compared(files, mirror->preferencesFile, asMirrored(std::move(*preferences)));
    }
    findStrayFiles(files, paths, report);
    if (mirror) checkMirrorOnly(files, *mirror, report);
    report.keptBeside = keptBeside(files, paths);
    report.removed = asideRolls(files, paths);
    return report;
}

}  // namespace kelvaris

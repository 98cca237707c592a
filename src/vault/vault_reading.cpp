// The half of the store that reads. It changes nothing, whatever it finds.

#include <fmt/format.h>

#include <memory>
#include <utility>

#include "base/log.h"
#include "vault/embedding_sidecar.h"
#include "vault/frontmatter.h"
#include "vault/ordered_production.h"
#include "vault/vault_documents.h"
#include "vault/vault_store.h"
#include "vault/yaml_reader.h"

namespace kelvaris {

namespace {

using Kind = VaultProblem::Kind;

std::optional<Bytes> readFile(const Files& files, const Path& path) {
    return files.read(path, static_cast<std::int64_t>(YamlLimits().bytes)).toOptional();
}

std::optional<VaultRollManifest> decodeFile(const Files& files, const Path& path) {
    const auto bytes = readFile(files, path);
    if (!bytes) return std::nullopt;
    return decodeFrontmatter<VaultRollManifest>(asText(*bytes));
}

/// The folder that a roll file names, found without decoding the rest of it.
std::optional<std::string> folderPathOf(std::string_view file) {
    using Kind = YamlEvent::Kind;
    const auto yaml = readFrontmatter(file);
    if (!yaml) return std::nullopt;
    YamlReader reader(*yaml);
    if (!reader.is(Kind::mappingStart)) return std::nullopt;
    reader.advance();
    while (reader.is(Kind::scalar)) {
        const bool isWanted = reader.current().text == "folderPath";
        reader.advance();
        if (isWanted && reader.is(Kind::scalar)) return std::string(reader.current().text);
        reader.skipValue();
    }
    return std::nullopt;
}

void logAll(const std::vector<VaultProblem>& problems) {
    for (const VaultProblem& problem : problems) log::error("Vault", "{}", problem.text);
}

/// Rolls that are read ahead of the thread that takes them.
constexpr std::size_t readAhead = 32;

}  // namespace

/// A roll, if one of its files gives it, and what is to be told either way.
struct VaultStore::RollReading {
    std::optional<StoredRoll> roll;
    std::vector<VaultProblem> problems;
};

std::optional<VaultRollManifest> VaultStore::loadManifest(const Path& file) const {
    if (auto manifest = decodeFile(files_, file)) return manifest;
    for (int number = 1; number <= backupCount; ++number) {
        if (auto manifest = decodeFile(files_, backupPath(file, number))) return manifest;
    }
    return std::nullopt;
}

FileResult<RollListing> VaultStore::listRolls() const {
    const auto entries = files_.list(paths_.rolls);
    if (entries) return RollListing::of(*entries);
    if (entries.error().code == FileError::Code::notFound) return RollListing();  // before the first save
    return Unexpected(entries.error());
}

std::vector<Path> VaultStore::rollFiles() const {
    std::vector<Path> files;
    if (const auto listing = listRolls()) {
        for (const RollListing::Roll& roll : listing->rolls) files.push_back(roll.files.front());
    }
    return files;
}

VaultStore::RollReading VaultStore::readRoll(const RollListing::Roll& roll) const {
    RollReading result;
    for (const Path& file : roll.files) {
        auto reading = readRollFile(files_, clock_, file, roll.id);
        result.problems.insert(result.problems.end(), reading.problems.begin(), reading.problems.end());
        if (!reading.record) continue;
        result.roll.emplace();
        result.roll->manifest = std::move(*reading.record);
        result.roll->file = file;
        result.roll->stamp = reading.stamp;
        result.roll->problems = result.problems;
        readSidecar(*result.roll, roll.id);
        result.problems = result.roll->problems;
        break;
    }
    logAll(result.problems);
    return result;
}

void VaultStore::readSidecar(StoredRoll& roll, RollID id) const {
    const Path path = paths_.embeddingsFile(id);
    const auto file = files_.map(path);
    const bool isThere = file ? !(*file)->bytes().empty() : file.error().code != FileError::Code::notFound;
    if (!isThere) return;
    if (auto embeddings = file ? EmbeddingSidecar::decode((*file)->bytes()) : std::nullopt) {
        roll.embeddings = std::move(*embeddings);
        return;
    }
    roll.sidecarIsUnusable = true;
    roll.problems.push_back(
        {Kind::unusableVectors, path,
         fmt::format("{}: these vectors cannot be read; they will be made anew", path.string())});
}

std::optional<StoredRoll> VaultStore::loadRoll(const Path& file) const {
    const auto id = RollID::parse(file.stem());
    if (!id) return std::nullopt;
    return readRoll({*id, {file}}).roll;
}

std::vector<VaultRollManifest> VaultStore::loadAllManifests() const {
    std::vector<VaultRollManifest> manifests;
    const auto listing = listRolls();
    if (!listing) return manifests;
    for (const RollListing::Roll& each : listing->rolls) {
        if (auto reading = readRoll(each); reading.roll)
            manifests.push_back(std::move(reading.roll->manifest));
    }
    return manifests;
}

std::vector<VaultProblem> VaultStore::forEachRoll(OperationQueue& workers,
                                                  const std::function<void(StoredRoll)>& take) const {
    const auto listing = listRolls();
    if (!listing) {
        log::error("Vault", "Failed to list {}: {}", paths_.rolls.string(), listing.error().message);
        return {{Kind::library, paths_.rolls,
                 fmt::format("{}: the rolls cannot be read ({})", paths_.rolls.string(),
                             listing.error().message)}};
    }
    std::vector<VaultProblem> problems = listing->problems;
    logAll(problems);
    const auto& rolls = listing->rolls;
    using Production = OrderedProduction<RollReading>;
    const auto reading = std::make_shared<Production>(
        rolls.size(), readAhead, [this, &rolls](std::size_t index) { return readRoll(rolls[index]); });
    for (int i = 0; i < workers.width(); ++i) workers.add([reading] { reading->help(); });
    reading->takeAll([&](RollReading each) {
        problems.insert(problems.end(), each.problems.begin(), each.problems.end());
        if (each.roll) take(std::move(*each.roll));
    });
    return problems;
}

std::optional<StoredRoll> VaultStore::loadRollByFolderPath(std::string_view folderPath) const {
    const auto listing = listRolls();
    if (!listing) return std::nullopt;
    for (const RollListing::Roll& each : listing->rolls) {
        const auto bytes = readFile(files_, each.files.front());
        const auto named = bytes ? folderPathOf(asText(*bytes)) : std::nullopt;
        if (named && *named != folderPath) continue;
        auto reading = readRoll(each);
        if (reading.roll && reading.roll->manifest.folderPath == folderPath) return std::move(reading.roll);
    }
    return std::nullopt;
}

std::optional<VaultRollManifest> VaultStore::loadManifestByFolderPath(std::string_view folderPath) const {
    auto roll = loadRollByFolderPath(folderPath);
    if (!roll) return std::nullopt;
    return std::move(roll->manifest);
}

std::optional<EmbeddingsByFilename> VaultStore::loadEmbeddings(RollID id) const {
    const auto file = files_.map(paths_.embeddingsFile(id));
    if (!file) return std::nullopt;
    return EmbeddingSidecar::decode((*file)->bytes());
}

FileReading<VaultPreferences> VaultStore::readPreferences() const {
    auto reading = readPreferencesFile(files_, clock_, paths_.preferencesFile);
    logAll(reading.problems);
    return reading;
}

}  // namespace kelvaris

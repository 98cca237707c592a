#include "vault/vault_store.h"

#include <fmt/format.h>

#include <memory>
#include <utility>

#include "base/log.h"
#include "vault/bodies.h"
#include "vault/embedding_sidecar.h"
#include "vault/frontmatter.h"
#include "vault/ordered_production.h"
#include "vault/vault_documents.h"
#include "vault/yaml_reader.h"

namespace kelvaris {

namespace {

constexpr std::string_view applicationIdentifier = "com.kelvaris.app";

std::optional<Bytes> readFile(const Files& files, const Path& path) {
    return files.read(path, static_cast<std::int64_t>(YamlLimits().bytes)).toOptional();
}

template <class Record>
std::optional<Record> decodeFile(const Files& files, const Path& path) {
    const auto bytes = readFile(files, path);
    if (!bytes) return std::nullopt;
    return decodeFrontmatter<Record>(asText(*bytes));
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

/// Rolls that are read ahead of the thread that takes them.
constexpr std::size_t readAhead = 32;

}  // namespace

VaultPaths VaultPaths::under(const Path& root, const Path& thumbnailCacheBase) {
    const Path vault = root / "vault";
    return {.root = root,
            .vault = vault,
            .rolls = vault / "rolls",
            .embeddings = root / "embeddings",
            .preferencesFile = vault / "preferences.md",
            .schemaFile = vault / "SCHEMA.md",
            .lockFile = root / "vault.lock",
            .thumbnailCacheBase = thumbnailCacheBase};
}

Path backupPath(const Path& file, int number) { return Path(fmt::format("{}.bak{}", file.string(), number)); }

void VaultStore::ensureDirectoriesExist() {
    for (const Path& folder : {paths_.vault, paths_.rolls, paths_.embeddings, paths_.thumbnailCacheBase}) {
        (void)files_.createDirectories(folder);
    }
    const auto bytes = readFile(files_, paths_.schemaFile);
    if (!bytes || asText(*bytes) != schemaText()) {
        (void)files_.writeAtomically(paths_.schemaFile, asBytes(schemaText()));
    }
}

std::optional<VaultRollManifest> VaultStore::loadManifest(const Path& file) const {
    if (auto manifest = decodeFile<VaultRollManifest>(files_, file)) return manifest;
    const Path base = file.parent() / (file.stem() + ".md");
    for (int number = 1; number <= backupCount; ++number) {
        if (auto manifest = decodeFile<VaultRollManifest>(files_, backupPath(base, number))) return manifest;
    }
    return std::nullopt;
}

std::vector<Path> VaultStore::rollFiles() const {
    std::vector<Path> rolls;
    const auto entries = files_.list(paths_.rolls);
    if (!entries) return rolls;
    for (const FolderEntry& entry : *entries) {
        const bool isBackup = entry.path.filename().find(".bak") != std::string::npos;
        if (entry.path.extension() == "md" && !isBackup) rolls.push_back(entry.path);
    }
    return rolls;
}

std::vector<VaultRollManifest> VaultStore::loadAllManifests() const {
    std::vector<VaultRollManifest> manifests;
    for (const Path& file : rollFiles()) {
        if (auto manifest = loadManifest(file)) manifests.push_back(std::move(*manifest));
    }
    return manifests;
}

void VaultStore::forEachRoll(OperationQueue& workers, const std::function<void(StoredRoll)>& take) const {
    const std::vector<Path> paths = rollFiles();
    using Reading = OrderedProduction<std::optional<StoredRoll>>;
    const auto reading = std::make_shared<Reading>(
        paths.size(), readAhead, [this, &paths](std::size_t index) { return loadRoll(paths[index]); });
    for (int i = 0; i < workers.width(); ++i) workers.add([reading] { reading->help(); });
    reading->takeAll([&take](std::optional<StoredRoll> roll) {
        if (roll) take(std::move(*roll));
    });
}

std::optional<StoredRoll> VaultStore::loadRoll(const Path& file) const {
    auto manifest = loadManifest(file);
    const auto id = manifest ? RollID::parse(manifest->id) : std::nullopt;
    if (!id) return std::nullopt;
    StoredRoll roll{.manifest = std::move(*manifest), .embeddings = {}};
    if (auto embeddings = loadEmbeddings(*id)) roll.embeddings = std::move(*embeddings);
    return roll;
}

std::optional<VaultRollManifest> VaultStore::loadManifestByFolderPath(std::string_view folderPath) const {
    for (const Path& file : rollFiles()) {
        const auto bytes = readFile(files_, file);
        const auto named = bytes ? folderPathOf(asText(*bytes)) : std::nullopt;
        if (named && *named != folderPath) continue;
        auto manifest = loadManifest(file);
        if (manifest && manifest->folderPath == folderPath) return manifest;
    }
    return std::nullopt;
}

std::optional<EmbeddingsByFilename> VaultStore::loadEmbeddings(RollID id) const {
    const auto file = files_.map(paths_.embeddingsFile(id));
    if (!file) return std::nullopt;
    return EmbeddingSidecar::decode((*file)->bytes());
}

std::optional<VaultPreferences> VaultStore::loadPreferences() const {
    return decodeFile<VaultPreferences>(files_, paths_.preferencesFile);
}

void VaultStore::removeRoll(RollID id) {
    const Path file = paths_.rollFile(id);
    (void)files_.removeFile(file);
    for (int number = 1; number <= backupCount; ++number) (void)files_.removeFile(backupPath(file, number));
    (void)files_.removeFile(paths_.embeddingsFile(id));
    (void)files_.removeTree(paths_.thumbnailFolder(id));
}

void resetAllData(Files& files, const VaultPaths& paths) {
    const Path caches = paths.thumbnailCacheBase.parent();
    (void)files.removeTree(paths.root);
    (void)files.removeTree(caches);
    (void)files.removeTree(caches.parent() / applicationIdentifier);
    log::info("Vault", "All persistent data deleted");
}

}  // namespace kelvaris

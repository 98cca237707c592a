#include "application/own_places.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <utility>

#include "base/log.h"
#include "models/model_id.h"
#include "models/model_registry.h"
#include "vault/mirror_documents.h"

namespace kelvaris {

namespace {

using Name = std::string_view;

/// What a process that was killed in the middle of a write leaves.
bool isTemporary(Name name) { return name.starts_with(".kelvaris-") && name.ends_with(".tmp"); }

/// Whether the name is the file's own, or that of a backup or of a version that was set aside.
bool isVersionOf(Name name, Name file) {
    if (!name.starts_with(file)) return false;
    const Name rest = name.substr(file.size());
    constexpr std::array marks{Name(".bak"), Name(".damaged"), Name(".theirs-"), Name(".refused-")};
    return rest.empty() ||
           std::any_of(marks.begin(), marks.end(), [&](Name mark) { return rest.starts_with(mark); });
}

/// Whether the name is a roll's id with the ending, or a version of that file.
bool isOfRoll(Name name, Name ending) {
    constexpr std::size_t idLength = 36;
    if (name.size() < idLength || !RollID::parse(name.substr(0, idLength))) return false;
    return isVersionOf(name.substr(idLength), ending);
}

bool isRollFile(Name name) { return isOfRoll(name, ".md"); }
bool isSidecar(Name name) { return isOfRoll(name, ".bin"); }
bool isRollFolder(Name name) { return RollID::parse(name).has_value(); }
bool isModelFolder(Name name) { return name == ".staging" || fromRawValue<ModelID>(name).has_value(); }
bool isModelFile(Name name) { return name == "registry.json" || name == ".staging.lock"; }
bool isVaultFile(Name name) { return name == "SCHEMA.md" || isVersionOf(name, "preferences.md"); }
bool isRemovedFile(Name name) { return isRollFile(name) || isSidecar(name); }
bool isLog(Name name) { return name.starts_with("kelvaris.") && name.ends_with(".log"); }
bool isDefaults(Name name) { return isVersionOf(name, "defaults.json"); }
bool isNothing(Name) { return false; }

/// "2026-11-23", or with "-2" and so on behind: the folders in which removed rolls wait.
bool isDay(Name name) {
    constexpr Name shape = "0000-00-00";
    if (name.size() < shape.size()) return false;
    const auto isDigit = [](char character) { return character >= '0' && character <= '9'; };
    for (std::size_t i = 0; i < shape.size(); ++i) {
        if (shape[i] == '-' ? name[i] != '-' : !isDigit(name[i])) return false;
    }
    const Name rest = name.substr(shape.size());
    return rest.empty() ||
           (rest.size() > 1 && rest[0] == '-' && std::all_of(rest.begin() + 1, rest.end(), isDigit));
}

}  // namespace

std::vector<OwnFolder> ownFolders(const Files& files, const VaultPaths& vault, const Places& places) {
    constexpr bool isPrivate = true;
    std::vector<OwnFolder> folders{{vault.rolls, isRollFile, isNothing, isPrivate}};
    if (const auto days = files.list(vault.removed, false)) {
        for (const FolderEntry& day : *days) {
            if (isDay(day.path.filename())) {
                folders.push_back({day.path, isRemovedFile, isNothing, isPrivate});
            }
        }
    }
    const std::vector<OwnFolder> rest{
        {vault.removed, isNothing, isNothing, isPrivate},
        {vault.vault, isVaultFile, isNothing, isPrivate},
        {vault.embeddings, isSidecar, isNothing, isPrivate},
        {modelsDirectory(places), isModelFile, isModelFolder, isPrivate},
        {vault.thumbnailCacheBase, isNothing, isRollFolder, isPrivate},
        {vault.thumbnailCacheBase.parent(), isNothing, isNothing},
        {places.state, isLog, isNothing},
        {places.config, isDefaults, isNothing},
        {vault.root, [lock = vault.lockFile.filename()](Name name) { return name == lock; }, isNothing},
    };
    folders.insert(folders.end(), rest.begin(), rest.end());
    return folders;
}

Path realPath(const Files& files, const Path& path) {
    if (const auto real = files.canonical(path)) return *real;
    const Path parent = path.parent();
    if (parent.empty() || parent == path) return path;
    return realPath(files, parent) / path.filename();
}

bool isWithin(const Path& path, const Path& folder) {
    return path == folder || path.string().starts_with(folder.string() + "/");
}

std::optional<std::string> mirrorFolderRefusal(const Files& files, const Path& folder,
                                               const VaultPaths& vault, const Places& places,
                                               std::span<const Path> rollFolders) {
    const Path base = realPath(files, MirrorPaths::under(folder).base);
    for (const Path& own :
         {vault.root, vault.thumbnailCacheBase.parent(), places.caches, places.config, places.state}) {
        if (!isWithin(base, realPath(files, own))) continue;
        return fmt::format("{} lies in the program's own data, which a mirror is to outlive",
                           folder.string());
    }
    for (const Path& scans : rollFolders) {
        if (!isWithin(base, realPath(files, scans))) continue;
        return fmt::format("{} lies in the folder of a roll: {}", folder.string(), scans.string());
    }
    return std::nullopt;
}

std::vector<std::string> resetRefusals(const Files& files, std::span<const OwnFolder> folders,
                                       std::span<const Path> rollFolders,
                                       const std::optional<Path>& mirrorFolder) {
    const auto isInDanger = [&](const Path& path) {
        const Path real = realPath(files, path);
        return std::any_of(folders.begin(), folders.end(), [&](const OwnFolder& folder) {
            return folder.isPrivate && isWithin(real, realPath(files, folder.path));
        });
    };
    std::vector<std::string> refusals;
    for (const Path& scans : rollFolders) {
        if (isInDanger(scans)) {
            refusals.push_back(fmt::format("The scans in {} lie in the program's own data", scans.string()));
        }
    }
    if (mirrorFolder && isInDanger(MirrorPaths::under(*mirrorFolder).base)) {
        refusals.push_back(
            fmt::format("The mirror in {} lies in the program's own data", mirrorFolder->string()));
    }
    return refusals;
}

namespace {

/// One reset under way.
class Removal {
public:
    explicit Removal(Files& files) : files_(files) {}

    void empty(const OwnFolder& folder) {
        const auto entries = files_.list(folder.path, false);
        if (!entries) {
            if (entries.error().code != FileError::Code::notFound) fail(folder.path, entries.error());
            return;
        }
        std::size_t left = entries->size();
        for (const FolderEntry& entry : *entries) left -= remove(folder, entry);
        if (left > 0) return;
        if (const auto removed = files_.removeTree(folder.path); !removed) {
            fail(folder.path, removed.error());
        }
    }

    std::vector<std::string> takeFailures() { return std::move(failures_); }

private:
    /// @return whether the entry is gone.
    bool remove(const OwnFolder& folder, const FolderEntry& entry) {
        const std::string name = entry.path.filename();
        const bool isFolder = entry.info && entry.info->isDirectory;
        if (!(isFolder ? folder.ownsFolder(name) : folder.ownsFile(name) || isTemporary(name))) return false;
        const auto removed = isFolder ? files_.removeTree(entry.path) : files_.removeFile(entry.path);
        if (!removed) fail(entry.path, removed.error());
        return removed.has_value();
    }

    void fail(const Path& path, const FileError& error) {
        failures_.push_back(fmt::format("{}: {}", path.string(), error.message));
        log::error("Vault", "Not removed: {}", failures_.back());
    }

    Files& files_;
    std::vector<std::string> failures_;
};

}  // namespace

std::vector<std::string> removeOwn(Files& files, std::span<const OwnFolder> folders) {
    Removal removal(files);
    for (const OwnFolder& folder : folders) removal.empty(folder);
    std::vector<std::string> failures = removal.takeFailures();
    if (failures.empty()) log::info("Vault", "All persistent data deleted");
    return failures;
}

}  // namespace kelvaris

#include "vault/removed_rolls.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <set>
#include <tuple>
#include <utility>

#include "base/log.h"
#include "base/text.h"
#include "vault/vault_documents.h"
#include "vault/yaml_limits.h"

namespace kelvaris {

namespace {

constexpr std::size_t dayLength = 10;  // "2026-11-23"

std::optional<AsideFolder> asideFolder(const Path& path) {
    const std::string name = path.filename();
    const auto day = parseTimestamp(name.substr(0, dayLength));
    if (!day || name.size() < dayLength ||
        timestampText(*day).substr(0, dayLength) != name.substr(0, dayLength))
        return std::nullopt;
    if (name.size() == dayLength) return AsideFolder{path, *day, 1};
    const auto number = name[dayLength] == '-' ? parseInteger(name.substr(dayLength + 1)) : std::nullopt;
    if (!number || *number < 2 || *number > 1'000'000) return std::nullopt;
    return AsideFolder{path, *day, static_cast<int>(*number)};
}

/// The first of the file and its backups that decodes, or of which something can be salvaged.
std::optional<VaultRollManifest> anyManifest(const Files& files, const Path& file) {
    std::optional<VaultRollManifest> salvaged;
    for (int number = 0; number <= backupCount; ++number) {
        const auto bytes = files.read(number == 0 ? file : backupPath(file, number),
                                      static_cast<std::int64_t>(YamlLimits().bytes));
        if (!bytes) continue;
        if (auto roll = decodedRollFile(asText(*bytes))) return std::move(*roll);
        if (salvaged) continue;
        if (auto salvage = salvagedRollFile(asText(*bytes))) salvaged = std::move(salvage->record);
    }
    return salvaged;
}

/// Whether the text is ".damaged-20261123T125930Z" or one of its kind.
bool isMarkOfKept(std::string_view text) {
    constexpr std::array<std::string_view, 3> words = {".damaged-", ".theirs-", ".refused-"};
    constexpr std::string_view form = "00000000T000000Z";
    for (const std::string_view word : words) {
        if (!text.starts_with(word)) continue;
        text.remove_prefix(word.size());
        if (text.size() < form.size()) return false;
        const auto isDigit = [](char c) { return c >= '0' && c <= '9'; };
        for (std::size_t i = 0; i < form.size(); ++i) {
            if (form[i] == '0' ? !isDigit(text[i]) : text[i] != form[i]) return false;
        }
        text.remove_prefix(form.size());
        return text.empty() ||
               (text.size() > 1 && text[0] == '-' && std::all_of(text.begin() + 1, text.end(), isDigit));
    }
    return false;
}

bool isKept(std::string_view filename) {
    for (const std::string_view extension : {".md.", ".bin."}) {
        const auto mark = filename.find(extension);
        if (mark == std::string_view::npos) continue;
        const std::string_view stem = filename.substr(0, mark);
        const bool isOurs = RollID::parse(stem) || (stem == "preferences" && extension == ".md.");
        return isOurs && isMarkOfKept(filename.substr(mark + extension.size() - 1));
    }
    return false;
}

}  // namespace

std::vector<AsideFolder> asideFolders(const Files& files, const VaultPaths& paths) {
    std::vector<AsideFolder> folders;
    const auto entries = files.list(paths.removed);
    if (!entries) return folders;
    for (const FolderEntry& entry : *entries) {
        if (!entry.info || !entry.info->isDirectory) continue;
        if (const auto folder = asideFolder(entry.path)) folders.push_back(*folder);
    }
    std::sort(folders.begin(), folders.end(), [](const AsideFolder& a, const AsideFolder& b) {
        return std::tie(a.day, a.number) > std::tie(b.day, b.number);
    });
    return folders;
}

std::optional<RollID> rollOfFile(std::string_view filename) {
    const auto dot = filename.find('.');
    if (dot == std::string_view::npos) return std::nullopt;
    const std::string_view ending = filename.substr(dot);
    bool isOurs = ending == ".md" || ending == ".bin";
    for (int number = 1; number <= backupCount; ++number)
        isOurs |= ending == fmt::format(".md.bak{}", number);
    return isOurs ? RollID::parse(filename.substr(0, dot)) : std::nullopt;
}

std::vector<AsideRoll> asideRolls(const Files& files, const VaultPaths& paths) {
    std::vector<AsideRoll> rolls;
    for (const AsideFolder& folder : asideFolders(files, paths)) {
        const auto entries = files.list(folder.path);
        if (!entries) continue;
        for (const FolderEntry& entry : *entries) {
            const auto id = rollOfFile(entry.path.filename());
            if (!id || entry.path.extension() != "md") continue;
            AsideRoll& roll =
                rolls.emplace_back(AsideRoll{.id = *id, .file = entry.path, .when = folder.day});
            auto manifest = anyManifest(files, entry.path);
            if (!manifest) continue;
            roll.folderPath = manifest->folderPath;
            roll.fileFingerprint = std::move(manifest->fileFingerprint);
            roll.photoCount = manifest->photos.size();
        }
    }
    return rolls;
}

std::vector<Path> keptBeside(const Files& files, const VaultPaths& paths) {
    std::vector<Path> kept;
    for (const Path& folder : {paths.vault, paths.rolls, paths.embeddings}) {
        const auto entries = files.list(folder);
        if (!entries) continue;
        for (const FolderEntry& entry : *entries) {
            if (isKept(entry.path.filename())) kept.push_back(entry.path);
        }
    }
    std::sort(kept.begin(), kept.end());
    return kept;
}

std::vector<AsideRoll> VaultStore::asideRolls() const { return kelvaris::asideRolls(files_, paths_); }

std::vector<Path> VaultStore::keptBeside() const { return kelvaris::keptBeside(files_, paths_); }

bool VaultStore::hasRollFile(RollID id) const {
    if (files_.exists(paths_.rollFile(id))) return true;
    const auto listing = listRolls();
    if (!listing) return true;  // nobody knows, so nothing of the roll may be removed
    return std::any_of(listing->rolls.begin(), listing->rolls.end(),
                       [id](const RollListing::Roll& roll) { return roll.id == id; });
}

Path VaultStore::freeAsideFolder(RollID id) const {
    const std::string day = timestampText(clock_.now()).substr(0, dayLength);
    Path folder = paths_.removed / day;
    const auto holdsRoll = [&] {
        const auto entries = files_.list(folder);
        if (!entries) return entries.error().code != FileError::Code::notFound;
        return std::any_of(entries->begin(), entries->end(), [id](const FolderEntry& entry) {
            return rollOfFile(entry.path.filename()) == id;
        });
    };
    for (int number = 2; holdsRoll(); ++number) folder = paths_.removed / fmt::format("{}-{}", day, number);
    return folder;
}

/// Moves what stands beside a roll's file. What is not there, or is there already, stays where it is.
/// @param file of the roll, in the folder of rolls.
void VaultStore::moveCompanions(RollID id, const Path& file, const Path& folder, bool isBack) {
    const auto moveOne = [&](const Path& home) {
        const Path aside = folder / home.filename();
        (void)(isBack ? files_.move(aside, home) : files_.move(home, aside));
    };
    for (int number = 1; number <= backupCount; ++number) moveOne(backupPath(file, number));
    moveOne(paths_.embeddingsFile(id));
}

void VaultStore::removeIfEmpty(const Path& folder) {
    const auto entries = files_.list(folder, false);
    if (entries && entries->empty()) (void)files_.removeTree(folder);
}

FileResult<void> VaultStore::putAside(RollID id, const Path& file) {
    const Path folder = freeAsideFolder(id);
    auto moved = files_.createDirectories(folder);
    if (moved) moved = files_.move(file, folder / file.filename());
    const bool wasNeverSaved = !moved && !files_.exists(file) && files_.isDirectory(folder);
    if (!moved && !wasNeverSaved) {
        log::error("Vault", "Failed to put {} aside: {}", file.filename(), moved.error().message);
        removeIfEmpty(folder);
        return moved;
    }
    moveCompanions(id, file, folder, false);
    (void)files_.removeTree(paths_.thumbnailFolder(id));
    removeIfEmpty(folder);
    return {};
}

FileResult<Path> VaultStore::takeBack(RollID id) {
    if (hasRollFile(id))
        return Unexpected(FileError{FileError::Code::alreadyExists, "The library has this roll"});
    for (const AsideFolder& folder : asideFolders(files_, paths_)) {
        const auto entries = files_.list(folder.path);
        if (!entries) continue;
        const auto found = std::find_if(entries->begin(), entries->end(), [id](const FolderEntry& entry) {
            return entry.path.extension() == "md" && rollOfFile(entry.path.filename()) == id;
        });
        if (found == entries->end()) continue;
        const Path home = paths_.rolls / found->path.filename();
        moveCompanions(id, home, folder.path, true);
        if (const auto moved = files_.move(found->path, home); !moved) {
            log::error("Vault", "Failed to take {} back: {}", home.filename(), moved.error().message);
            return Unexpected(moved.error());
        }
        removeIfEmpty(folder.path);
        return home;
    }
    return Unexpected(FileError{FileError::Code::notFound, "No such roll was removed"});
}

std::vector<RollID> VaultStore::emptyAside(std::optional<int> olderThanDays) {
    const auto roundedDay = [](Instant instant) {
        return std::chrono::floor<std::chrono::days>(instant.sinceEpoch()).count();
    };
    std::set<RollID> forgotten;
    std::set<RollID> kept;
    for (const AsideFolder& folder : asideFolders(files_, paths_)) {
        const auto age = roundedDay(clock_.now()) - roundedDay(folder.day);
        const bool isOver = !olderThanDays || age >= *olderThanDays;
        const auto entries = files_.list(folder.path);
        if (!entries) continue;
        for (const FolderEntry& entry : *entries) {
            const auto id = rollOfFile(entry.path.filename());
            if (!id) continue;
            const bool isGone = isOver && files_.removeFile(entry.path);
            (isGone ? forgotten : kept).insert(*id);
            const bool isHalfDone = !isGone && entry.path.extension() == "md" && !hasRollFile(*id);
            if (isHalfDone) moveCompanions(*id, paths_.rolls / entry.path.filename(), folder.path, false);
        }
        removeIfEmpty(folder.path);
    }
    std::vector<RollID> gone;
    for (const RollID& id : forgotten) {
        if (kept.contains(id) || hasRollFile(id)) continue;
        removeRoll(id);  // what stayed behind when it was put aside
        gone.push_back(id);
    }
    return gone;
}

}  // namespace kelvaris

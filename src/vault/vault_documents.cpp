#include "vault/vault_documents.h"

#include <fmt/format.h>

#include <algorithm>
#include <utility>

#include "base/log.h"
#include "base/uuid.h"
#include "preferences/preference_settings.h"
#include "vault/bodies.h"
#include "vault/frontmatter.h"
#include "vault/record_yaml.h"

namespace kelvaris {

// A photo without its place goes where its entry stands, a roll without the listing of its folder is listed
// anew; neither is worth a photo's labels or a roll's notes.
template <>
inline constexpr std::array<std::string_view, 1> record_yaml::spareKeys<PhotoManifestEntry>{"sortIndex"};
template <>
inline constexpr std::array<std::string_view, 3> record_yaml::spareKeys<VaultRollManifest>{
    "version", "folderBookmark", "fileFingerprint"};

namespace {

/// Decodes without a look at the ranges of values.
/// @param losses null for the strict reading.
template <class Record>
Result<Record, DecodeFailure> decodedShape(std::string_view file, std::vector<std::string>* losses) {
    using Kind = DecodeFailure::Kind;
    if (file.size() > YamlLimits().bytes) {
        return Unexpected(DecodeFailure{Kind::notFrontmatter, "The file is too long"});
    }
    const auto yaml = losses ? salvagedFrontmatter(file) : readFrontmatter(file);
    if (!yaml) {
        return Unexpected(DecodeFailure{Kind::notFrontmatter, "No frontmatter between two fences in UTF-8"});
    }
    if (yaml->empty()) return Unexpected(DecodeFailure{Kind::undecodable, "The frontmatter is empty"});
    const auto linesBefore = std::count(file.data(), yaml->data(), '\n');
    auto record = decodedYaml<Record>(*yaml, static_cast<std::size_t>(linesBefore) + 1, losses);
    if (!record) return Unexpected(DecodeFailure{Kind::undecodable, std::move(record).error()});
    return std::move(*record);
}

template <class Record>
Result<Record, DecodeFailure> decoded(std::string_view file, const char* invalidReason) {
    auto record = decodedShape<Record>(file, nullptr);
    if (record && !record->isValid())
        return Unexpected(DecodeFailure{DecodeFailure::Kind::invalid, invalidReason});
    return record;
}

/// Whether a roll of this one photo would be valid.
bool isValid(PhotoManifestEntry entry) {
    VaultRollManifest probe;
    probe.id = RollID().text();
    probe.photos.push_back(std::move(entry));
    return probe.isValid();
}

/// Takes out what is out of its range, and tells it.
void confine(PhotoManifestEntry& entry, std::vector<std::string>& losses) {
    if (isValid(entry)) return;
    const auto lose = [&](std::string_view key) {
        losses.push_back(fmt::format("{} of {} is out of its range", key, entry.filename));
    };
    if (!isValid({.filename = {}, .sortIndex = entry.sortIndex})) {
        entry.sortIndex = 0;
        lose("sortIndex");
    }
    const auto confineMember = [&](auto member, std::string_view key) {
        PhotoManifestEntry alone;
        alone.*member = entry.*member;
        if (isValid(std::move(alone))) return;
        (entry.*member).reset();
        lose(key);
    };
    confineMember(&PhotoManifestEntry::peopleCount, "peopleCount");
    confineMember(&PhotoManifestEntry::latitude, "latitude");
    confineMember(&PhotoManifestEntry::longitude, "longitude");
}

void confine(VaultRollManifest& roll, std::vector<std::string>& losses) {
    for (PhotoManifestEntry& entry : roll.photos) confine(entry, losses);
    if (!roll.removedPhotos) return;
    for (PhotoManifestEntry& entry : *roll.removedPhotos) confine(entry, losses);
}

void confine(VaultPreferences& preferences, std::vector<std::string>& losses) {
    for (const NumberSetting& setting : settings::numbers) {
        auto& value = preferences.*setting.inFile;
        if (!value || setting.isAcceptable(*value)) continue;
        value.reset();
        losses.push_back(fmt::format("{} is out of its range", setting.key));
    }
}

template <class Record>
Result<Salvage<Record>, DecodeFailure> salvaged(std::string_view file) {
    std::vector<std::string> losses;
    auto record = decodedShape<Record>(file, &losses);
    if (!record) return Unexpected(record.error());
    confine(*record, losses);
    if (!record->isValid())
        return Unexpected(DecodeFailure{DecodeFailure::Kind::invalid, "The id is invalid"});
    return Salvage<Record>{std::move(*record), std::move(losses)};
}

Result<std::string, std::string> assembled(Result<std::string, std::string> yaml, std::string_view body) {
    if (!yaml) return yaml;
    std::string file = frontmatterFile(*yaml, body);
    // What the reader would refuse must not replace what it takes.
    if (file.size() > YamlLimits().bytes) return Unexpected(std::string("The file would be too long"));
    return file;
}

template <class Record>
std::optional<Record> logged(Result<Record, DecodeFailure> result, const char* rejection) {
    if (!result && result.error().kind == DecodeFailure::Kind::invalid) log::error("Vault", "{}", rejection);
    return std::move(result).toOptional();
}

}  // namespace

Result<std::string, std::string> encodedRollFile(const VaultRollManifest& manifest,
                                                 const Language& language) {
    return assembled(encodedYaml(manifest), generateMarkdownBody(manifest, language));
}

Result<std::string, std::string> encodedPreferencesFile(const VaultPreferences& preferences,
                                                        const Language& language, const Clock& clock) {
    return assembled(encodedYaml(preferences), generatePreferencesBody(preferences, language, clock.now()));
}

Result<VaultRollManifest, DecodeFailure> decodedRollFile(std::string_view file) {
    return decoded<VaultRollManifest>(file, "An id, a sort index, a people count or a coordinate is invalid");
}

Result<VaultPreferences, DecodeFailure> decodedPreferencesFile(std::string_view file) {
    return decoded<VaultPreferences>(file, "A number is out of its range");
}

Result<Salvage<VaultRollManifest>, DecodeFailure> salvagedRollFile(std::string_view file) {
    auto salvage = salvaged<VaultRollManifest>(file);
    // A list of which nothing is left would pass for a roll without photos; a backup knows better.
    if (salvage && salvage->record.photos.empty() && !salvage->record.removedPhotos &&
        !salvage->losses.empty())
        return Unexpected(DecodeFailure{DecodeFailure::Kind::undecodable, "No photo can be read"});
    return salvage;
}

Result<Salvage<VaultPreferences>, DecodeFailure> salvagedPreferencesFile(std::string_view file) {
    return salvaged<VaultPreferences>(file);
}

template <>
std::optional<VaultRollManifest> decodeFrontmatter(std::string_view file) {
    return logged(decodedRollFile(file), "Rejected invalid roll metadata");
}

template <>
std::optional<VaultPreferences> decodeFrontmatter(std::string_view file) {
    return logged(decodedPreferencesFile(file), "Rejected invalid preferences");
}

}  // namespace kelvaris

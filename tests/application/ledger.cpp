#include "ledger.h"

#include <fmt/format.h>

#include <algorithm>
#include <set>

#include "base/text.h"

namespace kelvaris::testing {

namespace {

// Every field once; take(name, record.field ...) gets it of all records together.

template <class Take, class... Photos>
void eachPhotoField(const Take& take, Photos&... photo) {
    take("date", photo.date...);
    take("who dated it", photo.dateSource...);
    take("latitude", photo.latitude...);
    take("longitude", photo.longitude...);
    take("who placed it", photo.placeSource...);
    take("labels", photo.labels...);
    take("turn", photo.turn...);
    take("who turned it", photo.turnSource...);
    take("taken out", photo.isOut...);
    take("analyzed", photo.isAnalyzed...);
    take("people", photo.people...);
}

template <class Take, class... Rolls>
void eachRollField(const Take& take, Rolls&... roll) {
    take("camera make", roll.cameraMake...);
    take("camera model", roll.cameraModel...);
    take("format", roll.format...);
    take("film", roll.filmName...);
    take("ISO", roll.filmISO...);
    take("notes", roll.notes...);
    take("base date", roll.baseDate...);
    take("state", roll.state...);
    take("sort", roll.sort...);
    take("ascending", roll.ascending...);
    take("order", roll.order...);
}

template <class Take, class... Records>
void eachField(const Take& take, Records&... record) {
    take("export quality", record.exportQuality...);
    take("artist", record.artistName...);
    take("location badges", record.showLocationBadges...);
    take("favourite cameras", record.cameras...);
    take("favourite films", record.films...);
}

std::string text(const std::string& value) { return '"' + value + '"'; }
std::string text(bool value) { return value ? "yes" : "no"; }
std::string text(int value) { return fmt::format("{}", value); }
std::string text(double value) { return fmt::format("{}", value); }
std::string text(Instant value) { return timestampText(value); }
std::string text(const std::vector<std::string>& value) { return '[' + joined(value, " ") + ']'; }
std::string text(const std::map<std::string, bool>& value) {
    std::string words;
    for (const auto& [label, isOn] : value) words += fmt::format("{}{} ", isOn ? '+' : '-', label);
    return '{' + words + '}';
}
template <class Enum>
requires std::is_enum_v<Enum> std::string text(Enum value) { return fmt::format("{}", rawValue(value)); }
template <class Value>
std::string text(const std::optional<Value>& value) {
    return value ? text(*value) : "nothing";
}

/// The first difference that a walk over fields finds.
struct Difference {
    std::string subject;
    std::string& words;

    template <class Value>
    void operator()(const char* name, const Value& wanted, const Value& actual) const {
        if (words.empty() && wanted != actual)
            words = fmt::format("{}{} is {} and should be {}", subject, name, text(actual), text(wanted));
    }
};

/// Which fields have a value that some version has; one walk a version.
struct Matches {
    std::vector<bool> isKnown;

    template <class Walk>
    void take(const Walk& walk) {
        std::size_t number = 0;
        walk([&](const char*, const auto& version, const auto& actual) {
            if (isKnown.size() == number) isKnown.push_back(false);
            if (version == actual) isKnown[number] = true;
            ++number;
        });
    }
    template <class Walk>
    std::string unknown(const Walk& walk, const std::string& subject) const {
        std::string words;
        std::size_t number = 0;
        walk([&](const char* name, const auto&, const auto& actual) {
            if (!isKnown[number++] && words.empty())
                words = fmt::format("{}{} is {}, which it never was", subject, name, text(actual));
        });
        return words;
    }
};

template <class Record>
const PhotoRecord* photoOf(const Record& roll, const std::string& name) {
    const auto found = roll.photos.find(name);
    return found == roll.photos.end() ? nullptr : &found->second;
}

}  // namespace

RollRecord recordOf(const FilmRoll& roll) {
    RollRecord record{.cameraMake = roll.cameraMake(),
                      .cameraModel = roll.cameraModel(),
                      .format = roll.cameraFormat(),
                      .filmName = roll.filmName(),
                      .filmISO = roll.filmISO(),
                      .notes = roll.notes(),
                      .baseDate = roll.baseDate(),
                      .state = roll.workflowState(),
                      .sort = roll.sortOption(),
                      .ascending = roll.sortAscending(),
                      .order = {},
                      .photos = {}};
    for (const PhotoList* list : {&roll.photos(), &roll.removedPhotos()}) {
        for (const PhotoPointer& photo : *list) {
            record.photos[photo->filename()] = {.date = photo->captureDate(),
                                                .dateSource = photo->dateSource(),
                                                .latitude = photo->latitude(),
                                                .longitude = photo->longitude(),
                                                .placeSource = photo->locationSource(),
                                                .labels = photo->manualLabelOverrides(),
                                                .turn = photo->rotation(),
                                                .turnSource = photo->rotationSource(),
                                                .isOut = list == &roll.removedPhotos(),
                                                .isAnalyzed = photo->labelsAnalyzed(),
                                                .people = photo->peopleCount()};
        }
    }
    if (record.tellsOrder()) {
        for (const PhotoPointer& photo : roll.photos()) record.order.push_back(photo->filename());
    }
    return record;
}

RollRecord recordOf(const VaultRollManifest& manifest) {
    RollRecord record{.cameraMake = manifest.cameraMake.value_or(""),
                      .cameraModel = manifest.cameraModel.value_or(""),
                      .format = manifest.cameraFormat.value_or(FilmFormat::thirtyFiveMM),
                      .filmName = manifest.filmName.value_or(""),
                      .filmISO = manifest.filmISO,
                      .notes = manifest.notes.value_or(""),
                      .baseDate = manifest.baseDate.value_or(Instant()),
                      .state = manifest.workflowState,
                      .sort = fromRawValue<SortOption>(std::string_view(manifest.sortOption.value_or("")))
                                  .value_or(SortOption::filename),
                      .ascending = manifest.sortAscending.value_or(true),
                      .order = {},
                      .photos = {}};
    const auto take = [&record](const PhotoManifestEntry& entry, bool isOut) {
        record.photos[entry.filename] = {
            .date = entry.captureDate,
            .dateSource = entry.dateSource,
            .latitude = entry.latitude,
            .longitude = entry.longitude,
            .placeSource = entry.locationSource,
            .labels = entry.manualLabelOverrides.value_or(std::map<std::string, bool>()),
            .turn = entry.rotation.value_or(RotationAngle::none),
            .turnSource = entry.rotationSource,
            .isOut = isOut,
            .isAnalyzed = entry.analysisVersion.has_value(),
            .people = static_cast<int>(entry.peopleCount.value_or(0))};
    };
    auto entries = manifest.photos;
    for (const PhotoManifestEntry& entry : entries) take(entry, false);
    for (const PhotoManifestEntry& entry :
         manifest.removedPhotos.value_or(std::vector<PhotoManifestEntry>())) {
        take(entry, true);
    }
    if (!record.tellsOrder()) return record;
    if (record.sort == SortOption::custom)
        std::ranges::stable_sort(entries, {}, &PhotoManifestEntry::sortIndex);
    std::set<std::int64_t> taken;
    for (const PhotoManifestEntry& entry : entries) {
        const bool isFree = taken.insert(entry.sortIndex).second;
        record.order.push_back(isFree ? entry.filename : entry.filename + " (its number is another's)");
    }
    return record;
}

PreferencesRecord recordOf(AppViewModel& app) {
    return {.exportQuality = app.preferences().exportQuality(),
            .artistName = app.preferences().artistName(),
            .showLocationBadges = app.preferences().showLocationBadges(),
            .cameras = app.favorites().favoriteCameraSlugs(),
            .films = app.favorites().favoriteFilmSlugs()};
}

PreferencesRecord recordOf(const VaultPreferences& preferences) {
    return {.exportQuality = preferences.exportQuality.value_or(1.0),
            .artistName = preferences.artistName.value_or(""),
            .showLocationBadges = preferences.showLocationBadges.value_or(true),
            .cameras = preferences.favoriteCameraSlugs.value_or(std::vector<std::string>()),
            .films = preferences.favoriteFilmSlugs.value_or(std::vector<std::string>())};
}

std::string difference(const RollRecord& wanted, const RollRecord& actual) {
    std::string words;
    eachRollField(Difference{"", words}, wanted, actual);
    for (const auto& [name, photo] : wanted.photos) {
        const PhotoRecord* other = photoOf(actual, name);
        if (!other && words.empty()) words = name + " is gone";
        if (other) eachPhotoField(Difference{name + ": ", words}, photo, *other);
    }
    for (const auto& [name, photo] : actual.photos) {
        if (words.empty() && !wanted.photos.contains(name)) words = name + " came from nowhere";
    }
    return words;
}

std::string difference(const PreferencesRecord& wanted, const PreferencesRecord& actual) {
    std::string words;
    eachField(Difference{"", words}, wanted, actual);
    return words;
}

std::string thirdValue(const std::vector<RollRecord>& versions, const RollRecord& actual) {
    Matches roll;
    std::map<std::string, Matches> photos;
    for (const RollRecord& version : versions) {
        roll.take([&](const auto& take) { eachRollField(take, version, actual); });
        for (const auto& [name, photo] : version.photos) {
            const PhotoRecord* now = photoOf(actual, name);
            if (!now) return name + " is gone";
            photos[name].take([&](const auto& take) { eachPhotoField(take, photo, *now); });
        }
    }
    std::string words =
        roll.unknown([&](const auto& take) { eachRollField(take, actual, actual); }, std::string());
    for (const auto& [name, photo] : actual.photos) {
        if (!words.empty()) break;
        if (!photos.contains(name)) return name + " came from nowhere";
        words =
            photos[name].unknown([&](const auto& take) { eachPhotoField(take, photo, photo); }, name + ": ");
    }
    return words;
}

std::string thirdValue(const std::vector<PreferencesRecord>& versions, const PreferencesRecord& actual) {
    Matches matches;
    for (const PreferencesRecord& version : versions) {
        matches.take([&](const auto& take) { eachField(take, version, actual); });
    }
    return matches.unknown([&](const auto& take) { eachField(take, actual, actual); }, std::string());
}

void move(RollRecord& roll, const RollRecord& from, const RollRecord& to) {
    const auto put = [](const char*, auto& now, const auto& before, const auto& after) {
        if (before != after) now = after;
    };
    eachRollField(put, roll, from, to);
    for (auto& [name, photo] : roll.photos) {
        const PhotoRecord* before = photoOf(from, name);
        const PhotoRecord* after = photoOf(to, name);
        if (before && after) eachPhotoField(put, photo, *before, *after);
    }
}

std::vector<std::string> namesInOrder(const RollRecord& roll) {
    std::vector<std::string> names;  // "001.jpg" and its kind: the order of bytes is that of the numbers
    for (const auto& [name, photo] : roll.photos) {
        if (!photo.isOut) names.push_back(name);
    }
    if (!roll.ascending) std::ranges::reverse(names);
    return names;
}

}  // namespace kelvaris::testing

#include "advisor/profile_builder.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstdint>
#include <map>
#include <unordered_map>
#include <utility>

namespace kelvaris {

namespace {

struct LabelFraction {
    PhotoLabel label;
    double ShootingProfile::*fraction;
};

constexpr std::array labelFractions{
    LabelFraction{PhotoLabel::dark, &ShootingProfile::darkPercent},
    LabelFraction{PhotoLabel::blowout, &ShootingProfile::blowoutPercent},
    LabelFraction{PhotoLabel::blank, &ShootingProfile::blankPercent},
    LabelFraction{PhotoLabel::face, &ShootingProfile::facePercent},
    LabelFraction{PhotoLabel::person, &ShootingProfile::personPercent},
    LabelFraction{PhotoLabel::landscape, &ShootingProfile::landscapePercent},
    LabelFraction{PhotoLabel::street, &ShootingProfile::streetPercent},
    LabelFraction{PhotoLabel::architecture, &ShootingProfile::architecturePercent},
    LabelFraction{PhotoLabel::animal, &ShootingProfile::animalPercent},
    LabelFraction{PhotoLabel::flora, &ShootingProfile::floraPercent},
    LabelFraction{PhotoLabel::food, &ShootingProfile::foodPercent},
    LabelFraction{PhotoLabel::night, &ShootingProfile::nightPercent},
    LabelFraction{PhotoLabel::action, &ShootingProfile::actionPercent},
    LabelFraction{PhotoLabel::gem, &ShootingProfile::gemPercent},
    LabelFraction{PhotoLabel::blur, &ShootingProfile::blurPercent},
};

struct StyleFraction {
    std::string_view phrase;
    double ShootingProfile::*fraction;
};

// A style label counts for a phrase that it contains: "golden hour sunlight" is golden hour.
constexpr std::array styleFractions{
    StyleFraction{"golden hour", &ShootingProfile::goldenHourPercent},
    StyleFraction{"blue hour", &ShootingProfile::blueHourPercent},
    StyleFraction{"bokeh", &ShootingProfile::bokehPercent},
    StyleFraction{"motion blur", &ShootingProfile::motionBlurPercent},
    StyleFraction{"long exposure", &ShootingProfile::longExposurePercent},
    StyleFraction{"backlit", &ShootingProfile::backlitPercent},
    StyleFraction{"soft focus", &ShootingProfile::softFocusPercent},
    StyleFraction{"grain", &ShootingProfile::grainPercent},
    StyleFraction{"light leak", &ShootingProfile::lightLeakPercent},
};

constexpr std::array<std::string_view, 24> indoorScenes{
    "bedroom",   "kitchen",  "living room", "office",  "studio", "restaurant", "bar",      "bathroom",
    "classroom", "library",  "museum",      "gallery", "church", "gym",        "hospital", "lobby",
    "corridor",  "elevator", "basement",    "attic",   "garage", "shop",       "store",    "mall",
};

constexpr std::size_t sceneLimit = 5;

/// The few distinct texts of half a million photos are looked at once each.
class StyleMarks {
public:
    /// One bit for each phrase that the label contains.
    std::uint16_t of(const std::string& label) {
        const auto [found, isNew] = known_.try_emplace(label, 0);
        if (isNew) {
            for (std::size_t i = 0; i < styleFractions.size(); ++i) {
                if (label.find(styleFractions[i].phrase) != std::string::npos) {
                    found->second |= static_cast<std::uint16_t>(1u << i);
                }
            }
        }
        return found->second;
    }

private:
    std::unordered_map<std::string, std::uint16_t> known_;
};

std::string sceneName(std::string_view category, const Language& language) {
    constexpr std::string_view prefix = "places365_";
    if (category.starts_with(prefix)) category.remove_prefix(prefix.size());
    std::string name(category);
    std::ranges::replace(name, '_', ' ');
    return language.lowercased(name);
}

struct Sums {
    std::array<int, labelFractions.size()> labels{};
    std::array<int, styleFractions.size()> styles{};
    std::unordered_map<std::string, int> categories;
    double quality = 0;
    double nima = 0;
    int nimaPhotos = 0;
    int stylePhotos = 0;
    int colorPhotos = 0;
    int warm = 0;
    int cool = 0;
    int scenePhotos = 0;
    int peoplePhotos = 0;
    double people = 0;
};

void addPhoto(const RollSnapshot::PhotoSnapshot& photo, Sums& sums, StyleMarks& marks) {
    for (std::size_t i = 0; i < labelFractions.size(); ++i) {
        sums.labels[i] += photo.labels.contains(labelFractions[i].label) ? 1 : 0;
    }
    sums.quality += photo.qualityScore;
    if (photo.nimaScore) {
        sums.nima += *photo.nimaScore;
        ++sums.nimaPhotos;
    }
    if (photo.clipLabels) {
        ++sums.stylePhotos;
        std::uint16_t marked = 0;
        for (const std::string& label : *photo.clipLabels) marked |= marks.of(label);
        for (std::size_t i = 0; marked != 0; ++i, marked >>= 1) sums.styles[i] += marked & 1;
    }
    if (photo.dominantColors && !photo.dominantColors->empty()) {
        ++sums.colorPhotos;
        const ColorTemperature temperature = colorTemperature(photo.dominantColors->front());
        sums.warm += temperature == ColorTemperature::warm ? 1 : 0;
        sums.cool += temperature == ColorTemperature::cool ? 1 : 0;
    }
    if (photo.placeCategories && !photo.placeCategories->empty()) {
        ++sums.scenePhotos;
        const auto surest = std::ranges::max_element(*photo.placeCategories, {},
                                                     [](const auto& each) { return each.second; });
        ++sums.categories[surest->first];
    }
    if (photo.peopleCount > 0) {
        ++sums.peoplePhotos;
        sums.people += photo.peopleCount;
    }
}

double ratio(double part, int whole) { return whole == 0 ? 0 : part / whole; }

void takeScenes(const Sums& sums, const Language& language, ShootingProfile& profile) {
    std::map<std::string, int> byName;
    for (const auto& [category, count] : sums.categories) byName[sceneName(category, language)] += count;
    int indoor = 0;
    for (const auto& [name, count] : byName) {
        if (std::ranges::find(indoorScenes, name) != indoorScenes.end()) indoor += count;
    }
    profile.indoorPercent = ratio(indoor, sums.scenePhotos);
    profile.outdoorPercent = ratio(sums.scenePhotos - indoor, sums.scenePhotos);
    std::vector<std::pair<std::string, int>> ordered(byName.begin(), byName.end());
    std::ranges::stable_sort(ordered, std::greater<>(), &std::pair<std::string, int>::second);
    if (ordered.size() > sceneLimit) ordered.resize(sceneLimit);
    for (auto& [name, count] : ordered) {
        profile.topSceneCategories.emplace_back(std::move(name), ratio(count, sums.scenePhotos));
    }
}

void takeSums(const Sums& sums, ShootingProfile& profile) {
    const int analyzed = profile.analyzedPhotos;
    for (std::size_t i = 0; i < labelFractions.size(); ++i) {
        profile.*labelFractions[i].fraction = ratio(sums.labels[i], analyzed);
    }
    for (std::size_t i = 0; i < styleFractions.size(); ++i) {
        profile.*styleFractions[i].fraction = ratio(sums.styles[i], sums.stylePhotos);
    }
    profile.avgQuality = ratio(sums.quality, analyzed);
    if (sums.nimaPhotos > 0) profile.avgNimaScore = sums.nima / sums.nimaPhotos;
    profile.nimaPhotosCount = sums.nimaPhotos;
    profile.warmColorRatio = ratio(sums.warm, sums.colorPhotos);
    profile.coolColorRatio = ratio(sums.cool, sums.colorPhotos);
    profile.peoplePhotoPercent = ratio(sums.peoplePhotos, analyzed);
    profile.avgPeopleCount = ratio(sums.people, sums.peoplePhotos);
}

void takeGear(const RollSnapshot::RollData& roll, const CatalogService& catalog, const Language& language,
              ShootingProfile& profile) {
    if (!roll.cameraMake.empty()) profile.usedCameraMakes.insert(language.lowercased(roll.cameraMake));
    const bool hasBoth = !roll.cameraMake.empty() && !roll.cameraModel.empty();
    const std::string camera = roll.cameraMake + (hasBoth ? " " : "") + roll.cameraModel;
    if (!camera.empty()) profile.usedCameraModels.insert(language.lowercased(camera));
    profile.usedFormats.emplace(rawValue(roll.cameraFormat));
    if (const CameraRecord* record = catalog.camera(roll.cameraMake, roll.cameraModel)) {
        if (record->type) profile.usedCameraTypes.insert(*record->type);
    }
    if (!roll.filmName.empty()) {
        profile.usedFilmNames.insert(language.lowercased(roll.filmName));
        if (const FilmStockRecord* record = catalog.filmStock(roll.filmName)) {
            profile.usedFilmTypes.insert(record->type);
            profile.usedFilmBrands.insert(language.lowercased(record->brand));
        }
    }
    if (roll.filmISO) profile.usedISOs.insert(*roll.filmISO);
}

}  // namespace

ColorTemperature colorTemperature(std::string_view hex) {
    while (hex.starts_with('#')) hex.remove_prefix(1);
    while (hex.ends_with('#')) hex.remove_suffix(1);
    std::uint32_t bits = 0;
    const char* const end = hex.data() + hex.size();
    if (hex.size() != 6) return ColorTemperature::neutral;
    if (const auto [stop, error] = std::from_chars(hex.data(), end, bits, 16);
        error != std::errc() || stop != end) {
        return ColorTemperature::neutral;
    }
    const double red = ((bits >> 16) & 0xff) / 255.0;
    const double green = ((bits >> 8) & 0xff) / 255.0;
    const double blue = (bits & 0xff) / 255.0;
    if (blue + 0.15 < red && 0.8 * green < red) return ColorTemperature::warm;
    if (0.8 * green < blue && red + 0.15 < blue) return ColorTemperature::cool;
    return ColorTemperature::neutral;
}

ShootingProfile buildProfile(const RollSnapshot& snapshot, const CatalogService& catalog,
                             const Language& language) {
    ShootingProfile profile;
    Sums sums;
    StyleMarks marks;
    profile.totalRolls = static_cast<int>(snapshot.rolls.size());
    for (const RollSnapshot::RollData& roll : snapshot.rolls) {
        profile.totalPhotos += static_cast<int>(roll.photos.size());
        for (const RollSnapshot::PhotoSnapshot& photo : roll.photos) {
            if (!photo.labelsAnalyzed) continue;
            ++profile.analyzedPhotos;
            addPhoto(photo, sums, marks);
        }
    }
    if (profile.analyzedPhotos == 0) return profile;
    profile.avgPhotosPerRoll = ratio(profile.totalPhotos, profile.totalRolls);
    takeSums(sums, profile);
    takeScenes(sums, language, profile);
    for (const RollSnapshot::RollData& roll : snapshot.rolls) takeGear(roll, catalog, language, profile);
    return profile;
}

}  // namespace kelvaris

#pragma once

#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace kelvaris {

/// What a photographer shoots, in one flat record. Fractions are from 0 to 1.
struct ShootingProfile {
    double darkPercent = 0;
    double blowoutPercent = 0;
    double blankPercent = 0;
    double facePercent = 0;
    double personPercent = 0;
    double landscapePercent = 0;
    double streetPercent = 0;
    double architecturePercent = 0;
    double animalPercent = 0;
    double floraPercent = 0;
    double foodPercent = 0;
    double nightPercent = 0;
    double actionPercent = 0;
    double avgQuality = 0;
    double gemPercent = 0;
    double blurPercent = 0;
    std::optional<double> avgNimaScore;
    int nimaPhotosCount = 0;
    double peoplePhotoPercent = 0;
    double avgPeopleCount = 0;  ///< people per photo that shows any
    int totalRolls = 0;
    int totalPhotos = 0;
    int analyzedPhotos = 0;
    double avgPhotosPerRoll = 0;
    std::set<std::string> usedCameraTypes;   ///< as in the catalog
    std::set<std::string> usedFormats;       ///< stored words of FilmFormat
    std::set<std::string> usedCameraMakes;   ///< lower-cased
    std::set<std::string> usedCameraModels;  ///< make and model, lower-cased
    std::set<std::string> usedFilmNames;     ///< lower-cased
    std::set<std::string> usedFilmBrands;    ///< lower-cased
    std::set<std::string> usedFilmTypes;     ///< as in the catalog
    std::set<int> usedISOs;
    double goldenHourPercent = 0;
    double blueHourPercent = 0;
    double bokehPercent = 0;
    double motionBlurPercent = 0;
    double longExposurePercent = 0;
    double backlitPercent = 0;
    double softFocusPercent = 0;
    double grainPercent = 0;
    double lightLeakPercent = 0;
    double warmColorRatio = 0;
    double coolColorRatio = 0;
    double indoorPercent = 0;
    double outdoorPercent = 0;
    std::vector<std::pair<std::string, double>> topSceneCategories;  ///< at most 5, the most frequent first

    bool operator==(const ShootingProfile&) const = default;

    /// "portrait", "landscape", "street", "architecture", "animal", "flora", "food", "night" or "action",
    /// whichever fills the largest part of the frames; "versatile" when none fills more than 0.15.
    std::string_view dominantSubject() const;
    /// The other subjects above 0.1, the largest first.
    std::vector<std::pair<std::string_view, double>> secondarySubjects() const;
    /// The subject's part of the frames; 0 for an unknown one. A portrait shows a face or a person.
    double subjectFraction(std::string_view subject) const;
    /// Words for what the frames have in common beside their subjects.
    std::vector<std::string_view> styleTraits() const;
};

}  // namespace kelvaris

#pragma once

#include <map>
#include <optional>
#include <string>
#include <vector>

#include "vocabulary/film_format.h"
#include "vocabulary/photo_label.h"
#include "vocabulary/shared_value.h"

namespace kelvaris {

/// What the advisor needs of the library, copied on the main thread so that the rest happens off it.
/// The lists of a photo are shared with it, not copied.
struct RollSnapshot {
    struct PhotoSnapshot {
        PhotoLabelSet labels;
        double qualityScore = 0;
        int peopleCount = 0;
        bool labelsAnalyzed = false;
        std::optional<double> nimaScore;
        SharedValue<std::vector<std::string>> clipLabels;
        SharedValue<std::vector<std::string>> dominantColors;  ///< "#RRGGBB", the strongest first
        SharedValue<std::map<std::string, float>> placeCategories;
    };

    struct RollData {
        std::string cameraMake;
        std::string cameraModel;
        FilmFormat cameraFormat = FilmFormat::thirtyFiveMM;
        std::string filmName;
        std::optional<int> filmISO;
        std::vector<PhotoSnapshot> photos;
    };

    std::vector<RollData> rolls;
};

}  // namespace kelvaris

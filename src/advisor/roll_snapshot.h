#pragma once

#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "vocabulary/analysis_result.h"
#include "vocabulary/film_format.h"
#include "vocabulary/photo_label.h"

namespace kelvaris {

class FilmRoll;

/// What the advisor needs of the library, copied on the main thread so that the rest happens off it.
struct RollSnapshot {
    struct PhotoSnapshot {
        PhotoLabelSet labels;
        double qualityScore = 0;
        int peopleCount = 0;
        bool labelsAnalyzed = false;
        std::optional<double> nimaScore;
        std::optional<std::vector<std::string>> clipLabels;
        std::optional<std::vector<std::string>> dominantColors;  ///< "#RRGGBB", the strongest first
        std::optional<TagConfidences> placeCategories;
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

    /// Copies the rolls. Of photos without a complete analysis nothing is copied but that they exist.
    static RollSnapshot capture(std::span<const std::shared_ptr<FilmRoll>> rolls);
};

}  // namespace kelvaris

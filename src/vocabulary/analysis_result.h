#pragma once

#include <map>
#include <optional>
#include <string>
#include <vector>

#include "base/instant.h"
#include "vocabulary/orientation_decision.h"
#include "vocabulary/photo_label.h"
#include "vocabulary/rotation_angle.h"

namespace kelvaris {

/// Names of a scene classifier's classes, in its own spelling, with confidences.
using TagConfidences = std::map<std::string, float>;

/// What one pass of analysis made of one photo.
struct AnalysisResult {
    PhotoLabelSet labels;
    double qualityScore = 0.0;  ///< 0 to 1
    int peopleCount = 0;
    TagConfidences visionTags;
    std::optional<OrientationDecision> orientationDecision;
    std::optional<RotationAngle> suggestedRotation;
    std::optional<Instant> detectedTimestamp;                ///< burned into the frame
    std::optional<std::vector<std::string>> dominantColors;  ///< "#rrggbb", lower-case
    std::optional<std::string> perceptualHash;               ///< 16 lower-case hex digits

    bool operator==(const AnalysisResult&) const = default;
};

}  // namespace kelvaris

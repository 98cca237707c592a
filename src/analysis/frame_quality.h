#pragma once

#include <optional>

#include "analysis/image_statistics.h"
#include "vocabulary/photo_label.h"

namespace kelvaris {

/// A frame's place in its roll, from 0.
struct FrameContext {
    int sortIndex = 0;
    int totalFrames = 0;
};

/// Whether the frame shows anything at all: range and variance enough for a subject.
bool hasStructure(const ImageStatistics& statistics);

/// Leaders and trailers lie among the first and the last three frames; so does a frame of unknown place.
bool isEdgeFrame(const std::optional<FrameContext>& context);

/// Unexposed film. At the edges of a roll less is believed to be a picture.
bool isBlank(const ImageStatistics& statistics, bool edgeFrame);

/// What the numbers alone tell of a frame: blur, dark and blowout, and night.
PhotoLabelSet filmIssues(const ImageStatistics& statistics, bool blank);

/// 0 to 1 for a frame without statistics (0.5) or with them: sharpness, exposure, range.
double baseQualityScore(const std::optional<ImageStatistics>& statistics);

/// The score with its gains for faces and people, less a tenth for each issue among the labels; 0 to 1.
double adjustedQualityScore(double base, const PhotoLabelSet& labels);

}  // namespace kelvaris

#pragma once

#include <string>

#include "sample_roll/raster.h"

namespace kelvaris::sample_roll {

enum class StampCorner : std::uint8_t { bottomRight, bottomLeft, topRight, topLeft };

/// A date as the back of a camera burns it into the film with a row of seven-segment lights.
struct DateStamp {
    /// Digits, space, and the marks ' . - / : are drawn; anything else is a gap.
    std::string text;
    StampCorner corner = StampCorner::bottomRight;
    /// Height of a digit as a share of the frame's height.
    float digitHeight = 0.03F;
    /// Distance of the stamp from both edges, as a share of the frame's height.
    float margin = 0.06F;
    /// Light of the segments, in linear light above the scene.
    Color light = {2.4F, 0.62F, 0.05F};
    /// Thickness of a segment as a share of the digit's height.
    float thickness = 0.13F;
};

/// Adds the light of the stamp to a picture in linear light.
void paintDateStamp(Raster& raster, const DateStamp& stamp);

}  // namespace kelvaris::sample_roll

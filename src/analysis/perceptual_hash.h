#pragma once

#include <optional>
#include <string>

#include "analysis/grey_image.h"

namespace kelvaris {

/// 64 bits that change little when a picture is scaled, compressed or slightly corrected: of the picture
/// drawn into 9 by 8 cells, whether each cell is strictly brighter than its right neighbour, row by row;
/// the first pair is the highest bit.
/// @return 16 lower-case hex digits, or nothing for a picture without pixels.
std::optional<std::string> perceptualHash(const GreyImage& grey);
std::optional<std::string> computePerceptualHash(const Image& image);

}  // namespace kelvaris

#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "platform/images.h"

namespace kelvaris {

/// Brightness alone: 8 bits a pixel, rows packed from top to bottom.
struct GreyImage {
    int width = 0;
    int height = 0;
    std::vector<std::uint8_t> pixels;

    bool empty() const { return pixels.empty(); }
};

/// The picture in grey: 0.299 red + 0.587 green + 0.114 blue of the encoded values (the luma of
/// ITU-R BT.601), rounded half up. A grey picture is taken as it is.
GreyImage greyCopy(const Bitmap& bitmap);

/// The mean of each cell when the picture is divided into columns by rows cells, rounded half up; channels
/// stay side by side. Cell i of n on a side of s pixels begins at pixel floor(i * s / n), and holds at
/// least one pixel. Empty for an empty picture.
std::vector<std::uint8_t> cellMeans(std::span<const std::uint8_t> pixels, int width, int height, int channels,
                                    int columns, int rows);

}  // namespace kelvaris

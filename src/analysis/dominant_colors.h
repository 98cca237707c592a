#pragma once

#include <array>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "platform/images.h"

namespace kelvaris {

/// A colour with channels from 0 to 255.
using ColorTriple = std::array<float, 3>;

struct ColorCluster {
    ColorTriple center{};
    int pixels = 0;
};

/// Lloyd's k-means from evenly spread first centres: center i starts at pixel floor(i * size / count). A
/// pixel belongs to the nearest center, the first of equally near ones; a center without pixels stays.
/// The sizes are those of the last assignment, the centers those after it.
std::vector<ColorCluster> colorClusters(std::span<const ColorTriple> pixels, int count, int iterations);

/// The colours that a picture is made of, the most frequent first, as "#rrggbb": the clusters of the
/// picture drawn into 50 by 50 cells. Small clusters that are almost black or white are left out.
/// @return nothing for a picture without pixels.
std::optional<std::vector<std::string>> extractDominantColors(const Bitmap& bitmap, int clusterCount,
                                                              int iterations);

}  // namespace kelvaris

#include "analysis/dominant_colors.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstddef>

#include "analysis/grey_image.h"

namespace kelvaris {
namespace {

constexpr int side = 50;
constexpr std::size_t colorLimit = 5;
constexpr int smallCluster = 500;
constexpr double darkestLuma = 0.05;
constexpr double lightestLuma = 0.95;

float squaredDistance(const ColorTriple& a, const ColorTriple& b) {
    const float red = a[0] - b[0];
    const float green = a[1] - b[1];
    const float blue = a[2] - b[2];
    return red * red + green * green + blue * blue;
}

std::size_t nearest(std::span<const ColorCluster> clusters, const ColorTriple& pixel) {
    std::size_t best = 0;
    float bestDistance = squaredDistance(pixel, clusters[0].center);
    for (std::size_t i = 1; i < clusters.size(); ++i) {
        const float distance = squaredDistance(pixel, clusters[i].center);
        if (distance < bestDistance) {
            best = i;
            bestDistance = distance;
        }
    }
    return best;
}

std::vector<ColorTriple> smallPicture(const Bitmap& bitmap) {
    const auto cells = cellMeans(bitmap.pixels, bitmap.width, bitmap.height, bitmap.channels, side, side);
    const auto channels = static_cast<std::size_t>(bitmap.channels);
    std::vector<ColorTriple> pixels;
    pixels.reserve(cells.size() / channels);
    for (std::size_t i = 0; i + channels <= cells.size(); i += channels) {
        const auto channel = [&](std::size_t number) {
            return static_cast<float>(cells[i + std::min(number, channels - 1)]);
        };
        pixels.push_back({channel(0), channel(1), channel(2)});
    }
    return pixels;
}

bool isWorthTelling(const ColorCluster& cluster) {
    const double luma =
        0.299 * cluster.center[0] / 255 + 0.587 * cluster.center[1] / 255 + 0.114 * cluster.center[2] / 255;
    return cluster.pixels >= smallCluster || (luma >= darkestLuma && luma <= lightestLuma);
}

}  // namespace

std::vector<ColorCluster> colorClusters(std::span<const ColorTriple> pixels, int count, int iterations) {
    if (pixels.empty() || count < 1) return {};
    std::vector<ColorCluster> clusters(static_cast<std::size_t>(count));
    for (std::size_t i = 0; i < clusters.size(); ++i) {
        clusters[i].center = pixels[i * pixels.size() / clusters.size()];
    }
    // Values are whole and few, so that single precision adds them without loss.
    std::vector<ColorTriple> sums(clusters.size());
    for (int iteration = 0; iteration < iterations; ++iteration) {
        std::ranges::fill(sums, ColorTriple{});
        for (ColorCluster& cluster : clusters) cluster.pixels = 0;
        for (const ColorTriple& pixel : pixels) {
            const std::size_t own = nearest(clusters, pixel);
            ++clusters[own].pixels;
            for (std::size_t channel = 0; channel < 3; ++channel) sums[own][channel] += pixel[channel];
        }
        for (std::size_t i = 0; i < clusters.size(); ++i) {
            if (clusters[i].pixels == 0) continue;
            for (std::size_t channel = 0; channel < 3; ++channel) {
                clusters[i].center[channel] = sums[i][channel] / static_cast<float>(clusters[i].pixels);
            }
        }
    }
    return clusters;
}

std::optional<std::vector<std::string>> extractDominantColors(const Bitmap& bitmap, int clusterCount,
                                                              int iterations) {
    const auto pixels = smallPicture(bitmap);
    if (pixels.empty()) return std::nullopt;
    auto clusters = colorClusters(pixels, clusterCount, iterations);
    std::erase_if(clusters, [](const ColorCluster& cluster) { return !isWorthTelling(cluster); });
    std::ranges::stable_sort(clusters, std::greater(), &ColorCluster::pixels);
    std::vector<std::string> colors;
    for (const ColorCluster& cluster : clusters) {
        if (colors.size() == colorLimit) break;
        colors.push_back(fmt::format("#{:02x}{:02x}{:02x}", static_cast<int>(cluster.center[0]),
                                     static_cast<int>(cluster.center[1]),
                                     static_cast<int>(cluster.center[2])));
    }
    return colors;
}

}  // namespace kelvaris

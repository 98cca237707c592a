#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <span>

#include "analysis/grey_image.h"

namespace kelvaris {

/// Measures of a grey picture on the scale of 0 to 255; the variances in its square.
struct ImageStatistics {
    double mean = 0;
    double variance = 0;  ///< not its root: every threshold is one of the variance
    double p5 = 0;        ///< the brightness that a twentieth of the pixels does not exceed
    double p95 = 0;
    double dynamicRange = 0;  ///< p95 - p5
    double laplacianVariance = 0;
};

/// How many pixels have each brightness.
using Histogram = std::array<std::uint32_t, 256>;

Histogram histogramOf(std::span<const std::uint8_t> pixels);

/// The first brightness up to which lie at least floor(share * totalPixels) pixels; 255 when there is none.
int percentile(const Histogram& histogram, std::uint64_t totalPixels, double share);

/// How sharp a picture is: the variance of its Laplacian of Gaussian.
///
/// The picture is convolved with the five by five kernel
///
///      0  0 -1  0  0
///      0 -1 -2 -1  0
///     -1 -2 16 -2 -1
///      0 -1 -2 -1  0
///      0  0 -1  0  0
///
/// its edges extended; each sum is divided by 4 toward zero and cut to 0 to 255, which belongs to the
/// measure. The mean of squares less the square of the mean, in single precision.
/// 0 for a picture of fewer than 5 pixels a side.
double laplacianVariance(std::span<const std::uint8_t> grey, int width, int height);

/// @return nothing for a picture without pixels.
std::optional<ImageStatistics> computeImageStatistics(const GreyImage& grey);

}  // namespace kelvaris

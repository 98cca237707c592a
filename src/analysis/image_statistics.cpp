#include "analysis/image_statistics.h"

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <vector>

namespace kelvaris {
namespace {

constexpr int reach = 2;

/// Mean and variance from whole sums, each rounded to single precision where the measure is defined so.
struct Moments {
    float mean;
    float variance;
};

Moments momentsOf(std::uint64_t sum, std::uint64_t sumOfSquares, std::uint64_t count) {
    const auto mean = static_cast<float>(static_cast<double>(sum) / static_cast<double>(count));
    const auto meanOfSquares =
        static_cast<float>(static_cast<double>(sumOfSquares) / static_cast<double>(count));
    return {mean, meanOfSquares - mean * mean};
}

Moments momentsOf(const Histogram& histogram, std::uint64_t count) {
    std::uint64_t sum = 0;
    std::uint64_t sumOfSquares = 0;
    for (std::uint64_t value = 0; value < histogram.size(); ++value) {
        sum += value * histogram[value];
        sumOfSquares += value * value * histogram[value];
    }
    return momentsOf(sum, sumOfSquares, count);
}

/// The picture with its outermost pixels repeated around it, as far as the kernel reaches.
class Extended {
public:
    Extended(std::span<const std::uint8_t> grey, int width, int height)
        : stride_(static_cast<std::size_t>(width) + 2 * reach), pixels_(stride_ * (height + 2 * reach)) {
        for (int y = 0; y < height + 2 * reach; ++y) {
            const int line = std::clamp(y - reach, 0, height - 1);
            const std::uint8_t* from = grey.data() + static_cast<std::size_t>(line) * width;
            std::uint8_t* to = pixels_.data() + static_cast<std::size_t>(y) * stride_;
            std::memset(to, from[0], reach);
            std::memcpy(to + reach, from, static_cast<std::size_t>(width));
            std::memset(to + reach + width, from[width - 1], reach);
        }
    }

    /// The line of that number in the picture, -2 to height + 1.
    const std::uint8_t* line(int y) const {
        return pixels_.data() + static_cast<std::size_t>(y + reach) * stride_ + reach;
    }

private:
    std::size_t stride_;
    std::vector<std::uint8_t> pixels_;
};

/// In 16 bits throughout, which hold 16 * 255 either way, so that the compiler takes many pixels at once.
void convolveLine(const Extended& source, int y, std::span<std::uint8_t> target) {
    const std::uint8_t* above2 = source.line(y - 2);
    const std::uint8_t* above = source.line(y - 1);
    const std::uint8_t* line = source.line(y);
    const std::uint8_t* below = source.line(y + 1);
    const std::uint8_t* below2 = source.line(y + 2);
    const auto width = static_cast<std::ptrdiff_t>(target.size());
    std::uint8_t* out = target.data();
    for (std::ptrdiff_t x = 0; x < width; ++x) {
        const auto ones =
            static_cast<std::int16_t>(above2[x] + below2[x] + line[x - 2] + line[x + 2] + above[x - 1] +
                                      above[x + 1] + below[x - 1] + below[x + 1]);
        const auto twos = static_cast<std::int16_t>(above[x] + below[x] + line[x - 1] + line[x + 1]);
        auto sum = static_cast<std::int16_t>(16 * line[x] - 2 * twos - ones);
        sum = std::clamp<std::int16_t>(sum, 0, 4 * 255 + 3);
        out[x] = static_cast<std::uint8_t>(sum >> 2);
    }
}

}  // namespace

Histogram histogramOf(std::span<const std::uint8_t> pixels) {
    // Four counters a brightness, so that equal neighbours do not wait for each other.
    std::array<Histogram, 4> parts{};
    std::size_t i = 0;
    for (; i + 4 <= pixels.size(); i += 4) {
        ++parts[0][pixels[i]];
        ++parts[1][pixels[i + 1]];
        ++parts[2][pixels[i + 2]];
        ++parts[3][pixels[i + 3]];
    }
    for (; i < pixels.size(); ++i) ++parts[0][pixels[i]];
    Histogram histogram{};
    for (std::size_t value = 0; value < histogram.size(); ++value) {
        histogram[value] = parts[0][value] + parts[1][value] + parts[2][value] + parts[3][value];
    }
    return histogram;
}

int percentile(const Histogram& histogram, std::uint64_t totalPixels, double share) {
    const auto threshold = static_cast<std::uint64_t>(share * static_cast<double>(totalPixels));
    std::uint64_t running = 0;
    for (std::size_t value = 0; value < histogram.size(); ++value) {
        running += histogram[value];
        if (running >= threshold) return static_cast<int>(value);
    }
    return 255;
}

double laplacianVariance(std::span<const std::uint8_t> grey, int width, int height) {
    if (width < 2 * reach + 1 || height < 2 * reach + 1 || grey.empty()) return 0;
    const Extended source(grey, width, height);
    std::vector<std::uint8_t> line(static_cast<std::size_t>(width));
    std::uint64_t sum = 0;
    std::uint64_t sumOfSquares = 0;
    for (int y = 0; y < height; ++y) {
        convolveLine(source, y, line);
        std::uint32_t lineSum = 0;
        std::uint32_t lineSquares = 0;  // holds 66,000 pixels of 255
        for (const std::uint8_t value : line) lineSum += value;
        for (const std::uint8_t value : line) lineSquares += static_cast<std::uint32_t>(value) * value;
        sum += lineSum;
        sumOfSquares += lineSquares;
    }
    return momentsOf(sum, sumOfSquares, grey.size()).variance;
}

std::optional<ImageStatistics> computeImageStatistics(const GreyImage& grey) {
    if (grey.width <= 0 || grey.height <= 0 || grey.empty()) return std::nullopt;
    const Histogram histogram = histogramOf(grey.pixels);
    const Moments moments = momentsOf(histogram, grey.pixels.size());
    ImageStatistics statistics;
    statistics.mean = moments.mean;
    statistics.variance = moments.variance;
    statistics.p5 = percentile(histogram, grey.pixels.size(), 0.05);
    statistics.p95 = percentile(histogram, grey.pixels.size(), 0.95);
    statistics.dynamicRange = statistics.p95 - statistics.p5;
    statistics.laplacianVariance = laplacianVariance(grey.pixels, grey.width, grey.height);
    return statistics;
}

}  // namespace kelvaris

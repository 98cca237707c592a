#include "platform/bitmap_scaling.h"

#include <algorithm>
#include <cmath>
#include <cstddef>

namespace kelvaris {

namespace {

/// The cubic through its samples (Catmull and Rom), zero beyond 2.
float cubicWeight(float distance) {
    const float x = std::abs(distance);
    if (x < 1) return 1 + (x * x * ((1.5F * x) - 2.5F));
    if (x < 2) return 2 + (x * ((x * (2.5F - (0.5F * x))) - 4));
    return 0;
}

/// What one sample of the result is made of: source samples from `first` on, with these weights.
struct Contribution {
    int first = 0;
    std::vector<float> weights;
};

std::vector<Contribution> contributions(int from, int to) {
    const float step = static_cast<float>(from) / static_cast<float>(to);
    const float scale = std::max(step, 1.0F);
    const float reach = 2 * scale;
    std::vector<Contribution> result(static_cast<std::size_t>(to));
    for (int index = 0; index < to; ++index) {
        const float center = ((static_cast<float>(index) + 0.5F) * step) - 0.5F;
        Contribution& part = result[static_cast<std::size_t>(index)];
        part.first = std::max(0, static_cast<int>(std::ceil(center - reach)));
        const int last = std::min(from - 1, static_cast<int>(std::floor(center + reach)));
        float sum = 0;
        for (int source = part.first; source <= last; ++source) {
            part.weights.push_back(cubicWeight((static_cast<float>(source) - center) / scale));
            sum += part.weights.back();
        }
        for (float& weight : part.weights) weight /= sum;
    }
    return result;
}

}  // namespace

Bitmap stretched(const Bitmap& bitmap, int width, int height) {
    Bitmap result{width, height, bitmap.channels, {}};
    if (width <= 0 || height <= 0 || bitmap.width <= 0 || bitmap.height <= 0) return Bitmap{};
    const auto channels = static_cast<std::size_t>(bitmap.channels);
    const std::size_t sourceRow = static_cast<std::size_t>(bitmap.width) * channels;
    const std::size_t row = static_cast<std::size_t>(width) * channels;

    // Rows first: the shrunk rows are few when the picture is made smaller.
    const auto lines = contributions(bitmap.height, height);
    const auto columns = contributions(bitmap.width, width);
    std::vector<float> mixed(sourceRow);
    result.pixels.resize(row * static_cast<std::size_t>(height));
    for (int y = 0; y < height; ++y) {
        const Contribution& line = lines[static_cast<std::size_t>(y)];
        std::fill(mixed.begin(), mixed.end(), 0.0F);
        for (std::size_t part = 0; part < line.weights.size(); ++part) {
            const std::uint8_t* source =
                bitmap.pixels.data() + ((static_cast<std::size_t>(line.first) + part) * sourceRow);
            const float weight = line.weights[part];
            for (std::size_t index = 0; index < sourceRow; ++index) {
                mixed[index] += weight * static_cast<float>(source[index]);
            }
        }
        std::uint8_t* target = result.pixels.data() + (static_cast<std::size_t>(y) * row);
        for (int x = 0; x < width; ++x) {
            const Contribution& column = columns[static_cast<std::size_t>(x)];
            for (std::size_t channel = 0; channel < channels; ++channel) {
                const float* source =
                    mixed.data() + (static_cast<std::size_t>(column.first) * channels) + channel;
                float sum = 0;
                for (std::size_t part = 0; part < column.weights.size(); ++part) {
                    sum += column.weights[part] * source[part * channels];
                }
                *target++ = static_cast<std::uint8_t>(std::lround(std::clamp(sum, 0.0F, 255.0F)));
            }
        }
    }
    return result;
}

Bitmap cropped(const Bitmap& bitmap, int x, int y, int width, int height) {
    Bitmap result{width, height, bitmap.channels, {}};
    const auto channels = static_cast<std::size_t>(bitmap.channels);
    for (int line = 0; line < height; ++line) {
        const auto start =
            bitmap.pixels.begin() + static_cast<std::ptrdiff_t>(((static_cast<std::size_t>(y + line) *
                                                                  static_cast<std::size_t>(bitmap.width)) +
                                                                 static_cast<std::size_t>(x)) *
                                                                channels);
        result.pixels.insert(result.pixels.end(), start,
                             start + static_cast<std::ptrdiff_t>(static_cast<std::size_t>(width) * channels));
    }
    return result;
}

Bitmap centerCropped(const Bitmap& bitmap, int width, int height) {
    if (width <= 0 || height <= 0 || bitmap.width <= 0 || bitmap.height <= 0) return Bitmap{};
    const double scale =
        std::min(static_cast<double>(bitmap.width) / width, static_cast<double>(bitmap.height) / height);
    const int partWidth = std::clamp(static_cast<int>(std::lround(width * scale)), 1, bitmap.width);
    const int partHeight = std::clamp(static_cast<int>(std::lround(height * scale)), 1, bitmap.height);
    return stretched(cropped(bitmap, (bitmap.width - partWidth) / 2, (bitmap.height - partHeight) / 2,
                             partWidth, partHeight),
                     width, height);
}

}  // namespace kelvaris

#include "sample_roll/raster.h"

#include "sample_roll/random_source.h"

namespace kelvaris::sample_roll {

namespace {

float latticeValue(int x, int y, std::uint32_t seed) {
    std::uint32_t bits =
        (static_cast<std::uint32_t>(x) * 0x9e3779b1U) ^ (static_cast<std::uint32_t>(y) * 0x85ebca77U) ^ seed;
    bits = (bits ^ (bits >> 15U)) * 0x2c1b3c6dU;
    bits = (bits ^ (bits >> 12U)) * 0x297a2d39U;
    return static_cast<float>((bits ^ (bits >> 15U)) >> 8U) * 0x1p-24F;
}

float latticeNoise(float x, float y, std::uint32_t seed) {
    const float floorX = std::floor(x);
    const float floorY = std::floor(y);
    const int cellX = static_cast<int>(floorX);
    const int cellY = static_cast<int>(floorY);
    const float u = x - floorX;
    const float v = y - floorY;
    const float easedU = u * u * (3 - (2 * u));
    const float easedV = v * v * (3 - (2 * v));
    const float top =
        std::lerp(latticeValue(cellX, cellY, seed), latticeValue(cellX + 1, cellY, seed), easedU);
    const float bottom =
        std::lerp(latticeValue(cellX, cellY + 1, seed), latticeValue(cellX + 1, cellY + 1, seed), easedU);
    return std::lerp(top, bottom, easedV);
}

/// One running-sum box blur of a line of `count` pixels that lie `stride` floats apart.
void boxBlurLine(const float* source, float* target, int count, int radius) {
    const float weight = 1.0F / static_cast<float>((2 * radius) + 1);
    const auto at = [&](int index) {
        return source + (static_cast<std::ptrdiff_t>(std::clamp(index, 0, count - 1)) * 3);
    };
    float sum[3] = {0, 0, 0};
    for (int index = -radius; index <= radius; ++index) {
        for (int channel = 0; channel < 3; ++channel) {
            sum[channel] += at(index)[channel];
        }
    }
    for (int index = 0; index < count; ++index) {
        for (int channel = 0; channel < 3; ++channel) {
            target[(index * 3) + channel] = sum[channel] * weight;
            sum[channel] += at(index + radius + 1)[channel] - at(index - radius)[channel];
        }
    }
}

void boxBlurRows(Raster& raster, int radius) {
    std::vector<float> line(static_cast<std::size_t>(raster.width()) * 3);
    for (int y = 0; y < raster.height(); ++y) {
        boxBlurLine(raster.row(y), line.data(), raster.width(), radius);
        std::copy(line.begin(), line.end(), raster.row(y));
    }
}

void boxBlurColumns(Raster& raster, int radius) {
    const int height = raster.height();
    const std::size_t count = static_cast<std::size_t>(raster.width()) * 3;
    const float weight = 1.0F / static_cast<float>((2 * radius) + 1);
    const Raster source = raster;
    std::vector<float> sum(count);
    const auto at = [&](int y) { return source.row(std::clamp(y, 0, height - 1)); };
    for (int y = -radius; y <= radius; ++y) {
        const float* row = at(y);
        for (std::size_t index = 0; index < count; ++index) {
            sum[index] += row[index];
        }
    }
    for (int y = 0; y < height; ++y) {
        float* target = raster.row(y);
        const float* entering = at(y + radius + 1);
        const float* leaving = at(y - radius);
        for (std::size_t index = 0; index < count; ++index) {
            target[index] = sum[index] * weight;
            sum[index] += entering[index] - leaving[index];
        }
    }
}

}  // namespace

float strokeDistance(float fromX, float fromY, float toX, float toY, float halfWidth, float x, float y) {
    const float alongX = toX - fromX;
    const float alongY = toY - fromY;
    const float length = (alongX * alongX) + (alongY * alongY);
    const float share =
        length > 0 ? std::clamp((((x - fromX) * alongX) + ((y - fromY) * alongY)) / length, 0.0F, 1.0F)
                   : 0.0F;
    return std::hypot(x - fromX - (share * alongX), y - fromY - (share * alongY)) - halfWidth;
}

void fillRectangle(Raster& raster, const Box& box, const Color& color, float softness) {
    paintShape(
        raster, box, [&](float x, float y) { return rectangleDistance(box, x, y); },
        [&](float, float) { return color; }, softness);
}

void fillEllipse(Raster& raster, float centerX, float centerY, float radiusX, float radiusY,
                 const Color& color, float softness) {
    const Box box{centerX - radiusX, centerY - radiusY, centerX + radiusX, centerY + radiusY};
    paintShape(
        raster, box,
        [&](float x, float y) { return ellipseDistance(centerX, centerY, radiusX, radiusY, x, y); },
        [&](float, float) { return color; }, softness);
}

float cloudNoise(float x, float y, std::uint64_t seed, int octaves) {
    float sum = 0;
    float weight = 0.5F;
    float total = 0;
    for (int octave = 0; octave < octaves; ++octave) {
        const auto own = static_cast<std::uint32_t>(mixBits(seed + static_cast<std::uint64_t>(octave)));
        sum += weight * latticeNoise(x, y, own);
        total += weight;
        weight *= 0.5F;
        x = (x * 2.03F) + 17.1F;
        y = (y * 2.03F) + 9.7F;
    }
    return sum / total;
}

float ridgeNoise(float x, std::uint64_t seed, int octaves) { return cloudNoise(x, 0.5F, seed, octaves); }

void blur(Raster& raster, int radius) {
    if (radius < 1) {
        return;
    }
    for (int pass = 0; pass < 3; ++pass) {
        boxBlurRows(raster, radius);
        boxBlurColumns(raster, radius);
    }
}

void smear(Raster& raster, int radius) {
    if (radius >= 1) {
        boxBlurRows(raster, radius);
    }
}

Raster shrunk(const Raster& raster, int factor) {
    Raster result(std::max(1, raster.width() / factor), std::max(1, raster.height() / factor));
    const float weight = 1.0F / static_cast<float>(factor * factor);
    for (int y = 0; y < result.height(); ++y) {
        float* target = result.row(y);
        for (int part = 0; part < factor; ++part) {
            const float* source = raster.row(std::min((y * factor) + part, raster.height() - 1));
            for (int x = 0; x < result.width(); ++x) {
                for (int column = 0; column < factor; ++column) {
                    const int from = std::min((x * factor) + column, raster.width() - 1) * 3;
                    for (int channel = 0; channel < 3; ++channel) {
                        target[(x * 3) + channel] += source[from + channel] * weight;
                    }
                }
            }
        }
    }
    return result;
}

Raster turnedClockwise(const Raster& raster) {
    Raster result(raster.height(), raster.width());
    for (int y = 0; y < raster.height(); ++y) {
        const float* source = raster.row(y);
        const std::ptrdiff_t column = static_cast<std::ptrdiff_t>(raster.height() - 1 - y) * 3;
        for (int x = 0; x < raster.width(); ++x) {
            std::copy_n(source + (static_cast<std::ptrdiff_t>(x) * 3), 3, result.row(x) + column);
        }
    }
    return result;
}

Raster turnedUpsideDown(const Raster& raster) {
    Raster result(raster.width(), raster.height());
    for (int y = 0; y < raster.height(); ++y) {
        const float* source = raster.row(y);
        float* target = result.row(raster.height() - 1 - y);
        for (int x = 0; x < raster.width(); ++x) {
            std::copy_n(source + (static_cast<std::ptrdiff_t>(x) * 3), 3,
                        target + (static_cast<std::ptrdiff_t>(raster.width() - 1 - x) * 3));
        }
    }
    return result;
}

}  // namespace kelvaris::sample_roll

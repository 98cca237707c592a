#include "platform_linux/gradient_features.h"

#include <algorithm>
#include <array>
#include <cmath>

#include "platform_linux/wide_kernels.h"

namespace kelvaris {
namespace {

constexpr int side = GradientFeatures::cellSide;
constexpr float ceilingShare = 0.2F;
constexpr float smallestEnergy = 0.0001F;
/// Halves the sum over four blocks.
constexpr float gainNumerator = 0.5F * ceilingShare;
constexpr float textureShare = 2 * 0.2357F;

/// The four cells around a pixel: above left, above right, below left, below right.
using Four = float __attribute__((vector_size(16)));

/// How much of a pixel each of the four cells gets, by the pixel's place between their middles.
constexpr auto shares = [] {
    std::array<std::array<std::array<float, 4>, side>, side> table{};
    for (int y = 0; y < side; ++y) {
        for (int x = 0; x < side; ++x) {
            const float right = (static_cast<float>(x) + 0.5F) / side;
            const float below = (static_cast<float>(y) + 0.5F) / side;
            table[static_cast<std::size_t>(y)][static_cast<std::size_t>(x)] = {
                (1 - right) * (1 - below), right * (1 - below), (1 - right) * below, right * below};
        }
    }
    return table;
}();

/// Strength and direction, in steps of 20 degrees, of each pixel's gradient from `from` to before `to`.
/// The direction is told by the slope: of the nine in a half turn, the five up to 80 degrees begin at
/// 10, 30, 50 and 70 degrees, and the others are their mirror images.
KELVARIS_INLINED void gradients(const std::uint8_t* above, const std::uint8_t* line,
                                const std::uint8_t* below, int from, int to, float* __restrict strengths,
                                std::uint8_t* __restrict directions) {
    constexpr float tan10 = 0.17632698F;
    constexpr float tan30 = 0.57735027F;
    constexpr float tan50 = 1.19175359F;
    constexpr float tan70 = 2.74747742F;
    for (int x = from; x < to; ++x) {
        const int across = line[x + 1] - line[x - 1];
        const int down = below[x] - above[x];
        const auto width = static_cast<float>(across < 0 ? -across : across);
        const auto height = static_cast<float>(down < 0 ? -down : down);
        strengths[x] = std::sqrt(width * width + height * height);
        const int steps = (height > width * tan10 ? 1 : 0) + (height > width * tan30 ? 1 : 0) +
                          (height > width * tan50 ? 1 : 0) + (height > width * tan70 ? 1 : 0);
        const bool isUp = down < 0;
        const bool isLeft = isUp ? across <= 0 : across < 0;
        const int half = isLeft ? 9 : (isUp ? 18 : 0);
        int direction = isLeft == isUp ? half + steps : half - steps;
        direction = direction == 18 ? 0 : direction;
        directions[x] = static_cast<std::uint8_t>(direction);
    }
}

KELVARIS_WIDE void gradientsWide(const std::uint8_t* above, const std::uint8_t* line,
                                 const std::uint8_t* below, int from, int to, float* strengths,
                                 std::uint8_t* directions) {
    gradients(above, line, below, from, to, strengths, directions);
}

void gradientsNarrow(const std::uint8_t* above, const std::uint8_t* line, const std::uint8_t* below, int from,
                     int to, float* strengths, std::uint8_t* directions) {
    gradients(above, line, below, from, to, strengths, directions);
}

/// One direction of a line of cells by one of the four blocks around each, added to what is there.
KELVARIS_INLINED void addNormalised(const float* cells, const float* ceilings, const float* gains, int count,
                                    float* __restrict sum, float* __restrict texture) {
    for (int x = 0; x < count; ++x) {
        const float value = (cells[x] < ceilings[x] ? cells[x] : ceilings[x]) * gains[x];
        sum[x] += value;
        if (texture != nullptr) texture[x] += value * textureShare;
    }
}

KELVARIS_WIDE void addNormalisedWide(const float* cells, const float* ceilings, const float* gains, int count,
                                     float* sum, float* texture) {
    addNormalised(cells, ceilings, gains, count, sum, texture);
}

void addNormalisedNarrow(const float* cells, const float* ceilings, const float* gains, int count, float* sum,
                         float* texture) {
    addNormalised(cells, ceilings, gains, count, sum, texture);
}

}  // namespace

GreyPlane greyPlane(const Bitmap& bitmap) {
    GreyPlane grey{bitmap.width, bitmap.height, {}};
    if (bitmap.channels == 1) {
        grey.pixels = bitmap.pixels;
        return grey;
    }
    grey.pixels.resize(static_cast<std::size_t>(bitmap.width) * bitmap.height);
    const std::uint8_t* pixel = bitmap.pixels.data();
    for (std::uint8_t& value : grey.pixels) {
        value =
            static_cast<std::uint8_t>(((299 * pixel[0]) + (587 * pixel[1]) + (114 * pixel[2]) + 500) / 1000);
        pixel += 3;
    }
    return grey;
}

void GradientFeatures::compute(const GreyPlane& picture) {
    cellColumns_ = (picture.width + (side / 2)) / side;
    cellRows_ = (picture.height + (side / 2)) / side;
    if (cellColumns_ < 3 || cellRows_ < 3) {
        columns_ = rows_ = 0;
        return;
    }
    columns_ = cellColumns_ - 2 + borderBefore + borderAfter;
    rows_ = cellRows_ - 2 + borderBefore + borderAfter;
    collect(picture);
    measureBlocks();
    normalise();
}

void GradientFeatures::collect(const GreyPlane& picture) {
    const std::size_t stride = static_cast<std::size_t>(cellColumns_ + 1) * side;
    directions_.assign(stride * side, 0);
    strengths_.assign(stride * side, 0);
    histograms_.assign(static_cast<std::size_t>(directionCount) * (cellColumns_ + 2) * (cellRows_ + 2), 0);
    const int right = std::min(cellColumns_ * side, picture.width) - 1;
    const int bottom = std::min(cellRows_ * side, picture.height) - 1;
    const auto gradientsOf = hasWideRegisters() ? gradientsWide : gradientsNarrow;

    // Squares of pixels between the middles of four cells, the first of them half outside the picture.
    for (int row = 0; row <= cellRows_; ++row) {
        const int top = (row * side) - (side / 2);
        const int first = std::max(top, 1);
        const int last = std::min(top + side, bottom);
        for (int y = first; y < last; ++y) {
            const std::size_t start = static_cast<std::size_t>(y - top) * stride + side / 2;
            gradientsOf(picture.line(y - 1), picture.line(y), picture.line(y + 1), 1, right,
                        strengths_.data() + start, directions_.data() + start);
        }
        for (int column = 0; column <= cellColumns_; ++column) {
            // Two of them, so that equal neighbours do not wait for each other.
            std::array<std::array<Four, directionCount>, 2> sums{};
            for (int y = first; y < last; ++y) {
                const std::size_t start =
                    static_cast<std::size_t>(y - top) * stride + static_cast<std::size_t>(column) * side;
                const float* strength = strengths_.data() + start;
                const std::uint8_t* direction = directions_.data() + start;
                const auto& line = shares[static_cast<std::size_t>(y - top)];
                for (std::size_t x = 0; x < side; ++x) {
                    const Four share = {line[x][0], line[x][1], line[x][2], line[x][3]};
                    sums[x % 2][direction[x]] += share * strength[x];
                }
            }
            for (int direction = 0; direction < directionCount; ++direction) {
                const auto index = static_cast<std::size_t>(direction);
                const Four sum = sums[0][index] + sums[1][index];
                float* above = cells(direction, row) + column;
                float* below = cells(direction, row + 1) + column;
                above[0] += sum[0];
                above[1] += sum[1];
                below[0] += sum[2];
                below[1] += sum[3];
            }
        }
    }
}

void GradientFeatures::measureBlocks() {
    const auto width = static_cast<std::size_t>(cellColumns_);
    energies_.assign(width * cellRows_, 0);
    for (int row = 0; row < cellRows_; ++row) {
        float* energy = energies_.data() + row * width;
        for (int direction = 0; direction < directionCount / 2; ++direction) {
            const float* one = cells(direction, row + 1) + 1;
            const float* opposite = cells(direction + (directionCount / 2), row + 1) + 1;
            for (std::size_t x = 0; x < width; ++x) {
                const float both = one[x] + opposite[x];
                energy[x] += both * both;
            }
        }
    }
    const std::size_t blocks = width - 1;
    ceilings_.resize(blocks * (cellRows_ - 1));
    gains_.resize(ceilings_.size());
    for (int row = 0; row + 1 < cellRows_; ++row) {
        const float* above = energies_.data() + row * width;
        const float* below = above + width;
        for (std::size_t x = 0; x < blocks; ++x) {
            const float energy = above[x] + above[x + 1] + below[x] + below[x + 1];
            const float ceiling = ceilingShare * std::sqrt(energy + smallestEnergy);
            ceilings_[row * blocks + x] = ceiling;
            gains_[row * blocks + x] = gainNumerator / ceiling;
        }
    }
}

void GradientFeatures::normalise() {
    const std::size_t planeSize = static_cast<std::size_t>(columns_) * rows_;
    planes_.assign(planeSize * planeCount + readBeyond, 0);
    const int count = cellColumns_ - 2;
    const std::size_t blocks = static_cast<std::size_t>(cellColumns_) - 1;
    const auto add = hasWideRegisters() ? addNormalisedWide : addNormalisedNarrow;
    std::vector<float> both(static_cast<std::size_t>(count));
    // The blocks in which a cell is the upper left, lower left, upper right and lower right one.
    constexpr std::array<std::array<std::size_t, 2>, 4> places = {{{1, 1}, {0, 1}, {1, 0}, {0, 0}}};
    for (int y = 0; y < cellRows_ - 2; ++y) {
        const auto out = [&](int plane) {
            return planes_.data() + plane * planeSize +
                   (static_cast<std::size_t>(y + borderBefore) * columns_) + borderBefore;
        };
        const auto addAll = [&](const float* values, int plane, bool hasTexture) {
            for (std::size_t block = 0; block < places.size(); ++block) {
                const std::size_t at = (y + places[block][0]) * blocks + places[block][1];
                add(values, ceilings_.data() + at, gains_.data() + at, count, out(plane),
                    hasTexture ? out(27 + static_cast<int>(block)) : nullptr);
            }
        };
        for (int direction = 0; direction < directionCount; ++direction) {
            addAll(cells(direction, y + 2) + 2, direction, true);
        }
        for (int direction = 0; direction < directionCount / 2; ++direction) {
            const float* one = cells(direction, y + 2) + 2;
            const float* opposite = cells(direction + (directionCount / 2), y + 2) + 2;
            for (int x = 0; x < count; ++x) both[static_cast<std::size_t>(x)] = one[x] + opposite[x];
            addAll(both.data(), directionCount + direction, false);
        }
    }
}

}  // namespace kelvaris

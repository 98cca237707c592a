#include "analysis/grey_image.h"

#include <algorithm>
#include <array>
#include <cstddef>

namespace kelvaris {
namespace {

/// A channel's share of a thousandfold luma, by its value.
constexpr std::array<std::uint32_t, 256> shares(std::uint32_t weight) {
    std::array<std::uint32_t, 256> table{};
    for (std::uint32_t value = 0; value < table.size(); ++value) table[value] = weight * value;
    return table;
}

constexpr auto redShares = shares(299);
constexpr auto greenShares = shares(587);
constexpr auto blueShares = shares(114);

struct Cell {
    int begin;
    int end;
};

Cell cell(int index, int count, int side) {
    const auto edge = [&](int i) { return static_cast<int>(static_cast<std::int64_t>(i) * side / count); };
    const int begin = edge(index);
    return {begin, std::max(begin + 1, edge(index + 1))};
}

}  // namespace

GreyImage greyCopy(const Bitmap& bitmap) {
    GreyImage grey{bitmap.width, bitmap.height, {}};
    if (bitmap.channels == 1) {
        grey.pixels = bitmap.pixels;
        return grey;
    }
    grey.pixels.resize(bitmap.pixels.size() / 3);
    const std::uint8_t* pixel = bitmap.pixels.data();
    for (std::uint8_t& value : grey.pixels) {
        value = static_cast<std::uint8_t>(
            (redShares[pixel[0]] + greenShares[pixel[1]] + blueShares[pixel[2]] + 500) / 1000);
        pixel += 3;
    }
    return grey;
}

std::vector<std::uint8_t> cellMeans(std::span<const std::uint8_t> pixels, int width, int height, int channels,
                                    int columns, int rows) {
    if (pixels.empty()) return {};
    std::vector<std::uint8_t> means;
    means.reserve(static_cast<std::size_t>(columns) * rows * channels);
    const std::size_t rowSize = static_cast<std::size_t>(width) * channels;
    std::vector<std::uint32_t> sums(rowSize);
    for (int row = 0; row < rows; ++row) {
        const Cell lines = cell(row, rows, height);
        std::ranges::fill(sums, 0);
        for (int y = lines.begin; y < lines.end; ++y) {
            const std::uint8_t* line = pixels.data() + static_cast<std::size_t>(y) * rowSize;
            for (std::size_t i = 0; i < rowSize; ++i) sums[i] += line[i];
        }
        for (int column = 0; column < columns; ++column) {
            const Cell places = cell(column, columns, width);
            const auto count =
                static_cast<std::uint64_t>(places.end - places.begin) * (lines.end - lines.begin);
            for (int channel = 0; channel < channels; ++channel) {
                std::uint64_t sum = count / 2;
                for (int x = places.begin; x < places.end; ++x)
                    sum += sums[static_cast<std::size_t>(x) * channels + channel];
                means.push_back(static_cast<std::uint8_t>(sum / count));
            }
        }
    }
    return means;
}

}  // namespace kelvaris

#include "analysis/perceptual_hash.h"

#include <fmt/format.h>

#include <cstddef>

namespace kelvaris {

std::optional<std::string> perceptualHash(const GreyImage& grey) {
    constexpr int columns = 9;
    constexpr int rows = 8;
    const auto cells = cellMeans(grey.pixels, grey.width, grey.height, 1, columns, rows);
    if (cells.empty()) return std::nullopt;
    std::uint64_t hash = 0;
    for (std::size_t row = 0; row < rows; ++row) {
        for (std::size_t column = 0; column + 1 < columns; ++column) {
            const std::size_t at = row * columns + column;
            hash = hash << 1 | (cells[at] > cells[at + 1] ? 1 : 0);
        }
    }
    return fmt::format("{:016x}", hash);
}

std::optional<std::string> computePerceptualHash(const Image& image) {
    return image ? perceptualHash(greyCopy(*image)) : std::nullopt;
}

}  // namespace kelvaris

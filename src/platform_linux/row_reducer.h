#pragma once

#include <array>
#include <cstdint>
#include <vector>

#include "platform/images.h"

namespace kelvaris {

/// Reduces a picture whose rows come one by one: each pixel of the result is the mean of the area that it
/// stands for. Keeps no more of the source than one row's sums.
class RowReducer {
public:
    /// Samples are whole bytes, `channels` a pixel. The result is smaller than the source, but not by more
    /// than half on either side.
    RowReducer(int width, int height, int channels, int reducedWidth, int reducedHeight);

    /// The next row from the top. Neither allocates nor throws.
    void add(const std::uint8_t* row);
    /// After the last row.
    Bytes takeResult() { return std::move(result_); }

    /// Where the area of a pixel begins, and the shares of the source's pixels from there, of 256 in all.
    struct Area {
        int first = 0;
        std::array<std::uint16_t, 3> shares{};
    };

private:
    void addShare(const std::uint8_t* row, std::uint16_t share);
    void finishRow();

    const std::size_t channels_;
    const std::size_t rowSize_;
    const std::vector<Area> columns_;
    const std::vector<Area> rows_;
    int nextRow_ = 0;
    std::size_t target_ = 0;  ///< the row of the result that is being summed
    std::vector<std::uint16_t> sums_;
    Bytes result_;
};

}  // namespace kelvaris

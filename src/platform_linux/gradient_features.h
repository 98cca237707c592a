#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "platform/images.h"

namespace kelvaris {

/// One brightness a pixel, rows packed.
struct GreyPlane {
    int width = 0;
    int height = 0;
    std::vector<std::uint8_t> pixels;

    const std::uint8_t* line(int y) const {
        return pixels.data() + (static_cast<std::size_t>(y) * static_cast<std::size_t>(width));
    }
    std::uint8_t* line(int y) {
        return pixels.data() + (static_cast<std::size_t>(y) * static_cast<std::size_t>(width));
    }
};

/// The picture's luma.
GreyPlane greyPlane(const Bitmap& bitmap);

/// Histograms of gradient directions over the cells of a picture, each normalised by the four blocks of
/// 2 by 2 cells around it (Felzenszwalb, Girshick, McAllester, Ramanan: Object Detection with
/// Discriminatively Trained Part Based Models, 2010): 18 directions, 9 of them with their opposites taken
/// together, and the total by each block. The outermost cells have no features. A border of zeros lets
/// windows hang over the edges by half their size.
class GradientFeatures {
public:
    static constexpr int cellSide = 8;
    static constexpr int planeCount = 31;
    static constexpr int borderBefore = 4;  ///< above and left
    static constexpr int borderAfter = 5;   ///< below and right
    /// So many values may be read behind the end of any line.
    static constexpr std::size_t readBeyond = 16;

    /// Takes the picture's features in place of any before; empty for a picture of under 3 cells a side.
    void compute(const GreyPlane& picture);

    int columns() const { return columns_; }
    int rows() const { return rows_; }
    /// Borders included.
    const float* line(int plane, int y) const {
        return planes_.data() + (((static_cast<std::size_t>(plane) * rows_) + y) * columns_);
    }

private:
    static constexpr int directionCount = 18;

    float* cells(int direction, int row) {
        return histograms_.data() +
               (((static_cast<std::size_t>(direction) * (cellRows_ + 2)) + row) * (cellColumns_ + 2));
    }
    void collect(const GreyPlane& picture);
    void measureBlocks();
    void normalise();

    int cellColumns_ = 0;
    int cellRows_ = 0;
    int columns_ = 0;
    int rows_ = 0;
    std::vector<std::uint8_t> directions_;  ///< of eight lines of pixels
    std::vector<float> strengths_;          ///< likewise
    std::vector<float> histograms_;         ///< by direction, with one more cell on every side
    std::vector<float> energies_;
    std::vector<float> ceilings_;  ///< by block: above it a direction does not count
    std::vector<float> gains_;     ///< by block
    std::vector<float> planes_;
};

}  // namespace kelvaris

#include "platform_linux/row_reducer.h"

#include <gtest/gtest.h>

#include <random>

namespace kelvaris {
namespace {

/// By its definition, in double precision.
double mean(const Bytes& pixels, int width, int channels, int channel, double left, double top, double right,
            double bottom) {
    const auto shared = [](int pixel, double begin, double end) {
        return std::max(0.0, std::min(end, pixel + 1.0) - std::max(begin, static_cast<double>(pixel)));
    };
    double sum = 0;
    for (int y = static_cast<int>(top); y < bottom; ++y) {
        for (int x = static_cast<int>(left); x < right; ++x) {
            const double area = shared(x, left, right) * shared(y, top, bottom);
            if (area > 0)
                sum += area * pixels[static_cast<std::size_t>((y * width + x) * channels + channel)];
        }
    }
    return sum / ((right - left) * (bottom - top));
}

struct Case {
    int width;
    int height;
    int channels;
    int reducedWidth;
    int reducedHeight;
};

class RowReducerTest : public ::testing::TestWithParam<Case> {};

TEST_P(RowReducerTest, EveryPixelIsTheMeanOfItsArea) {
    const auto& [width, height, channels, reducedWidth, reducedHeight] = GetParam();
    std::minstd_rand random(5);
    Bytes pixels(static_cast<std::size_t>(width * height * channels));
    for (std::uint8_t& pixel : pixels) pixel = static_cast<std::uint8_t>(random() % 7 == 0 ? 255 : random());
    RowReducer reducer(width, height, channels, reducedWidth, reducedHeight);
    for (int y = 0; y < height; ++y) reducer.add(pixels.data() + y * width * channels);
    const Bytes result = reducer.takeResult();
    ASSERT_EQ(result.size(), static_cast<std::size_t>(reducedWidth * reducedHeight * channels));
    const double across = static_cast<double>(width) / reducedWidth;
    const double down = static_cast<double>(height) / reducedHeight;
    std::size_t index = 0;
    for (int y = 0; y < reducedHeight; ++y) {
        for (int x = 0; x < reducedWidth; ++x) {
            for (int channel = 0; channel < channels; ++channel) {
                const double expected = mean(pixels, width, channels, channel, x * across, y * down,
                                             (x + 1) * across, (y + 1) * down);
                ASSERT_NEAR(result[index++], expected, 2.0) << x << ", " << y;
            }
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Sizes, RowReducerTest,
                         ::testing::Values(Case{6, 4, 3, 4, 3}, Case{8, 6, 1, 4, 3}, Case{7, 9, 4, 5, 6},
                                           Case{5, 5, 3, 5, 4}, Case{3, 3, 1, 2, 2}, Case{101, 67, 3, 58, 39},
                                           Case{1, 40, 1, 1, 21}));

TEST(RowReducerWhiteTest, WhiteStaysWhite) {
    RowReducer reducer(61, 41, 3, 37, 25);
    const Bytes row(61 * 3, 255);
    for (int y = 0; y < 41; ++y) reducer.add(row.data());
    EXPECT_EQ(reducer.takeResult(), Bytes(37 * 25 * 3, 255));
}

}  // namespace
}  // namespace kelvaris

#include "platform_linux/face_scanner.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <random>

#include "platform_linux/face_finder.h"
#include "sample_roll/frame.h"

namespace kelvaris {
namespace {

template <class Shade>
GreyPlane painted(int width, int height, Shade shade) {
    GreyPlane plane{width, height, {}};
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x) plane.pixels.push_back(static_cast<std::uint8_t>(shade(x, y)));
    }
    return plane;
}

TEST(FaceScannerTest, ScalingKeepsARampWhereItIs) {
    for (const auto& [width, height] : {std::pair{60, 36}, std::pair{61, 38}, std::pair{13, 7}}) {
        const GreyPlane ramp = painted(width, height, [](int x, int y) { return 3 * x + 2 * y; });
        const auto expectRamp = [](const GreyPlane& scaled, double across, double down) {
            for (int y = 1; y + 1 < scaled.height; ++y) {
                for (int x = 1; x + 1 < scaled.width; ++x) {
                    const double expected = 3 * ((x + 0.5) * across - 0.5) + 2 * ((y + 0.5) * down - 0.5);
                    ASSERT_NEAR(scaled.line(y)[x], expected, 1.01) << x << ", " << y;
                }
            }
        };
        const GreyPlane larger = resized(ramp, width * 5 / 3, height * 5 / 3);
        expectRamp(larger, static_cast<double>(width) / larger.width,
                   static_cast<double>(height) / larger.height);
        expectRamp(fiveSixths(ramp), 1.2, 1.2);
    }
}

TEST(FaceScannerTest, FeaturesTellTheDirectionOfEveryGradient) {
    constexpr double pi = 3.14159265358979;
    for (int direction = 0; direction < 18; ++direction) {
        const double angle = direction * pi / 9;
        const GreyPlane plane = painted(40, 40, [&](int x, int y) {
            return 128 + std::lround((4 * std::cos(angle) * (x - 20)) + (4 * std::sin(angle) * (y - 20)));
        });
        GradientFeatures features;
        features.compute(plane);
        ASSERT_EQ(features.columns(), 5 - 2 + 9);
        ASSERT_EQ(features.rows(), 5 - 2 + 9);
        const auto at = [&](int number) { return features.line(number, 5)[5]; };
        // All of the gradient's strength may count, but no more than 0.2 of it by each of four blocks.
        for (int other = 0; other < 18; ++other) {
            EXPECT_NEAR(at(other), other == direction ? 0.4F : 0, 0.15) << direction << " seen as " << other;
        }
        EXPECT_GT(at(18 + (direction % 9)), 0.3F);
        EXPECT_THAT(features.line(direction, 0)[5], 0) << "the border is empty";
    }
}

TEST(FaceScannerTest, FlatAndTinyPicturesHoldNothing) {
    GradientFeatures features;
    features.compute(painted(64, 64, [](int, int) { return 90; }));
    EXPECT_THAT(features.line(0, 8)[8], 0);
    features.compute(painted(19, 400, [](int x, int) { return x; }));
    EXPECT_EQ(features.rows(), 0);

    FrontalFaceFinder finder({});
    for (const auto& [width, height] : {std::pair{1, 1}, std::pair{1, 900}, std::pair{12, 8}}) {
        const Bitmap bitmap{width, height, 1,
                            std::vector<std::uint8_t>(static_cast<std::size_t>(width * height))};
        EXPECT_THAT(finder.find(bitmap, true), ::testing::IsEmpty());
    }
}

TEST(FaceScannerTest, AFaceIsFoundAtEverySizeAndWhereItIs) {
    namespace roll = sample_roll;
    FrontalFaceFinder finder({});
    int found = 0;
    for (int height = 140; height <= 1100; height = height * 5 / 4) {
        roll::Frame frame(
            {.scene = roll::Scene::portrait, .seed = 4, .width = height * 3 / 2, .height = height});
        Bitmap bitmap{frame.width(), frame.height(), 3, {}};
        for (int y = 0; y < frame.height(); ++y) {
            const auto row = frame.row8(y);
            bitmap.pixels.insert(bitmap.pixels.end(), row.begin(), row.end());
        }
        const auto faces = finder.find(bitmap, false);
        ASSERT_LE(faces.size(), 1U) << height;
        if (faces.empty()) continue;
        ++found;
        EXPECT_NEAR(faces[0].box.x + (faces[0].box.width / 2), 0.45, 0.03) << height;
        EXPECT_NEAR(faces[0].box.height, 0.3, 0.08) << height;
    }
    EXPECT_GE(found, 9);
}

}  // namespace
}  // namespace kelvaris

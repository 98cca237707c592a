#include "images/image_loading.h"

#include <gtest/gtest.h>

#include "images/image_cache.h"
#include "log_capture.h"
#include "platform_fake/fake_clock.h"
#include "platform_fake/fake_files.h"
#include "platform_fake/fake_image_codec.h"

namespace kelvaris {
namespace {

/// Three columns and two rows, whose pixels are numbered from 1.
Image numbered(int channels) {
    Bitmap bitmap{3, 2, channels, {}};
    for (std::uint8_t number = 1; number <= 6; ++number)
        bitmap.pixels.insert(bitmap.pixels.end(), channels, number);
    return std::make_shared<const Bitmap>(std::move(bitmap));
}

std::string rowsOf(const Bitmap& bitmap) {
    std::string rows;
    for (int y = 0; y < bitmap.height; ++y) {
        if (y > 0) rows += '/';
        for (int x = 0; x < bitmap.width; ++x) {
            rows += static_cast<char>(
                '0' + bitmap.pixels[static_cast<std::size_t>((y * bitmap.width + x) * bitmap.channels)]);
        }
    }
    return rows;
}

TEST(TransformedTest, EveryOrientationAndRotationPutsThePixelsInTheirPlaces) {
    const std::array<std::string, 9> upright{"123/456",  "123/456",  "321/654",  "654/321", "456/123",
                                             "14/25/36", "41/52/63", "63/52/41", "36/25/14"};
    for (const int channels : {1, 3}) {
        for (int orientation = 0; orientation < 9; ++orientation) {
            EXPECT_EQ(
                rowsOf(*ImageLoading::transformed(numbered(channels), orientation, RotationAngle::none)),
                upright[static_cast<std::size_t>(orientation)])
                << orientation;
        }
    }
    // The orientation goes first; a mirrored picture shows when it does not.
    const auto turnedInTwo = [](int orientation, RotationAngle rotation) {
        const Image first = ImageLoading::transformed(numbered(3), orientation, RotationAngle::none);
        return rowsOf(*ImageLoading::transformed(first, 1, rotation));
    };
    for (int orientation = 1; orientation <= 8; ++orientation) {
        for (const auto& [rotation, degrees] : RawValues<RotationAngle>::rows) {
            EXPECT_EQ(rowsOf(*ImageLoading::transformed(numbered(3), orientation, rotation)),
                      turnedInTwo(orientation, rotation))
                << orientation << " and " << degrees;
        }
    }
    EXPECT_EQ(turnedInTwo(1, RotationAngle::clockwise90), "41/52/63");
    const Image same = numbered(3);
    EXPECT_EQ(ImageLoading::transformed(same, 1, RotationAngle::none), same);
}

TEST(TransformedTest, LargePicturesTurnAsSmallOnesDo) {
    Bitmap bitmap{101, 67, 1, {}};
    for (int i = 0; i < 101 * 67; ++i) bitmap.pixels.push_back(static_cast<std::uint8_t>(i * 31 + i / 256));
    const auto source = std::make_shared<const Bitmap>(bitmap);
    const Image turned = ImageLoading::transformed(source, 1, RotationAngle::clockwise90);
    for (int y = 0; y < turned->height; ++y) {
        for (int x = 0; x < turned->width; ++x) {
            ASSERT_EQ(turned->pixels[static_cast<std::size_t>(y * turned->width + x)],
                      source->pixels[static_cast<std::size_t>((source->height - 1 - x) * source->width + y)]);
        }
    }
}

TEST(ExifOrientationTest, OnlyKnownValuesCountAndTheTopLevelOneGoesFirst) {
    const auto orientation = [](std::optional<int> top, std::optional<int> tiff) {
        ImageProperties properties;
        properties.orientation = top;
        properties.tiffOrientation = tiff;
        return ImageLoading::exifOrientation(properties);
    };
    EXPECT_EQ(orientation({}, {}), 1);
    EXPECT_EQ(orientation({}, 8), 8);
    EXPECT_EQ(orientation(3, 8), 3);
    EXPECT_EQ(orientation(9, 8), 1);
    EXPECT_EQ(orientation(0, {}), 1);
    EXPECT_EQ(orientation({}, -2), 1);
}

class CoordinatedThumbnailTest : public ::testing::Test {
protected:
    FakeClock clock_;
    FakeFiles files_{clock_.wall()};
    FakeImageCodec codec_{files_};
    ImageLoading loading_{codec_};
    testing::LogCapture log_;
};

TEST_F(CoordinatedThumbnailTest, EmbeddedPictureIsTakenOnlyWhereItIsPreferredAndThere) {
    ASSERT_TRUE(files_.createDirectories(Path("/scans")));
    for (const char* name : {"/scans/a.jpg", "/scans/b.jpg"}) {
        ASSERT_TRUE(files_.writeAtomically(Path(name), asBytes("x")));
    }
    FakePicture picture;
    picture.upright = solidBitmap(400, 200, 10, 20, 30);
    codec_.setPicture(Path("/scans/b.jpg"), picture);
    picture.thumbnail = solidBitmap(160, 80, 200, 0, 0);
    codec_.setPicture(Path("/scans/a.jpg"), picture);

    const auto red = [&](const char* name, bool preferEmbedded) {
        const Image image =
            loading_.coordinatedThumbnail(Path(name), 100, preferEmbedded, RotationAngle::clockwise90);
        EXPECT_TRUE(image);
        EXPECT_EQ(image->height, 100);
        EXPECT_EQ(image->width, 50);
        return static_cast<int>(image->pixels[0]);
    };
    EXPECT_EQ(red("/scans/a.jpg", true), 200);
    EXPECT_EQ(red("/scans/a.jpg", false), 10);
    EXPECT_EQ(red("/scans/b.jpg", true), 10);
}

TEST_F(CoordinatedThumbnailTest, WhatCannotBeReadIsToldFromWhatIsNoPicture) {
    ASSERT_TRUE(files_.createDirectories(Path("/scans")));
    ASSERT_TRUE(files_.writeAtomically(Path("/scans/words.jpg"), asBytes("x")));
    EXPECT_FALSE(loading_.coordinatedThumbnail(Path("/scans/words.jpg"), 100, false, RotationAngle::none));
    EXPECT_FALSE(loading_.coordinatedThumbnail(Path("/scans/gone.jpg"), 100, false, RotationAngle::none));
    EXPECT_TRUE(log_.contains("Coordinated read returned nil image for words.jpg"));
    EXPECT_TRUE(log_.contains("Coordinated read failed for gone.jpg: "));
    EXPECT_FALSE(log_.contains("Coordinated read failed for words.jpg"));
}

TEST(ImageCacheTest, TheLeastUsedMakeRoomByCountAndByCost) {
    const Image image = std::make_shared<const Bitmap>(solidBitmap(2, 2, 0, 0, 0));
    EXPECT_EQ(ImageCache::estimateCost(image), 16);
    EXPECT_EQ(ImageCache::estimateCost(nullptr), 0);

    ImageCache cache;
    const auto path = [](int number) { return Path("/" + std::to_string(number)); };
    for (int number = 0; number < 10; ++number) cache.insert(path(number), image, 16);
    EXPECT_TRUE(cache.image(path(0)));
    cache.insert(path(10), image, 16);
    EXPECT_TRUE(cache.image(path(0)));
    EXPECT_FALSE(cache.image(path(1)));

    cache.insert(path(11), image, 1'499'999'990);
    EXPECT_TRUE(cache.image(path(11)));
    EXPECT_FALSE(cache.image(path(0)));
    cache.insert(path(12), image, 1'500'000'001);
    EXPECT_FALSE(cache.image(path(12)));
    EXPECT_TRUE(cache.image(path(11)));
    // Taking an entry's place gives its cost back.
    cache.insert(path(11), image, 16);
    cache.insert(path(13), image, 1'499'999'984);
    EXPECT_TRUE(cache.image(path(11)));
    EXPECT_TRUE(cache.image(path(13)));
}

}  // namespace
}  // namespace kelvaris

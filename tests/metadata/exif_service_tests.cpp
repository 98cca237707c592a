#include "metadata/exif_service.h"

#include <fmt/format.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <stdlib.h>
#include <unistd.h>

#include <cmath>
#include <cstdio>
#include <fstream>

#include <jpeglib.h>

#include "block_maker.h"
#include "metadata/exif_block.h"
#include "metadata/jpeg_segments.h"
#include "platform_fake/fake_clock.h"
#include "platform_fake/fake_files.h"
#include "platform_fake/fake_image_codec.h"
#include "platform_fake/fake_language.h"
#include "platform_linux/libjpeg_writer.h"

namespace kelvaris {
namespace {

using testing::BlockMaker;
using testing::CameraBlock;
using enum ExifTable;

const Path source("/scans/one.jpg"), copy("/scans/Kelvaris_Export/roll_001-1994-03-02.jpg");

/// Four fields of colour, so that every way of turning it is told apart; fields of 16 pixels survive JPEG.
Bitmap fourFields(int width = 48, int height = 32) {
    Bitmap bitmap{width, height, 3, {}};
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x) {
            const bool right = x >= width / 2, low = y >= height / 2;
            bitmap.pixels.push_back(right ? 200 : 30);
            bitmap.pixels.push_back(low ? 200 : 30);
            bitmap.pixels.push_back(right && low ? 30 : 200);
        }
    }
    return bitmap;
}

Bitmap decodeJpeg(std::string_view jpeg) {
    jpeg_decompress_struct info{};
    jpeg_error_mgr errors{};
    info.err = jpeg_std_error(&errors);
    jpeg_create_decompress(&info);
    jpeg_mem_src(&info, reinterpret_cast<const unsigned char*>(jpeg.data()), jpeg.size());
    jpeg_read_header(&info, TRUE);
    info.out_color_space = JCS_RGB;
    jpeg_start_decompress(&info);
    Bitmap bitmap{static_cast<int>(info.output_width), static_cast<int>(info.output_height), 3, {}};
    bitmap.pixels.resize(std::size_t{info.output_width} * info.output_height * 3);
    while (info.output_scanline < info.output_height) {
        JSAMPROW row = bitmap.pixels.data() + std::size_t{info.output_scanline} * info.output_width * 3;
        jpeg_read_scanlines(&info, &row, 1);
    }
    jpeg_finish_decompress(&info);
    jpeg_destroy_decompress(&info);
    return bitmap;
}

std::array<int, 3> pixel(const Bitmap& bitmap, int x, int y) {
    const auto* at = bitmap.pixels.data() + (std::size_t(y) * bitmap.width + x) * 3;
    return {at[0], at[1], at[2]};
}

/// By the meaning of each orientation: where the stored rows and columns run in the upright picture.
Bitmap turned(const Bitmap& stored, int orientation, int quarters) {
    Bitmap picture = stored;
    const auto mapped = [&](int width, int height, auto&& from) {
        Bitmap next{width, height, 3, {}};
        for (int y = 0; y < height; ++y) {
            for (int x = 0; x < width; ++x) {
                const auto [sourceX, sourceY] = from(x, y);
                for (const int value : pixel(picture, sourceX, sourceY)) {
                    next.pixels.push_back(static_cast<std::uint8_t>(value));
                }
            }
        }
        picture = next;
    };
    const int w = stored.width, h = stored.height;
    using At = std::pair<int, int>;
    switch (orientation) {
        case 2:
            mapped(w, h, [&](int x, int y) { return At(w - 1 - x, y); });
            break;
        case 3:
            mapped(w, h, [&](int x, int y) { return At(w - 1 - x, h - 1 - y); });
            break;
        case 4:
            mapped(w, h, [&](int x, int y) { return At(x, h - 1 - y); });
            break;
        case 5:
            mapped(h, w, [&](int x, int y) { return At(y, x); });
            break;
        case 6:
            mapped(h, w, [&](int x, int y) { return At(y, h - 1 - x); });
            break;
        case 7:
            mapped(h, w, [&](int x, int y) { return At(w - 1 - y, h - 1 - x); });
            break;
        case 8:
            mapped(h, w, [&](int x, int y) { return At(w - 1 - y, x); });
            break;
        default:
            break;
    }
    for (int quarter = 0; quarter < quarters; ++quarter) {
        const int width = picture.width, height = picture.height;
        mapped(height, width, [height](int x, int y) { return At(y, height - 1 - x); });
    }
    return picture;
}

void expectSamePicture(const Bitmap& picture, const Bitmap& expected) {
    ASSERT_EQ(picture.width, expected.width);
    ASSERT_EQ(picture.height, expected.height);
    int worst = 0;
    for (std::size_t index = 0; index < expected.pixels.size(); ++index) {
        worst = std::max(worst, std::abs(picture.pixels[index] - expected.pixels[index]));
    }
    EXPECT_LE(worst, 12);
}

class ExifServiceTests : public ::testing::Test {
protected:
    ExifServiceTests() { files.addFolder(copy.parent()); }

    /// Puts a JPEG with the segments at the source's place, and tells the codec what stands in it.
    void addJpeg(const Bitmap& bitmap, const Bytes& block, MetadataBlocks blocks = {}) {
        blocks.exif = block;
        auto pending = files.beginWrite(source);
        JpegRecipe recipe{1, 1.0, {exifSegment(block)}};
        ASSERT_TRUE(writer.encode(bitmap, recipe, **pending));
        ASSERT_TRUE((*pending)->commit());
        FakePicture picture{bitmap};
        const auto parsed = ExifBlock::parse(block);
        if (parsed && parsed->integer(image, ExifTag::orientation)) {
            picture.properties.orientation = static_cast<int>(*parsed->integer(image, ExifTag::orientation));
        }
        picture.metadata = std::move(blocks);
        codec.setPicture(source, std::move(picture));
    }
    Bytes orientationBlock(int orientation) {
        BlockMaker maker(ByteOrder::big);
        maker.addTable({{ExifTag::orientation, 3, 1, static_cast<std::uint64_t>(orientation), 2}});
        return maker.bytes;
    }
    ExifService::EXIFData everything() {
        ExifService::EXIFData data;
        data.dateTimeOriginal = instantFromUtc({2026, 3, 14, 22, 30, 0});
        data.latitude = -33.5;
        data.longitude = 0.0;
        data.software = "Kelvaris";
        data.cameraMake = "Voigtl\u00e4nder";
        data.cameraModel = "Bessa R2";
        data.isoSpeedRatings = 400;
        data.filmName = "Fomapan \u2014 \u0432\u0435\u0447\u0435\u0440";
        data.artist = "Ana";
        data.copyright = "\u00A9 2026 Ana";
        return data;
    }
    Bytes blockOf(const std::string& jpeg) const {
        const auto at = jpeg.find(std::string_view("Exif\0\0", 6));
        if (at == std::string::npos || at < 2) return {};
        const auto length =
            static_cast<std::uint8_t>(jpeg[at - 2]) << 8 | static_cast<std::uint8_t>(jpeg[at - 1]);
        const std::string block = jpeg.substr(at + 6, static_cast<std::size_t>(length) - 8);
        return {block.begin(), block.end()};
    }

    FakeClock clock;
    FakeFiles files{clock.wall()};
    FakeImageCodec codec{files};
    FakeLanguage language;
    LibjpegWriter writer;
    ExifService service{codec, files, language, writer};
};

TEST_F(ExifServiceTests, EveryOrientationAndRotationComesOutUprightWithItsSize) {
    const Bitmap stored = fourFields();
    for (int orientation = 1; orientation <= 8; ++orientation) {
        addJpeg(stored, orientationBlock(orientation));
        for (int quarters = 0; quarters < 4; ++quarters) {
            SCOPED_TRACE(fmt::format("orientation {} and {} quarter turns", orientation, quarters));
            ExifService::EXIFData data;
            data.rotation = static_cast<RotationAngle>(quarters);
            ASSERT_TRUE(service.writeEXIF(source, copy, data, 1.0));
            const std::string jpeg = files.contents(copy).value();
            const Bitmap expected = turned(stored, orientation, quarters);
            expectSamePicture(decodeJpeg(jpeg), expected);
            const Bytes bytes = blockOf(jpeg);
            const auto block = ExifBlock::parse(bytes);
            ASSERT_TRUE(block);
            EXPECT_EQ(block->integer(image, ExifTag::orientation), 1u);
            EXPECT_EQ(block->integer(exif, ExifTag::pixelXDimension), unsigned(expected.width));
            EXPECT_EQ(block->integer(exif, ExifTag::pixelYDimension), unsigned(expected.height));
        }
    }
}

TEST_F(ExifServiceTests, PicturesOfOtherKindsAreTurnedTheSameWayAndLoseTheirProfile) {
    const Bitmap upright = fourFields(40, 24);
    files.addFile(source, "stands for a PNG");
    FakePicture picture{upright};
    picture.properties.format = ImageFormat::png;
    picture.metadata.exif = orientationBlock(6);
    picture.metadata.icc = Bytes(100, 0x49);
    codec.setPicture(source, picture);
    for (int quarters = 0; quarters < 4; ++quarters) {
        ExifService::EXIFData data;
        data.rotation = static_cast<RotationAngle>(quarters);
        ASSERT_TRUE(service.writeEXIF(source, copy, data, 1.0));
        const std::string jpeg = files.contents(copy).value();
        expectSamePicture(decodeJpeg(jpeg), turned(upright, 1, quarters));
        EXPECT_THAT(jpeg, ::testing::Not(::testing::HasSubstr("ICC_PROFILE")));
        EXPECT_EQ(ExifBlock::parse(blockOf(jpeg))->integer(exif, ExifTag::colorSpace), 1u);
    }
}

TEST_F(ExifServiceTests, WhatTheSourceCarriesStaysAndWhatTheUserAssignedIsWrittenOver) {
    for (const ByteOrder order : {ByteOrder::little, ByteOrder::big}) {
        const CameraBlock camera(order);
        MetadataBlocks blocks;
        blocks.xmp = Bytes(40, 'x');
        blocks.extendedXmp = {Bytes(70, 'e')};
        blocks.icc = Bytes(70'000, 'i');
        blocks.photoshop = {Bytes(50, 'p'), Bytes(50, 'q')};
        blocks.comments = {Bytes(9, 'c')};
        addJpeg(fourFields(), camera.bytes, blocks);
        language.zoneOffset = std::chrono::hours(1);
        ASSERT_TRUE(service.writeEXIF(source, copy, everything(), 0.8));
        const std::string jpeg = files.contents(copy).value();
        const Bytes bytes = blockOf(jpeg);
        const auto block = ExifBlock::parse(bytes);
        ASSERT_TRUE(block);
        EXPECT_EQ(block->order(), order);
        EXPECT_EQ(
            std::string(asText(bytes)).substr(camera.makerTarget, camera.makerNoteEnd - camera.makerTarget),
            std::string(asText(camera.bytes))
                .substr(camera.makerTarget, camera.makerNoteEnd - camera.makerTarget));
        for (const std::uint16_t tag : {ExifTag::dateTimeOriginal, ExifTag::dateTimeDigitized}) {
            EXPECT_EQ(block->text(exif, tag), "2026:03:14 23:30:00");
        }
        EXPECT_EQ(block->text(image, ExifTag::dateTime), "2026:03:14 23:30:00");
        EXPECT_EQ(block->text(gps, ExifTag::gpsDateStamp), "2026:03:14") << "the local day, as the date's";
        EXPECT_EQ(block->text(gps, ExifTag::gpsLatitudeRef), "S");
        EXPECT_EQ(block->text(gps, ExifTag::gpsLongitudeRef), "E");
        EXPECT_DOUBLE_EQ(block->degrees(gps, ExifTag::gpsLatitude).value(), 33.5);
        EXPECT_EQ(block->integer(exif, ExifTag::isoSpeedRatings), 400u);
        EXPECT_EQ(block->text(image, ExifTag::copyright), "\u00A9 2026 Ana");
        for (const std::size_t size : {40, 70, 50, 9}) {
            const char letter = size == 40 ? 'x' : size == 70 ? 'e' : size == 50 ? 'q' : 'c';
            EXPECT_THAT(jpeg, ::testing::HasSubstr(std::string(size, letter)));
        }
        EXPECT_THAT(jpeg, ::testing::HasSubstr(std::string("ICC_PROFILE\0\2\2", 14)));
        EXPECT_EQ(jpeg.find("JFIF"), std::string::npos);
    }
}

TEST_F(ExifServiceTests, WithoutBothCoordinatesTheSourcesPlaceStays) {
    const CameraBlock camera(ByteOrder::big);
    addJpeg(fourFields(), camera.bytes);
    ExifService::EXIFData data;
    data.latitude = 10;
    ASSERT_TRUE(service.writeEXIF(source, copy, data, 0.9));
    const Bytes bytes = blockOf(files.contents(copy).value());
    EXPECT_DOUBLE_EQ(ExifBlock::parse(bytes)->degrees(gps, ExifTag::gpsLatitude).value(), 33.5);
}

TEST_F(ExifServiceTests, SecondsThatRoundUpFillTheMinute) {
    addJpeg(fourFields(), {});
    ExifService::EXIFData data;
    data.latitude = 33.9999999999;
    data.longitude = -179.99999999999;
    ASSERT_TRUE(service.writeEXIF(source, copy, data, 0.9));
    const Bytes bytes = blockOf(files.contents(copy).value());
    const auto block = ExifBlock::parse(bytes);
    EXPECT_EQ(block->degrees(gps, ExifTag::gpsLatitude), 34.0);
    EXPECT_EQ(block->degrees(gps, ExifTag::gpsLongitude), 180.0);
}

TEST_F(ExifServiceTests, ReadsPlaceAndDateInTheUsersZoneAndNoHalfPlace) {
    language.zoneOffset = std::chrono::hours(2);
    addJpeg(fourFields(), CameraBlock(ByteOrder::big).bytes);
    auto opened = codec.open(source);
    const EXIFResult result = service.readEXIF(**opened);
    EXPECT_DOUBLE_EQ(result.latitude.value(), -33.5);
    EXPECT_DOUBLE_EQ(result.longitude.value(), 151.205);
    EXPECT_EQ(result.captureDate, instantFromUtc({1994, 3, 2, 21, 30, 0}));
    EXPECT_EQ(service.readEXIFDate(source), result.captureDate);

    BlockMaker maker(ByteOrder::little);
    const std::size_t table = maker.addTable({{ExifTag::gpsLatitudeRef, 2, 2, 'N', 1}});
    maker.setFirstTable(maker.addTable({{ExifTag::gpsTable, 4, 1, table}}));
    addJpeg(fourFields(), maker.bytes);
    EXPECT_EQ(service.readEXIF(**codec.open(source)), EXIFResult{});
    EXPECT_FALSE(service.readEXIFDate(Path("/scans/none.jpg")));
}

TEST_F(ExifServiceTests, AFailureAtAnyStepLeavesTheOldCopyOrTheNewOne) {
    addJpeg(fourFields(), {});
    files.addFile(copy, "the old copy");
    for (std::size_t step = 1;; ++step) {
        files.failAtStep(step, FileError::Code::noSpace);
        const auto result = service.writeEXIF(source, copy, everything(), 0.9);
        files.clearFaults();
        const std::string now = files.contents(copy).value();
        if (result) {
            ASSERT_GT(step, 2u);
            break;
        }
        EXPECT_EQ(result.error(),
                  step == 1 ? ExifError::failedToCreateDestination : ExifError::failedToWrite);
        EXPECT_TRUE(now == "the old copy" || !decodeJpeg(now).pixels.empty());
        EXPECT_EQ(files.allFiles(copy.parent()).size(), 1u) << "nothing half-written stays";
    }
}

TEST_F(ExifServiceTests, DamagedSourcesAreToldAndLeaveNoCopy) {
    addJpeg(fourFields(400, 300), {});
    const std::string whole = files.contents(source).value();
    for (const std::size_t length : {std::size_t{0}, std::size_t{3}, std::size_t{200}, whole.size() / 2}) {
        files.addFile(source, whole.substr(0, length));
        const auto result = service.writeEXIF(source, copy, everything(), 0.9);
        ASSERT_FALSE(result) << length;
        EXPECT_EQ(result.error(), ExifError::failedToReadSource);
        EXPECT_FALSE(files.contents(copy));
    }
    files.erase(source);
    EXPECT_EQ(service.writeEXIF(source, copy, everything(), 0.9).error(), ExifError::failedToReadSource);
}

/// What exiftool says of the file, one "Tag: value" a line; nothing when it is not installed.
std::optional<std::string> exiftool(const std::string& jpeg, const std::string& arguments) {
    if (std::system("command -v exiftool >/dev/null 2>&1") != 0) {
        std::puts("exiftool is not installed: the comparison with it is skipped");
        return std::nullopt;
    }
    char name[] = "/tmp/kelvaris-exif-XXXXXX";
    const int descriptor = mkstemp(name);
    const ssize_t written = write(descriptor, jpeg.data(), jpeg.size());
    close(descriptor);
    EXPECT_EQ(written, static_cast<ssize_t>(jpeg.size()));
    std::string said;
    FILE* pipe = popen(("exiftool " + arguments + " " + name + " 2>&1").c_str(), "r");
    for (char part[4096]; pipe && fgets(part, sizeof part, pipe);) said += part;
    if (pipe) pclose(pipe);
    unlink(name);
    return said;
}

TEST_F(ExifServiceTests, AnIndependentReaderFindsEveryTagAndNothingToWarnOf) {
    for (const ByteOrder order : {ByteOrder::little, ByteOrder::big}) {
        addJpeg(fourFields(), CameraBlock(order).bytes);
        ASSERT_TRUE(service.writeEXIF(source, copy, everything(), 0.9));
        const auto said = exiftool(files.contents(copy).value(), "-validate -warning -a");
        if (!said) return;
        const auto tags = exiftool(files.contents(copy).value(), "-n -S").value();
        for (const std::string_view line :
             {"DateTimeOriginal: 2026:03:14 22:30:00", "CreateDate: 2026:03:14 22:30:00",
              "ModifyDate: 2026:03:14 22:30:00", "GPSDateStamp: 2026:03:14", "GPSTimeStamp: 22:30:00",
              "GPSLatitude: -33.5", "GPSLongitude: 0", "GPSVersionID: 2 3 0 0", "Software: Kelvaris",
              "Make: Voigtl\u00e4nder", "Model: Bessa R2", "ISO: 400",
              "UserComment: Fomapan \u2014 \u0432\u0435\u0447\u0435\u0440", "Artist: Ana",
              "Copyright: \u00A9 2026 Ana", "Orientation: 1", "ExifImageWidth: 32", "ExifImageHeight: 48"}) {
            EXPECT_THAT(tags, ::testing::HasSubstr(std::string(line) + "\n"));
        }
        EXPECT_THAT(tags, ::testing::Not(::testing::HasSubstr("Thumbnail")));
        for (const char* complaint : {"offset", "sequence", "Suspicious", "overlap", "Duplicate"}) {
            EXPECT_THAT(*said, ::testing::Not(::testing::HasSubstr(complaint)));
        }
    }
}

}  // namespace
}  // namespace kelvaris

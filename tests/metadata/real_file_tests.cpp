#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <iterator>

#include "metadata/exif_block.h"
#include "metadata/exif_service.h"
#include "metadata/takeout_service.h"
#include "platform_linux/icu_language.h"
#include "platform_linux/libjpeg_writer.h"
#include "platform_linux/linux_files.h"
#include "platform_linux/vips_codec.h"
#include "sample_roll/writers.h"

/// The service on the machine's own decoder, files and zone, with pictures written by other encoders.
namespace kelvaris {
namespace {

namespace fs = std::filesystem;
using sample_roll::WriteOutcome;

class RealFiles : public ::testing::Test {
protected:
    RealFiles() { fs::create_directories(folder); }
    ~RealFiles() override { fs::remove_all(folder); }

    Path path(const std::string& name) const { return Path((folder / name).string()); }

    sample_roll::ExifRecord record() const {
        sample_roll::ExifRecord exif;
        exif.bigEndian = true;
        exif.make = "Scanner Works";
        exif.dateTimeOriginal = "1994:03:02 23:30:00";
        exif.isoSpeed = 200;
        exif.orientation = 6;
        exif.makerNote.assign(300, 0x5A);
        exif.thumbnail = sample_roll::thumbnailJpeg({.width = 300, .height = 200}, 100);
        exif.place = sample_roll::GeoPoint{-33.5, 151.25};
        return exif;
    }

    /// The copy as the decoder sees it.
    std::unique_ptr<ImageSource> exported(const Path& source) {
        ExifService::EXIFData data;
        data.filmName = "Fomapan";
        data.rotation = RotationAngle::clockwise90;
        const auto result = service.writeEXIF(source, path("copy.jpg"), data, 0.9);
        EXPECT_TRUE(result);
        auto opened = codec->open(path("copy.jpg"));
        EXPECT_TRUE(opened);
        return opened ? std::move(*opened) : nullptr;
    }

    fs::path folder = fs::temp_directory_path() / ("kelvaris-metadata-" + std::to_string(::getpid()));
    LinuxFiles files;
    IcuLanguage language{"en_US", "Asia/Tokyo"};
    std::unique_ptr<VipsImageCodec> codec = VipsImageCodec::make();
    LibjpegWriter writer;
    ExifService service{*codec, files, language, writer};
};

TEST_F(RealFiles, AJpegKeepsItsBlockByteForByteButForTheThumbnail) {
    sample_roll::Frame frame({.width = 300, .height = 200});
    const auto exif = record();
    ASSERT_EQ(sample_roll::writeJpeg(folder / "scan.jpg", frame, 90, exif), WriteOutcome::written);
    EXPECT_EQ(service.readEXIFDate(path("scan.jpg")), instantFromUtc({1994, 3, 2, 14, 30, 0}));

    const auto copy = exported(path("scan.jpg"));
    ASSERT_TRUE(copy);
    EXPECT_EQ(copy->properties().pixelWidth, 300) << "turned by the file, then once more by the user";
    EXPECT_EQ(copy->properties().pixelHeight, 200);
    const Bytes bytes = copy->metadata().exif;
    const auto block = ExifBlock::parse(bytes);
    ASSERT_TRUE(block);
    EXPECT_EQ(block->order(), ByteOrder::big);
    EXPECT_EQ(block->text(ExifTable::image, ExifTag::make), "Scanner Works");
    EXPECT_EQ(block->integer(ExifTable::image, ExifTag::orientation), 1u);
    EXPECT_EQ(block->integer(ExifTable::exif, ExifTag::pixelXDimension), 300u);
    const ExifEntry* note = block->find(ExifTable::exif, ExifTag::makerNote);
    ASSERT_TRUE(note);
    EXPECT_EQ(Bytes(note->value.begin(), note->value.end()), exif.makerNote);
    EXPECT_FALSE(copy->embeddedThumbnail(100)) << "the old thumbnail lies the old way";
    const EXIFResult result = service.readEXIF(*copy);
    EXPECT_NEAR(result.latitude.value(), -33.5, 1e-6);
    EXPECT_EQ(result.captureDate, instantFromUtc({1994, 3, 2, 14, 30, 0}));
}

TEST_F(RealFiles, ATiffOfSixteenBitsBecomesATaggedJpeg) {
    for (const bool compressed : {false, true}) {
        sample_roll::Frame frame({.width = 300, .height = 200});
        ASSERT_EQ(sample_roll::writeTiff16(folder / "scan.tif", frame, compressed, record()),
                  WriteOutcome::written);
        EXPECT_EQ(service.readEXIFDate(path("scan.tif")), instantFromUtc({1994, 3, 2, 14, 30, 0}));
        const auto copy = exported(path("scan.tif"));
        ASSERT_TRUE(copy);
        const Bytes bytes = copy->metadata().exif;
        const auto block = ExifBlock::parse(bytes);
        ASSERT_TRUE(block);
        EXPECT_EQ(block->text(ExifTable::image, ExifTag::make), "Scanner Works");
        EXPECT_EQ(block->text(ExifTable::exif, ExifTag::dateTimeOriginal), "1994:03:02 23:30:00");
        EXPECT_EQ(block->integer(ExifTable::exif, ExifTag::colorSpace), 1u);
        EXPECT_FALSE(block->find(ExifTable::image, 0x0111)) << "where the strips were";
        EXPECT_EQ(block->integer(ExifTable::exif, ExifTag::pixelXDimension),
                  static_cast<unsigned>(copy->properties().pixelWidth));
        const auto original = codec->open(path("scan.tif"));
        const auto upright = (*original)->decode(std::nullopt);
        EXPECT_EQ(copy->properties().pixelWidth, (*upright)->height) << "a quarter turn of what is upright";
    }
}

TEST_F(RealFiles, AHeicIsTurnedByTheUserAlone) {
    sample_roll::Frame frame({.width = 320, .height = 192});
    const auto outcome = sample_roll::writeHeic(folder / "scan.heic", frame, 80, record());
    if (outcome == WriteOutcome::noEncoder) GTEST_SKIP() << "no HEIC encoder on this machine";
    ASSERT_EQ(outcome, WriteOutcome::written);
    const auto original = codec->open(path("scan.heic"));
    ASSERT_TRUE(original);
    const auto upright = (*original)->decode(std::nullopt);
    ASSERT_TRUE(upright);
    const auto copy = exported(path("scan.heic"));
    ASSERT_TRUE(copy);
    EXPECT_EQ(copy->properties().pixelWidth, (*upright)->height);
    EXPECT_EQ(copy->properties().pixelHeight, (*upright)->width);
    const Bytes bytes = copy->metadata().exif;
    EXPECT_EQ(ExifBlock::parse(bytes)->text(ExifTable::exif, ExifTag::dateTimeOriginal),
              "1994:03:02 23:30:00");
}

TEST_F(RealFiles, ALocationHistoryIsReadFromAMappedFile) {
    std::ofstream(folder / "Records.json")
        << R"({"locations": [{"timestampMs":"1000","latitudeE7":1,"longitudeE7":1}]})";
    EXPECT_EQ(TakeoutService(files).parse(path("Records.json")).value().size(), 1u);
    std::ofstream(folder / "empty.json");
    EXPECT_EQ(TakeoutService(files).parse(path("empty.json")).error().code,
              TakeoutError::Code::invalidFormat);
}

}  // namespace
}  // namespace kelvaris

#include "platform_linux/vips_codec.h"

#include <fmt/format.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <vips/vips.h>

#include <cmath>
#include <filesystem>

#include "picture_files.h"
#include "platform_linux/row_reducer.h"
#include "platform_linux/vips_pixels.h"
#include "temporary_folder.h"

namespace kelvaris {
namespace {

using namespace testing;

class VipsCodecTest : public ::testing::Test {
protected:
    std::unique_ptr<ImageSource> opened(const Path& path) {
        auto source = codec_->open(path);
        EXPECT_TRUE(source) << path.string() << ": " << (source ? "" : source.error().message);
        return source ? std::move(*source) : nullptr;
    }
    Image decoded(const Path& path, std::optional<int> size = std::nullopt) {
        const auto source = opened(path);
        if (!source) return nullptr;
        auto image = source->decode(size);
        EXPECT_TRUE(image) << path.string() << ": " << (image ? "" : image.error().message);
        return image ? *image : nullptr;
    }
    bool decodes(const Path& path, std::optional<int> size) {
        const auto source = codec_->open(path);
        return source && (*source)->decode(size);
    }

    std::unique_ptr<VipsImageCodec> codec_ = VipsImageCodec::make();
    TemporaryFolder temporary_;
    const Path folder_ = temporary_.path();
};

void expectNear(const Colour& actual, const Colour& expected, int tolerance) {
    for (std::size_t i = 0; i < 3; ++i) EXPECT_NEAR(actual[i], expected[i], tolerance) << "channel " << i;
}

void expectAlike(const Bitmap& actual, const Bitmap& expected, int tolerance) {
    ASSERT_EQ(actual.width, expected.width);
    ASSERT_EQ(actual.height, expected.height);
    ASSERT_EQ(actual.channels, expected.channels);
    int worst = 0;
    for (std::size_t i = 0; i < actual.pixels.size(); ++i) {
        worst = std::max(worst, std::abs(actual.pixels[i] - expected.pixels[i]));
    }
    EXPECT_LE(worst, tolerance);
}

TEST_F(VipsCodecTest, EveryFormatComesUprightAtFullAndAtBoundedSize) {
    struct Row {
        int orientation;
        Colour topLeft, topRight;
    };
    const std::array rows{Row{0, red, green},   Row{1, red, green},    Row{2, green, red},
                          Row{3, yellow, blue}, Row{4, blue, yellow},  Row{5, red, blue},
                          Row{6, blue, red},    Row{7, yellow, green}, Row{8, green, yellow}};
    for (const std::string ending : {"jpg", "png", "tif"}) {
        for (const Row& row : rows) {
            SCOPED_TRACE(ending + " " + std::to_string(row.orientation));
            const Path path = folder_ / ("turned." + ending);
            savePicture(quarters(240, 160), path.string(), row.orientation);
            for (const auto& size : {std::optional<int>(), std::optional<int>(60)}) {
                const Image image = decoded(path, size);
                ASSERT_TRUE(image);
                EXPECT_EQ(image->longSide(), size.value_or(240));
                EXPECT_EQ(image->width > image->height, row.orientation < 5);
                expectNear(colourAt(*image, 0.25, 0.25), row.topLeft, 12);
                expectNear(colourAt(*image, 0.75, 0.25), row.topRight, 12);
            }
        }
    }
}

TEST_F(VipsCodecTest, HeicIsNotTurnedTwice) {
    const Path path = folder_ / "turned.heic";
    savePicture(quarters(240, 160), path.string(), 6);
    const auto source = opened(path);
    ASSERT_TRUE(source);
    EXPECT_TRUE(source->properties().decodesUpright);
    EXPECT_FALSE(source->properties().orientation);
    const auto image = source->decode(80);
    ASSERT_TRUE(image);
    EXPECT_EQ((*image)->width > (*image)->height,
              source->properties().pixelWidth > source->properties().pixelHeight);
    EXPECT_FALSE(source->metadata().exif.empty());
    EXPECT_NE(asText(source->metadata().exif).substr(0, 4), "Exif");
}

TEST_F(VipsCodecTest, DirectlyShrunkScansLookLikeTheLibrarysOwn) {
    const Bitmap picture = photograph(403, 301);
    const Path packed = folder_ / "packed.png";
    savePicture(picture, packed.string());
    const Image expected = decoded(packed, 80);
    for (const TiffOptions& options :
         {TiffOptions{}, TiffOptions{.bigEndian = true}, TiffOptions{.rowsPerStrip = 1000},
          TiffOptions{.samples = 4}, TiffOptions{.samples = 4, .extraSamples = 0, .rowsPerStrip = 1}}) {
        SCOPED_TRACE(fmt::format("{} samples, kind {}, {} rows a strip, big endian {}", options.samples,
                                 options.extraSamples, options.rowsPerStrip, options.bigEndian));
        const Path path = folder_ / "scan.tif";
        writeBytes(path, tiff16(picture, options));
        const Image image = decoded(path, 80);
        ASSERT_TRUE(image);
        expectAlike(*image, *expected, 3);
        expectAlike(*decoded(path), picture, 1);
    }
}

TEST_F(VipsCodecTest, LargeJpegIsReducedALittleWhileItIsRead) {
    const Path path = folder_ / "large.jpg";
    savePicture(photograph(2700, 1500), path.string() + "[Q=95]", 6);
    const Image full = decoded(path);
    const Image reduced = decoded(path, 2100);
    ASSERT_TRUE(full && reduced);
    ASSERT_EQ(full->height, 2700);
    RowReducer reducer(full->width, full->height, 3, 1167, 2100);
    const std::size_t rowSize = static_cast<std::size_t>(full->width) * 3;
    for (int y = 0; y < full->height; ++y) {
        reducer.add(full->pixels.data() + static_cast<std::size_t>(y) * rowSize);
    }
    expectAlike(*reduced, Bitmap{1167, 2100, 3, reducer.takeResult()}, 3);

    Bytes bytes = readBytes(path);
    bytes.resize(bytes.size() / 2);
    writeBytes(path, bytes);
    EXPECT_FALSE(decodes(path, 2100));
}

TEST_F(VipsCodecTest, AlphaIsLaidOnWhiteAndInfraredIsNot) {
    const Bitmap picture = quarters(40, 40);
    for (const int size : {40, 10}) {
        writeBytes(folder_ / "alpha.tif", tiff16(picture, {.samples = 4, .extraSamples = 2}));
        const Image image = decoded(folder_ / "alpha.tif", size);
        ASSERT_TRUE(image);
        ASSERT_EQ(image->channels, 3);
        expectNear(colourAt(*image, 0.2, 0.2), {242, 137, 137}, 3);
        writeBytes(folder_ / "infrared.tif", tiff16(picture, {.samples = 4, .extraSamples = 0}));
        expectNear(colourAt(*decoded(folder_ / "infrared.tif", size), 0.2, 0.2), red, 1);
    }
}

/// Saves the bitmap after a conversion by the library.
template <class Conversion>
void saveConverted(const Bitmap& bitmap, const Path& path, Conversion&& conversion) {
    const auto plain = borrowed(bitmap);
    const auto converted = vipsResult([&](VipsImage** out) { return conversion(plain.get(), out); });
    ASSERT_TRUE(converted) << takeVipsErrors();
    ASSERT_EQ(vips_image_write_to_file(converted.get(), path.string().c_str(), nullptr), 0)
        << takeVipsErrors();
}

TEST_F(VipsCodecTest, ForeignColoursBecomeTheSameColoursInSrgb) {
    const Bitmap picture = quarters(64, 48);
    const auto expectSame = [&](const Path& path, int tolerance) {
        for (const int size : {64, 16}) {
            SCOPED_TRACE(path.filename() + " " + std::to_string(size));
            const Image image = decoded(path, size);
            ASSERT_TRUE(image);
            expectNear(colourAt(*image, 0.25, 0.25), red, tolerance);
            expectNear(colourAt(*image, 0.75, 0.75), yellow, tolerance);
        }
    };
    saveConverted(picture, folder_ / "p3.png", [](VipsImage* in, VipsImage** out) {
        return vips_icc_transform(in, out, "p3", "input_profile", "srgb", nullptr);
    });
    expectSame(folder_ / "p3.png", 4);
    saveConverted(picture, folder_ / "p3.tif", [](VipsImage* in, VipsImage** out) {
        return vips_icc_transform(in, out, "p3", "input_profile", "srgb", "depth", 16, nullptr);
    });
    expectSame(folder_ / "p3.tif", 4);
    saveConverted(picture, folder_ / "lab.tif", [](VipsImage* in, VipsImage** out) {
        return vips_colourspace(in, out, VIPS_INTERPRETATION_LAB, nullptr);
    });
    expectSame(folder_ / "lab.tif", 4);
    saveConverted(picture, folder_ / "linear.tif", [](VipsImage* in, VipsImage** out) {
        return vips_colourspace(in, out, VIPS_INTERPRETATION_scRGB, nullptr);
    });
    expectSame(folder_ / "linear.tif", 2);
    // The printable colours are fewer: red stays red, no more.
    saveConverted(picture, folder_ / "cmyk.jpg", [](VipsImage* in, VipsImage** out) {
        return vips_icc_transform(in, out, "cmyk", "input_profile", "srgb", nullptr);
    });
    expectSame(folder_ / "cmyk.jpg", 60);
}

TEST_F(VipsCodecTest, GreyKeepsItsLevelsAndItsOneChannel) {
    Bitmap grey{64, 64, 1, Bytes(64 * 64, 128)};
    savePicture(grey, (folder_ / "grey.jpg").string());
    saveConverted(grey, folder_ / "grey.tif", [](VipsImage* in, VipsImage** out) {
        return vips_colourspace(in, out, VIPS_INTERPRETATION_GREY16, nullptr);
    });
    for (const std::string name : {"grey.jpg", "grey.tif"}) {
        for (const int size : {64, 20}) {
            const Image image = decoded(folder_ / name, size);
            ASSERT_TRUE(image);
            EXPECT_EQ(image->channels, 1);
            expectNear(colourAt(*image, 0.5, 0.5), {128, 128, 128}, 1);
        }
    }
}

TEST_F(VipsCodecTest, SmallPictureInsideIsTurnedAndNeverInvented) {
    const Bitmap picture = quarters(400, 300);
    const auto small = codec_->reduced(std::make_shared<const Bitmap>(picture), 160);
    ASSERT_TRUE(small);
    const Bytes thumbnail = *codec_->encodeJpeg(**small, 0.8);
    writeBytes(folder_ / "with.jpg", jpegWith(picture, {{0xE1, exifPayload(6, thumbnail)}}));
    const auto source = opened(folder_ / "with.jpg");
    ASSERT_TRUE(source);
    EXPECT_EQ(source->properties().orientation, 6);
    for (const int size : {300, 100}) {
        const auto image = source->embeddedThumbnail(size);
        ASSERT_TRUE(image);
        EXPECT_EQ((*image)->height, std::min(size, 160));
        expectNear(colourAt(**image, 0.25, 0.25), blue, 12);
    }
    writeBytes(folder_ / "without.jpg", jpegWith(picture, {{0xE1, exifPayload(1, {})}}));
    savePicture(picture, (folder_ / "plain.png").string());
    savePicture(picture, (folder_ / "plain.heic").string());
    for (const std::string name : {"without.jpg", "plain.png", "plain.heic"}) {
        const auto none = opened(folder_ / name)->embeddedThumbnail(300);
        ASSERT_FALSE(none) << name;
        EXPECT_EQ(none.error().code, ImageError::Code::absent);
    }
}

TEST_F(VipsCodecTest, WhatIsNoPictureIsRefusedWithItsReason) {
    using Code = ImageError::Code;
    writeBytes(folder_ / "empty.jpg", {});
    writeBytes(folder_ / "text.jpg", asBytes("no picture at all, but some words"));
    std::filesystem::create_directory((folder_ / "folder.jpg").string());
    std::filesystem::create_symlink("gone.jpg", (folder_ / "dangling.jpg").string());
    ASSERT_EQ(::mkfifo((folder_ / "pipe.jpg").string().c_str(), 0600), 0);
    // A PNG whose header alone claims 40,000 by 40,000 interlaced pixels.
    savePicture(quarters(16, 16), (folder_ / "huge.png").string() + "[interlace]");
    Bytes huge = readBytes(folder_ / "huge.png");
    for (const std::size_t at : {16U, 20U}) {
        huge[at] = huge[at + 1] = 0;
        huge[at + 2] = 0x9C;
        huge[at + 3] = 0x40;
    }
    const std::uint32_t crc = pngChecksum(ByteView(huge).subspan(12, 17));
    for (std::size_t i = 0; i < 4; ++i) huge[29 + i] = static_cast<std::uint8_t>(crc >> (24 - 8 * i));
    writeBytes(folder_ / "huge.png", huge);

    const std::vector<std::pair<std::string, Code>> rows{
        {"absent.jpg", Code::unreadable}, {"empty.jpg", Code::notAnImage},    {"text.jpg", Code::notAnImage},
        {"folder.jpg", Code::unreadable}, {"dangling.jpg", Code::unreadable}, {"pipe.jpg", Code::unreadable},
        {"huge.png", Code::tooLarge}};
    for (const auto& [name, code] : rows) {
        const auto source = codec_->open(folder_ / name);
        ASSERT_FALSE(source) << name;
        EXPECT_EQ(source.error().code, code) << name << ": " << source.error().message;
        EXPECT_FALSE(source.error().message.empty());
    }
}

TEST_F(VipsCodecTest, TruncatedFilesGiveNoPicture) {
    const Bitmap picture = photograph(200, 150);
    for (const std::string name :
         {"cut.jpg", "cut.jpg[interlace]", "cut.png", "cut.png[interlace]", "cut.tif",
          "cut.tif[compression=lzw]", "cut.tif[tile,compression=deflate]", "cut.heic"}) {
        SCOPED_TRACE(name);
        const Path path = folder_ / name.substr(0, name.find('['));
        savePicture(picture, (folder_ / name).string());
        const Bytes whole = readBytes(path);
        EXPECT_TRUE(decodes(path, 40));
        for (std::size_t percent = 0; percent <= 95; percent += 5) {
            writeBytes(path, ByteView(whole).first(whole.size() * percent / 100));
            EXPECT_FALSE(decodes(path, std::nullopt)) << percent << " of 100";
            EXPECT_FALSE(decodes(path, 40)) << percent << " of 100, bounded";
        }
        std::filesystem::remove(path.string());
    }
    const Bytes scan = tiff16(picture);
    writeBytes(folder_ / "cut.tif", ByteView(scan).first(scan.size() - 100));
    EXPECT_FALSE(decodes(folder_ / "cut.tif", 40));
}

TEST_F(VipsCodecTest, LiesAndDamageNeverCrash) {
    const Bitmap picture = photograph(120, 90);
    // Every byte of the header in turn, and a sample of the rest.
    for (const std::string name : {"x.jpg", "x.png", "x.tif[compression=lzw]", "x.heic"}) {
        const Path path = folder_ / name.substr(0, name.find('['));
        savePicture(picture, (folder_ / name).string(), 6);
        const Bytes whole = readBytes(path);
        const std::size_t step = std::max<std::size_t>(1, whole.size() / 40);
        for (std::size_t at = 0; at < whole.size(); at += at < 30 ? 1 : step) {
            Bytes damaged = whole;
            damaged[at] ^= static_cast<std::uint8_t>(1U << at % 8 | 0x80);
            writeBytes(path, damaged);
            if (const auto source = codec_->open(path)) {
                (void)(*source)->metadata();
                (void)(*source)->embeddedThumbnail(60);
                (void)(*source)->decode(60);
            }
        }
    }
}

TEST_F(VipsCodecTest, JpegThatClaimsMoreThanItHoldsGivesNoPicture) {
    for (const std::string saver : {"", "[interlace]"}) {
        savePicture(photograph(120, 90), (folder_ / "liar.jpg").string() + saver);
        Bytes liar = readBytes(folder_ / "liar.jpg");
        for (std::size_t at = 0; at + 9 < liar.size(); ++at) {
            if (liar[at] != 0xFF || (liar[at + 1] != 0xC0 && liar[at + 1] != 0xC2)) continue;
            liar[at + 5] = 4;  // the height's upper byte
            break;
        }
        writeBytes(folder_ / "liar.jpg", liar);
        EXPECT_EQ(opened(folder_ / "liar.jpg")->properties().pixelHeight, 4 * 256 + 90);
        EXPECT_FALSE(decodes(folder_ / "liar.jpg", 80));
        EXPECT_FALSE(decodes(folder_ / "liar.jpg", std::nullopt));
    }
}

TEST_F(VipsCodecTest, EncodedAndReducedPicturesKeepTheirShape) {
    const auto picture = std::make_shared<const Bitmap>(quarters(801, 533));
    const auto reduced = codec_->reduced(picture, 300);
    ASSERT_TRUE(reduced);
    EXPECT_EQ((*reduced)->width, 300);
    EXPECT_EQ((*reduced)->height, 200);
    EXPECT_EQ(codec_->reduced(picture, 801).value(), picture);
    const Bytes best = *codec_->encodeJpeg(*picture, 1);
    EXPECT_LT(codec_->encodeJpeg(*picture, 0.2)->size(), best.size());
    writeBytes(folder_ / "best.jpg", best);
    expectAlike(*decoded(folder_ / "best.jpg"), *picture, 8);
}

}  // namespace
}  // namespace kelvaris

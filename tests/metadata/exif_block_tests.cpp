#include "metadata/exif_block.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "block_maker.h"
#include "metadata/exif_date.h"
#include "metadata/exif_editor.h"
#include "metadata/jpeg_segments.h"
#include "metadata/tiff_metadata.h"

namespace kelvaris {
namespace {

using testing::BlockMaker;
using testing::CameraBlock;
using enum ExifTable;

class ExifBlockOrders : public ::testing::TestWithParam<ByteOrder> {};
INSTANTIATE_TEST_SUITE_P(Both, ExifBlockOrders, ::testing::Values(ByteOrder::little, ByteOrder::big));

Bytes slice(const Bytes& bytes, std::size_t begin, std::size_t end) {
    return {bytes.begin() + static_cast<std::ptrdiff_t>(begin),
            bytes.begin() + static_cast<std::ptrdiff_t>(end)};
}

TEST_P(ExifBlockOrders, ReadsTextsNumbersAndPlaces) {
    const CameraBlock camera(GetParam());
    const auto block = ExifBlock::parse(camera.bytes);
    ASSERT_TRUE(block);
    EXPECT_EQ(block->text(image, ExifTag::make), "Rollei Werke");
    EXPECT_EQ(block->text(exif, ExifTag::dateTimeOriginal), "1994:03:02 23:30:00");
    EXPECT_EQ(block->integer(image, ExifTag::orientation), 6u);
    EXPECT_DOUBLE_EQ(block->degrees(gps, ExifTag::gpsLatitude).value(), 33.5);
    EXPECT_DOUBLE_EQ(block->degrees(gps, ExifTag::gpsLongitude).value(), 151.205);
}

TEST_P(ExifBlockOrders, EditingLeavesEveryOldByteOutsideTheThumbnailWhereItWas) {
    for (const bool thumbnailAmid : {false, true}) {
        const CameraBlock camera(GetParam(), thumbnailAmid);
        const auto source = ExifBlock::parse(camera.bytes);
        ExifEditor editor(*source);
        editor.removeStructure();
        editor.setText(image, ExifTag::make, "A maker with a longer name than before");
        editor.setShort(image, ExifTag::orientation, 1);
        editor.setLong(exif, ExifTag::pixelXDimension, 123456);
        const auto [edited, dropped] = editor.edited(maximumExifBlock);
        EXPECT_TRUE(dropped.empty());

        const std::size_t thumbnailEnd = camera.thumbnailAt + CameraBlock::thumbnail.size();
        EXPECT_EQ(slice(edited, camera.makerTarget,
                        camera.thumbnailAt < camera.makerTarget ? camera.secondTable : camera.thumbnailAt),
                  slice(camera.bytes, camera.makerTarget,
                        camera.thumbnailAt < camera.makerTarget ? camera.secondTable : camera.thumbnailAt));
        EXPECT_THAT(std::string(asText(edited)), ::testing::Not(::testing::HasSubstr("THUMBNAIL")));
        EXPECT_LT(edited.size(), camera.bytes.size() + 120) << "the thumbnail's room is used";
        EXPECT_GT(thumbnailEnd, camera.thumbnailAt);

        const auto block = ExifBlock::parse(edited);
        ASSERT_TRUE(block);
        EXPECT_EQ(block->order(), GetParam());
        EXPECT_EQ(block->text(image, ExifTag::make), "A maker with a longer name than before");
        EXPECT_EQ(block->integer(image, ExifTag::orientation), 1u);
        EXPECT_EQ(block->integer(exif, ExifTag::pixelXDimension), 123456u);
        EXPECT_EQ(block->text(exif, ExifTag::dateTimeOriginal), "1994:03:02 23:30:00");
        EXPECT_DOUBLE_EQ(block->degrees(gps, ExifTag::gpsLatitude).value(), 33.5);
        EXPECT_FALSE(block->find(image, 0x0100)) << "the stored picture's width is no longer true";
        EXPECT_TRUE(block->find(image, 0xC4A5)) << "tags of unknown types stay";
        EXPECT_TRUE(block->thumbnailRanges().empty());
        const ExifEntry* note = block->find(exif, ExifTag::makerNote);
        ASSERT_TRUE(note);
        EXPECT_EQ(note->value.data(), edited.data() + camera.makerNote);
    }
}

TEST_P(ExifBlockOrders, TablesAreWrittenInAscendingOrderOfTags) {
    const CameraBlock camera(GetParam());
    ExifEditor editor(*ExifBlock::parse(camera.bytes));
    editor.setText(image, ExifTag::copyright, "x");
    editor.setText(image, ExifTag::artist, "y");
    for (const Bytes& bytes :
         {editor.edited(maximumExifBlock).block, editor.rebuilt(maximumExifBlock).block}) {
        const auto block = ExifBlock::parse(bytes);
        ASSERT_TRUE(block);
        for (const ExifTable table : {image, exif, gps}) {
            EXPECT_TRUE(std::ranges::is_sorted(block->entries(table), {}, &ExifEntry::tag));
        }
    }
}

TEST_P(ExifBlockOrders, OverTheLimitTheLargestOldValuesGoAndTheMakerNoteKeepsItsPlaceWhenItFits) {
    // A long profile-like value beside a maker note: together too long, the maker note alone is not.
    BlockMaker maker(GetParam());
    const std::size_t note = maker.add(std::string(20'000, 'n'));
    const std::size_t other = maker.add(std::string(50'000, 'o'));
    const std::size_t table =
        maker.addTable({{0x9286, 7, 50'000, other}, {ExifTag::makerNote, 7, 20'000, note}});
    maker.setFirstTable(maker.addTable({{ExifTag::exifTable, 4, 1, table}}));
    ExifEditor editor(*ExifBlock::parse(maker.bytes));
    editor.setText(image, ExifTag::artist, "Someone");
    const auto [bytes, dropped] = editor.edited(maximumExifBlock);
    EXPECT_THAT(dropped, ::testing::ElementsAre(0x9286));
    EXPECT_LE(bytes.size(), maximumExifBlock);
    const auto block = ExifBlock::parse(bytes);
    ASSERT_TRUE(block);
    ASSERT_TRUE(block->find(exif, ExifTag::makerNote));
    EXPECT_EQ(block->find(exif, ExifTag::makerNote)->value.data(), bytes.data() + note);
    EXPECT_EQ(block->text(image, ExifTag::artist), "Someone");
}

TEST_P(ExifBlockOrders, CommentsBeyondAsciiAreUtf16InTheBlocksOrder) {
    ExifEditor editor(GetParam());
    editor.setComment("Foma\u00e9 \U0001F39E");
    const Bytes bytes = editor.edited(maximumExifBlock).block;
    const auto block = ExifBlock::parse(bytes);
    const ExifEntry* comment = block->find(exif, ExifTag::userComment);
    ASSERT_TRUE(comment);
    const bool isLittle = GetParam() == ByteOrder::little;
    EXPECT_EQ(asText(comment->value.first(10)),
              std::string_view(isLittle ? "UNICODE\0F\0" : "UNICODE\0\0F", 10));
    EXPECT_EQ(comment->value.size(), 8u + 2 * 8);

    editor.setComment("Foma");
    const Bytes plain = editor.edited(maximumExifBlock).block;
    EXPECT_EQ(asText(ExifBlock::parse(plain)->find(exif, ExifTag::userComment)->value),
              std::string_view("ASCII\0\0\0Foma", 12));
}

// Every cut and every changed byte must leave a block that can be read and edited, or none.
TEST_P(ExifBlockOrders, DamagedBlocksAreReadAndEditedWithoutHarm) {
    const CameraBlock camera(GetParam(), true);
    const auto tryOut = [](const Bytes& bytes) {
        const auto block = ExifBlock::parse(bytes);
        if (!block) return;
        block->text(exif, ExifTag::dateTimeOriginal);
        block->degrees(gps, ExifTag::gpsLatitude);
        ExifEditor editor(*block);
        editor.removeStructure();
        editor.setShort(image, ExifTag::orientation, 1);
        editor.setComment("film");
        const Bytes edited = editor.edited(maximumExifBlock).block;
        const auto again = ExifBlock::parse(edited);
        ASSERT_TRUE(again);
        EXPECT_EQ(again->integer(image, ExifTag::orientation), 1u);
        ASSERT_TRUE(again->find(exif, ExifTag::userComment));
    };
    for (std::size_t length = 0; length < camera.bytes.size(); ++length)
        tryOut(slice(camera.bytes, 0, length));
    for (std::size_t at = 0; at < camera.bytes.size(); ++at) {
        for (const std::uint8_t value : {0x00, 0x01, 0x08, 0x7F, 0xFF}) {
            Bytes bytes = camera.bytes;
            bytes[at] = value;
            tryOut(bytes);
        }
    }
}

TEST(ExifBlock, TablesThatPointAtThemselvesEnd) {
    BlockMaker maker(ByteOrder::little);
    maker.addTable({{ExifTag::exifTable, 4, 1, 8}, {ExifTag::gpsTable, 4, 1, 8}}, 8);
    const auto block = ExifBlock::parse(maker.bytes);
    ASSERT_TRUE(block);
    EXPECT_TRUE(block->thumbnailRanges().empty()) << "what the first table occupies is no thumbnail";
    EXPECT_TRUE(ExifBlock::parse(ExifEditor(*block).edited(maximumExifBlock).block));
    readTiffMetadata(ViewByteSource(maker.bytes));
}

TEST(ExifBlock, DegreesWithoutADenominatorAreNone) {
    BlockMaker maker(ByteOrder::big);
    const std::size_t none = maker.addFractions({{33, 0}, {0, 1}, {0, 1}});
    const std::size_t half = maker.addFractions({{33, 1}, {5, 0}, {0, 1}});
    const std::size_t table = maker.addTable({{2, 5, 3, none}, {4, 5, 3, half}});
    maker.setFirstTable(maker.addTable({{ExifTag::gpsTable, 4, 1, table}}));
    const auto block = ExifBlock::parse(maker.bytes);
    EXPECT_FALSE(block->degrees(gps, 2));
    EXPECT_FALSE(block->degrees(gps, 4));
}

TEST_P(ExifBlockOrders, ATiffsBlockHasItsDescriptionsWithoutTheLayoutOfItsPixels) {
    BlockMaker maker(GetParam());
    maker.bytes.resize(200'000, 0x77);  // strips in front push everything beyond 64 KB
    const std::size_t make = maker.add(std::string_view("Scanner Maker\0", 14));
    const std::size_t iptc = maker.add("\x1C\x02\x05");
    const std::size_t date = maker.add(std::string_view("1994:03:02 23:30:00\0", 20));
    const std::size_t interoperability = maker.addTable({{1, 2, 4, 'R', 1}});
    const std::size_t exifPlace = maker.addTable(
        {{ExifTag::dateTimeOriginal, 2, 20, date}, {ExifTag::interoperabilityTable, 4, 1, interoperability}});
    maker.setFirstTable(maker.addTable({{0x0100, 4, 1, 4000},
                                        {ExifTag::make, 2, 14, make},
                                        {0x0111, 4, 1, 8},
                                        {ExifTag::orientation, 3, 1, 3, 2},
                                        {0x0117, 4, 1, 190'000},
                                        {ExifTag::iptc, 7, 3, iptc, 3},
                                        {ExifTag::exifTable, 4, 1, exifPlace}}));
    const auto tiff = readTiffMetadata(ViewByteSource(maker.bytes));
    EXPECT_LT(tiff.exif.size(), 300u);
    const auto block = ExifBlock::parse(tiff.exif);
    ASSERT_TRUE(block);
    EXPECT_EQ(block->text(image, ExifTag::make), "Scanner Maker");
    EXPECT_EQ(block->text(exif, ExifTag::dateTimeOriginal), "1994:03:02 23:30:00");
    EXPECT_EQ(block->entries(interoperability == 0 ? exif : ExifTable::interoperability).size(), 1u);
    EXPECT_FALSE(block->find(image, 0x0100));
    EXPECT_FALSE(block->find(image, 0x0111));
    EXPECT_EQ(tiff.iptc.size(), 3u);
}

TEST(ExifDate, ReadsWhatScannersWrite) {
    struct Row {
        std::string_view text;
        std::optional<CivilTime> reading;
    };
    const Row rows[] = {
        {"1994:03:02 23:30:05", CivilTime{1994, 3, 2, 23, 30, 5}},
        {std::string_view("1994:03:02 23:30:05\0 ", 21), CivilTime{1994, 3, 2, 23, 30, 5}},
        {"1994:3:2 9:05:00", CivilTime{1994, 3, 2, 9, 5, 0}},
        {"0000:00:00 00:00:00", std::nullopt},
        {"    :  :     :  :  ", std::nullopt},
        {"1994:02:29 10:00:00", std::nullopt},
        {"1994:03:02", std::nullopt},
        {"1994-03-02 23:30:05", std::nullopt},
        {"1994:03:02 24:00:00", std::nullopt},
        {"1994:03:02 23:30:05Z", std::nullopt},
        {"", std::nullopt},
    };
    for (const Row& row : rows) EXPECT_EQ(parseExifDate(row.text), row.reading) << row.text;
    EXPECT_EQ(exifDateText({1994, 3, 2, 9, 5, 0}), "1994:03:02 09:05:00");
}

TEST(Xmp, OrientationBecomesUprightInPlace) {
    const auto upright = [](std::string_view packet) {
        return std::string(asText(uprightXmp(asBytes(packet))));
    };
    EXPECT_EQ(upright(R"(<x tiff:Orientation="6" a="6"/>)"), R"(<x tiff:Orientation="1" a="6"/>)");
    EXPECT_EQ(upright("<tiff:Orientation>8</tiff:Orientation>"), "<tiff:Orientation>1</tiff:Orientation>");
    EXPECT_EQ(upright("tiff:Orientation = '3'"), "tiff:Orientation = '1'");
    EXPECT_EQ(upright(R"(tiff:Orientation="16")"), R"(tiff:Orientation="16")");
    EXPECT_EQ(upright("tiff:Orientation"), "tiff:Orientation");
}

}  // namespace
}  // namespace kelvaris

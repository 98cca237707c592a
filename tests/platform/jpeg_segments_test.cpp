#include "platform_linux/jpeg_segments.h"

#include <gtest/gtest.h>

namespace kelvaris {
namespace {

const std::string startOfImage = "\xFF\xD8";
const std::string startOfScan("\xFF\xDA\0\x02", 4);

std::string segment(std::uint8_t marker, const std::string& payload) {
    const std::size_t length = payload.size() + 2;
    return std::string{'\xFF', static_cast<char>(marker), static_cast<char>(length >> 8),
                       static_cast<char>(length)} +
           payload;
}

std::string profilePiece(char number, char count, const std::string& bytes) {
    return segment(0xE2, std::string("ICC_PROFILE\0", 12) + number + count + bytes);
}

MetadataBlocks read(const std::string& jpeg) { return readJpegMetadata(ViewByteSource(asBytes(jpeg))); }

std::string text(const Bytes& bytes) { return std::string(asText(bytes)); }

TEST(JpegSegmentsTest, EveryKindOfBlockIsKeptAsItStands) {
    const std::string extension = std::string("http://ns.adobe.com/xmp/extension/\0", 35) + "GUID";
    const std::string resources = std::string("Photoshop 3.0\0", 14) + "8BIM";
    const std::string large(60'000, 'i');
    const MetadataBlocks blocks =
        read(startOfImage + segment(0xE0, "JFIF") + profilePiece(2, 3, large) +
             segment(0xE1, std::string("Exif\0\0", 6) + "MM..") + "\xFF\xFF" +
             segment(0xE1, std::string("http://ns.adobe.com/xap/1.0/\0", 29) + "<x/>") +
             segment(0xE1, std::string("Exif\0\0", 6) + "a second one") + segment(0xE1, extension + "1") +
             segment(0xE1, extension + "2") + segment(0xED, resources) + segment(0xFE, "a comment") +
             segment(0xFE, "") + profilePiece(3, 3, "end") + profilePiece(1, 3, "start") + startOfScan +
             segment(0xFE, "behind the pixels"));
    EXPECT_EQ(text(blocks.exif), "MM..");
    EXPECT_EQ(text(blocks.xmp), "<x/>");
    ASSERT_EQ(blocks.extendedXmp.size(), 2U);
    EXPECT_EQ(text(blocks.extendedXmp[1]), extension + "2");
    ASSERT_EQ(blocks.photoshop.size(), 1U);
    EXPECT_EQ(text(blocks.photoshop[0]), resources);
    ASSERT_EQ(blocks.comments.size(), 2U);
    EXPECT_EQ(text(blocks.comments[0]), "a comment");
    EXPECT_EQ(text(blocks.icc), "start" + large + "end");
}

TEST(JpegSegmentsTest, DamageCostsOnlyWhatItHits) {
    // A profile with a piece missing is worse than none.
    EXPECT_TRUE(read(startOfImage + profilePiece(1, 2, "half") + startOfScan).icc.empty());
    EXPECT_TRUE(read(startOfImage + profilePiece(0, 1, "none") + startOfScan).icc.empty());
    EXPECT_TRUE(read(startOfImage + profilePiece(3, 1, "none") + startOfScan).icc.empty());

    const std::string whole = startOfImage + segment(0xFE, "first") + segment(0xFE, "second") + startOfScan;
    for (std::size_t size = 0; size <= whole.size(); ++size) {
        const MetadataBlocks blocks = read(whole.substr(0, size));
        EXPECT_EQ(blocks.comments.size(), size < 11 ? 0U : size < 21 ? 1U : 2U) << size;
    }
    EXPECT_EQ(read(startOfImage + "stray" + segment(0xFE, "found")).comments.size(), 1U);
    EXPECT_TRUE(read(startOfImage + std::string("\xFF\xFE\0\1", 4) + segment(0xFE, "lost")).comments.empty());
}

}  // namespace
}  // namespace kelvaris

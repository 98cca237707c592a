#include "base/text.h"

#include <gtest/gtest.h>

#include "base/path.h"
#include "base/uuid.h"

namespace kelvaris {
namespace {

TEST(TextTest, OnlyShortestFormsOfRealCharactersAreUtf8) {
    for (const std::string text :
         {"", "plain", "\xC3\xA9", "\xE2\x82\xAC", "\xF0\x9F\x8E\x9E", "\xEE\x80\x80"}) {
        EXPECT_TRUE(isValidUtf8(text)) << text;
    }
    for (const std::string text : {"\x80", "\xC0\xAF", "\xC1\xBF", "\xE0\x80\xAF", "\xED\xA0\x80",
                                   "\xF4\x90\x80\x80", "\xF5\x80\x80\x80", "\xE2\x82", "a\xFF"}) {
        EXPECT_FALSE(isValidUtf8(text));
    }
    EXPECT_EQ(replacingInvalidUtf8("a\xE2\x82z"), "a\xEF\xBF\xBD\xEF\xBF\xBDz");
}

TEST(TextTest, Base64ReadsBackEveryLengthAndRefusesForeignForms) {
    std::string bytes;
    for (int i = 0; i < 70; ++i) {
        const std::string encoded = base64Encoded(bytes);
        EXPECT_EQ(base64Decoded(encoded), bytes);
        bytes += static_cast<char>(i * 37);
    }
    for (const std::string text : {"A", "AAA", "A===", "AA=A", "AA A", "AAAA\n"}) {
        EXPECT_FALSE(base64Decoded(text)) << text;
    }
}

TEST(TextTest, NumbersAreReadWholeOrNotAtAll) {
    EXPECT_EQ(parseInteger("+42"), 42);
    EXPECT_EQ(parseInteger("-9223372036854775808"), INT64_MIN);
    for (const std::string text : {"", "+", "+-1", " 1", "1 ", "0x1", "9223372036854775808"}) {
        EXPECT_FALSE(parseInteger(text)) << text;
    }
    EXPECT_EQ(shortestDecimal(24), "24.0");
    EXPECT_EQ(shortestDecimal(0.1), "0.1");
}

TEST(PathTest, NamesAndExtensionsAreFoundAsUsersWriteThem) {
    EXPECT_EQ(Path("/scans/kyoto//").filename(), "kyoto");
    EXPECT_EQ(Path("/scans/IMG.1.JPG").extension(), "JPG");
    EXPECT_EQ(Path("/scans/IMG.1.JPG").stem(), "IMG.1");
    EXPECT_EQ(Path("/scans/.hidden").extension(), "");
    EXPECT_EQ(Path("/scans").parent(), Path("/"));
    EXPECT_EQ(Path("/").filename(), "/");
    EXPECT_EQ(Path("/") / "a" / "b", Path("/a/b"));
}

TEST(UuidTest, TextsAreCanonicalAndReadInEitherCase) {
    const Uuid uuid = Uuid::random();
    EXPECT_EQ(Uuid::parse(uuid.text()), uuid);
    EXPECT_EQ(Uuid::parse(asciiLowercased(uuid.text())), uuid);
    EXPECT_NE(Uuid::random(), uuid);
    for (const std::string text :
         {"", "01234567-89AB-CDEF-0123-456789ABCDE", "0123456789ABCDEF0123456789ABCDEF",
          "01234567-89AB-CDEF-0123-456789ABCDEG", "{1234567-89AB-CDEF-0123-456789ABCDE}"}) {
        EXPECT_FALSE(Uuid::parse(text)) << text;
    }
}

}  // namespace
}  // namespace kelvaris

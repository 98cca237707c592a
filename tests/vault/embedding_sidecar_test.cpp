#include "vault/embedding_sidecar.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace kelvaris {
namespace {

Bytes bytesOf(std::initializer_list<int> values) { return Bytes(values.begin(), values.end()); }

TEST(EmbeddingSidecar, StandsInItsExactByteForm) {
    const EmbeddingsByFilename embeddings = {{"\xC3\xA9", {std::nullopt, {{1.0f}, {}}}},
                                             {"a", {{{-2.0f}}, {}}}};
    const Bytes expected =
        bytesOf({'K', 'V', 'E', 'M', 1,    0,    0,    0,    2, 0, 0, 0,                    //
                 1,   0,   0,   0,   'a',  1,    0,    0,    0, 0, 0, 0, 0xC0, 0, 0, 0, 0,  //
                 2,   0,   0,   0,   0xC3, 0xA9, 0,    0,    0, 0, 2, 0, 0,    0,           //
                 1,   0,   0,   0,   0,    0,    0x80, 0x3F, 0, 0, 0, 0});
    EXPECT_EQ(EmbeddingSidecar::encode(embeddings), expected);
    EXPECT_EQ(EmbeddingSidecar::decode(expected), embeddings);
    EXPECT_EQ(EmbeddingSidecar::encode({}).size(), 12u);
    EXPECT_EQ(EmbeddingSidecar::decode(EmbeddingSidecar::encode({})), EmbeddingsByFilename());
}

TEST(EmbeddingSidecar, GivesNothingForAnyCutAndIgnoresWhatFollows) {
    EmbeddingsByFilename embeddings;
    embeddings["a.jpg"] = {std::vector<float>(512, 0.5f), {std::vector<float>(3, 1.0f), {}}};
    embeddings["b.jpg"] = {std::nullopt, {}};
    Bytes bytes = EmbeddingSidecar::encode(embeddings);
    for (std::size_t length = 0; length < bytes.size(); ++length) {
        EXPECT_FALSE(EmbeddingSidecar::decode(ByteView(bytes).first(length))) << length;
    }
    bytes.insert(bytes.end(), {1, 2, 3});
    EXPECT_EQ(EmbeddingSidecar::decode(bytes), embeddings);
}

TEST(EmbeddingSidecar, DoesNotTrustWhatItReads) {
    const Bytes good = EmbeddingSidecar::encode({{"ab", {{{1.0f}}, {}}}});
    const auto decodedWith = [&](std::size_t offset, std::initializer_list<int> values) {
        Bytes bytes = good;
        std::copy(values.begin(), values.end(), bytes.begin() + static_cast<std::ptrdiff_t>(offset));
        return EmbeddingSidecar::decode(bytes);
    };
    EXPECT_FALSE(decodedWith(0, {'k'}));
    EXPECT_FALSE(decodedWith(4, {2}));                        // a later version
    EXPECT_FALSE(decodedWith(8, {0xFF, 0xFF, 0xFF, 0xFF}));   // photos
    EXPECT_FALSE(decodedWith(12, {0xFF, 0xFF, 0xFF, 0xFF}));  // name length
    EXPECT_FALSE(decodedWith(16, {0xFF, 0xFE}));              // name not UTF-8
    EXPECT_FALSE(decodedWith(18, {0xFF, 0xFF, 0xFF, 0x3F}));  // floats
    EXPECT_FALSE(decodedWith(26, {0xFF, 0xFF, 0xFF, 0xFF}));  // faces
}

TEST(EmbeddingSidecar, TakesTheLaterOfTwoRecordsOfOneName) {
    Bytes bytes = EmbeddingSidecar::encode({{"a", {{{1.0f}}, {}}}, {"b", {{{2.0f}}, {}}}});
    for (auto& byte : bytes) byte = byte == 'b' ? 'a' : byte;
    const auto read = EmbeddingSidecar::decode(bytes);
    ASSERT_TRUE(read);
    EXPECT_EQ(*read, (EmbeddingsByFilename{{"a", {{{2.0f}}, {}}}}));
}

}  // namespace
}  // namespace kelvaris

#include <gtest/gtest.h>
#include <zlib.h>

#include "platform_fake/fake_compression.h"
#include "platform_fake/fake_digests.h"
#include "platform_linux/openssl_digests.h"
#include "platform_linux/zlib_compression.h"

namespace kelvaris {
namespace {

using Status = InflateStream::Status;

Bytes pattern(std::size_t size) {
    Bytes bytes(size);
    for (std::size_t i = 0; i < size; ++i) bytes[i] = static_cast<std::uint8_t>(i * 7 + i / 256);
    return bytes;
}

struct Decoded {
    Bytes bytes;
    Status status = Status::goesOn;
    std::size_t consumed = 0;
};

/// Feeds and empties a stream in pieces of those sizes until it ends or stands still.
Decoded decode(const Compression& compression, ByteView input, std::size_t inputPiece,
               std::size_t outputPiece) {
    const auto stream = compression.makeInflateStream();
    Bytes output(outputPiece);
    Decoded decoded;
    while (decoded.status == Status::goesOn) {
        const ByteView rest = input.subspan(decoded.consumed);
        const auto step = stream->process(rest.first(std::min(rest.size(), inputPiece)), output);
        decoded.consumed += step.consumed;
        decoded.bytes.insert(decoded.bytes.end(), output.begin(), output.begin() + step.produced);
        decoded.status = step.status;
        if (step.status == Status::goesOn && step.consumed == 0 && step.produced == 0) break;
    }
    return decoded;
}

TEST(CompressionContract, StreamsDecodeInPiecesAndKnowTheirEnd) {
    const FakeCompression fake;
    const ZlibCompression zlib;
    const Compression* const both[] = {&fake, &zlib};
    for (const Compression* compression : both) {
        for (const std::size_t size : {0u, 1u, 70'000u}) {
            const Bytes original = pattern(size);
            Bytes stream = storedDeflate(original);
            const std::size_t length = stream.size();
            stream.insert(stream.end(), {1, 2, 3});
            for (const std::size_t piece : {1u, 100u, 1'000'000u}) {
                const Decoded decoded = decode(*compression, stream, piece, 333);
                EXPECT_EQ(decoded.status, Status::finished);
                EXPECT_EQ(decoded.consumed, length) << "what follows is not part of it";
                EXPECT_EQ(decoded.bytes, original);
            }
            const Decoded cut = decode(*compression, ByteView(stream).first(length - 1), 100, 333);
            EXPECT_EQ(cut.status, Status::goesOn) << "it waits for more";
        }
        EXPECT_EQ(decode(*compression, pattern(100), 100, 100).status, Status::failed);
    }
}

TEST(ZlibCompression, ReadsCompressedStreams) {
    const Bytes original(1'000'000, 'k');
    Bytes stream(10'000);
    z_stream deflater{};
    ASSERT_EQ(deflateInit2(&deflater, 9, Z_DEFLATED, -15, 8, Z_DEFAULT_STRATEGY), Z_OK);
    deflater.next_in = const_cast<Bytef*>(original.data());
    deflater.avail_in = static_cast<uInt>(original.size());
    deflater.next_out = stream.data();
    deflater.avail_out = static_cast<uInt>(stream.size());
    ASSERT_EQ(deflate(&deflater, Z_FINISH), Z_STREAM_END);
    stream.resize(deflater.total_out);
    deflateEnd(&deflater);
    EXPECT_EQ(decode(ZlibCompression(), stream, 50, 65536).bytes, original);
}

TEST(DigestContract, PiecesDoNotMatterAndBytesDo) {
    const FakeDigests fake;
    const OpensslDigests openssl;
    const Digests* const both[] = {&fake, &openssl};
    for (const Digests* digests : both) {
        const auto hash = [&](std::initializer_list<std::string_view> pieces) {
            const auto digest = digests->makeSha256();
            for (const auto piece : pieces) digest->update(asBytes(piece));
            return digest->finish();
        };
        EXPECT_EQ(hash({"abc"}), hash({"a", "", "bc"}));
        EXPECT_NE(hash({"abc"}), hash({"abd"}));
        EXPECT_EQ(hash({}).size(), 64u);
        EXPECT_EQ(hash({"abc"}).find_first_not_of("0123456789abcdef"), std::string::npos);
    }
    const auto digest = openssl.makeSha256();
    digest->update(asBytes("abc"));
    EXPECT_EQ(digest->finish(), "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad");
}

}  // namespace
}  // namespace kelvaris

#pragma once

#include <memory>
#include <span>

#include "base/bytes.h"
#include "models/download_error.h"
#include "platform/compression.h"

namespace kelvaris {

/// Bytes that come in order. One thread at a time.
class ByteStream {
public:
    virtual ~ByteStream() = default;
    /// Fills the front of the target. @return how much; 0 at the end, and only there.
    virtual DownloadResult<std::size_t> read(std::span<std::uint8_t> target) = 0;
};

/// What the first member of a gzip file (RFC 1952) holds. Its check sum and length, and whatever follows
/// it, are not looked at: an archive whose hash is known was checked as a whole before.
class GzipReader final : public ByteStream {
public:
    /// @param archive must outlive the reader.
    /// @return invalidArchive without a gzip header; extractionFailed without a decompressor.
    static DownloadResult<std::unique_ptr<GzipReader>> open(ByteView archive, const Compression& compression);

    /// extractionFailed for damaged bytes, and when they end before the stream does.
    DownloadResult<std::size_t> read(std::span<std::uint8_t> target) override;

private:
    GzipReader(ByteView deflated, std::unique_ptr<InflateStream> stream)
        : rest_(deflated), stream_(std::move(stream)) {}

    ByteView rest_;
    std::unique_ptr<InflateStream> stream_;
    bool isFinished_ = false;
};

/// Whether the bytes begin as a gzip file does.
bool hasGzipMagic(ByteView bytes);

}  // namespace kelvaris

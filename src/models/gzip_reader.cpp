#include "models/gzip_reader.h"

#include <algorithm>
#include <optional>

namespace kelvaris {

namespace {

constexpr std::size_t fixedHeaderSize = 10;
constexpr std::uint8_t hasHeaderSum = 1 << 1;
constexpr std::uint8_t hasExtraField = 1 << 2;
constexpr std::uint8_t hasName = 1 << 3;
constexpr std::uint8_t hasComment = 1 << 4;
constexpr std::size_t pieceSize = 65536;

/// Drops bytes from the front; nothing when there are fewer.
std::optional<ByteView> without(ByteView bytes, std::size_t count) {
    if (count > bytes.size()) return std::nullopt;
    return bytes.subspan(count);
}

std::optional<ByteView> withoutText(ByteView bytes) {
    const auto end = std::find(bytes.begin(), bytes.end(), 0);
    if (end == bytes.end()) return std::nullopt;
    return bytes.subspan(static_cast<std::size_t>(end - bytes.begin()) + 1);
}

/// What follows the member's header.
std::optional<ByteView> withoutHeader(ByteView archive) {
    if (archive.size() < fixedHeaderSize || !hasGzipMagic(archive)) return std::nullopt;
    const std::uint8_t flags = archive[3];
    std::optional<ByteView> rest = archive.subspan(fixedHeaderSize);
    if (flags & hasExtraField) {
        if (rest->size() < 2) return std::nullopt;
        rest = without(*rest, 2u + ((*rest)[0] | (*rest)[1] << 8));
    }
    if (rest && (flags & hasName)) rest = withoutText(*rest);
    if (rest && (flags & hasComment)) rest = withoutText(*rest);
    if (rest && (flags & hasHeaderSum)) rest = without(*rest, 2);
    return rest;
}

}  // namespace

bool hasGzipMagic(ByteView bytes) { return bytes.size() >= 2 && bytes[0] == 0x1F && bytes[1] == 0x8B; }

DownloadResult<std::unique_ptr<GzipReader>> GzipReader::open(ByteView archive,
                                                             const Compression& compression) {
    const auto deflated = withoutHeader(archive);
    if (!deflated) return Unexpected(DownloadError{DownloadError::Code::invalidArchive});
    auto stream = compression.makeInflateStream();
    if (!stream) return extractionFailure("Failed to initialize decompressor");
    return std::unique_ptr<GzipReader>(new GzipReader(*deflated, std::move(stream)));
}

DownloadResult<std::size_t> GzipReader::read(std::span<std::uint8_t> target) {
    while (!isFinished_) {
        const auto step = stream_->process(rest_.first(std::min(rest_.size(), pieceSize)), target);
        rest_ = rest_.subspan(step.consumed);
        if (step.status == InflateStream::Status::failed) return extractionFailure("Decompression error");
        isFinished_ = step.status == InflateStream::Status::finished;
        if (step.produced > 0) return step.produced;
        if (!isFinished_ && step.consumed == 0)
            return extractionFailure("Decompression error: the archive is cut");
    }
    return std::size_t{0};
}

}  // namespace kelvaris

#include "platform_linux/jpeg_segments.h"

#include <array>
#include <map>
#include <optional>
#include <string_view>

namespace kelvaris {
namespace {

using namespace std::string_view_literals;

constexpr std::uint64_t headerLimit = 64 * 1024 * 1024;
constexpr std::string_view exifName = "Exif\0\0"sv;
constexpr std::string_view xmpName = "http://ns.adobe.com/xap/1.0/\0"sv;
constexpr std::string_view extendedXmpName = "http://ns.adobe.com/xmp/extension/\0"sv;
constexpr std::string_view profileName = "ICC_PROFILE\0"sv;

enum Marker : std::uint8_t {
    temporary = 0x01,
    firstRestart = 0xD0,
    startOfImage = 0xD8,
    endOfImage = 0xD9,
    startOfScan = 0xDA,
    application1 = 0xE1,
    application2 = 0xE2,
    application13 = 0xED,
    comment = 0xFE,
};

/// Reads forward through a window, since segments are many and small.
class Cursor {
public:
    explicit Cursor(const ByteSource& file) : file_(file), end_(std::min(file.size(), headerLimit)) {}

    std::optional<std::uint8_t> next() {
        if (position_ >= windowStart_ + windowSize_ && !refill()) return std::nullopt;
        return window_[static_cast<std::size_t>(position_++ - windowStart_)];
    }

    std::optional<Bytes> take(std::size_t count) {
        if (count > end_ - position_) return std::nullopt;
        Bytes bytes(count);
        if (!file_.readAt(position_, bytes)) return std::nullopt;
        position_ += count;
        return bytes;
    }

private:
    bool refill() {
        windowStart_ = position_;
        windowSize_ = static_cast<std::size_t>(std::min<std::uint64_t>(window_.size(), end_ - position_));
        if (windowSize_ > 0 && file_.readAt(position_, std::span(window_).first(windowSize_))) return true;
        windowSize_ = 0;
        return false;
    }

    const ByteSource& file_;
    const std::uint64_t end_;
    std::uint64_t position_ = 0;
    std::uint64_t windowStart_ = 0;
    std::size_t windowSize_ = 0;
    std::array<std::uint8_t, 4096> window_{};
};

/// The next marker after any filling or stray bytes, as decoders find it.
std::optional<std::uint8_t> nextMarker(Cursor& cursor) {
    auto byte = cursor.next();
    while (byte) {
        while (byte && *byte != 0xFF) byte = cursor.next();
        while (byte && *byte == 0xFF) byte = cursor.next();
        if (byte && *byte != 0) return byte;
    }
    return std::nullopt;
}

bool standsAlone(std::uint8_t marker) {
    return marker == temporary || (marker >= firstRestart && marker <= startOfImage);
}

Bytes without(std::string_view name, const Bytes& payload) {
    return {payload.begin() + static_cast<std::ptrdiff_t>(name.size()), payload.end()};
}

class Collector {
public:
    void add(std::uint8_t marker, Bytes payload) {
        switch (marker) {
            case application1:
                addApplication1(std::move(payload));
                break;
            case application2:
                addProfilePiece(payload);
                break;
            case application13:
                blocks_.photoshop.push_back(std::move(payload));
                break;
            case comment:
                blocks_.comments.push_back(std::move(payload));
                break;
            default:
                break;
        }
    }

    MetadataBlocks finish() && {
        if (!pieces_.empty() && pieces_.size() == pieceCount_ && pieces_.rbegin()->first == pieceCount_) {
            for (const auto& [number, piece] : pieces_) {
                blocks_.icc.insert(blocks_.icc.end(), piece.begin(), piece.end());
            }
        }
        return std::move(blocks_);
    }

private:
    void addApplication1(Bytes payload) {
        const std::string_view text = asText(payload);
        if (text.starts_with(exifName)) {
            if (blocks_.exif.empty()) blocks_.exif = without(exifName, payload);
        } else if (text.starts_with(xmpName)) {
            if (blocks_.xmp.empty()) blocks_.xmp = without(xmpName, payload);
        } else if (text.starts_with(extendedXmpName)) {
            blocks_.extendedXmp.push_back(std::move(payload));
        }
    }

    // A piece begins with its number, from 1, and the count of all.
    void addProfilePiece(const Bytes& payload) {
        const std::size_t start = profileName.size() + 2;
        if (!asText(payload).starts_with(profileName) || payload.size() < start) return;
        const std::uint8_t number = payload[profileName.size()];
        pieceCount_ = payload[profileName.size() + 1];
        if (number > 0) {
            pieces_.try_emplace(number, payload.begin() + static_cast<std::ptrdiff_t>(start), payload.end());
        }
    }

    MetadataBlocks blocks_;
    std::map<std::size_t, Bytes> pieces_;
    std::size_t pieceCount_ = 0;
};

}  // namespace

MetadataBlocks readJpegMetadata(const ByteSource& file) {
    Cursor cursor(file);
    Collector collector;
    while (const auto marker = nextMarker(cursor)) {
        if (*marker == startOfScan || *marker == endOfImage) break;
        if (standsAlone(*marker)) continue;
        const auto high = cursor.next();
        const auto low = cursor.next();
        if (!high || !low) break;
        const std::size_t length = static_cast<std::size_t>(*high) << 8 | *low;
        if (length < 2) break;
        auto payload = cursor.take(length - 2);
        if (!payload) break;
        collector.add(*marker, std::move(*payload));
    }
    return std::move(collector).finish();
}

}  // namespace kelvaris

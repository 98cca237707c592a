#include "metadata/jpeg_segments.h"

#include <algorithm>
#include <string_view>

#include "base/log.h"

namespace kelvaris {

namespace {

using namespace std::string_view_literals;

constexpr std::uint8_t app1 = 0xE1, app2 = 0xE2, app13 = 0xED, comment = 0xFE;
constexpr std::string_view exifSignature = "Exif\0\0"sv;
constexpr std::string_view xmpSignature = "http://ns.adobe.com/xap/1.0/\0"sv;
constexpr std::string_view profileSignature = "ICC_PROFILE\0"sv;
constexpr std::string_view resourceSignature = "Photoshop 3.0\0"sv;

Bytes joinedBytes(std::string_view front, ByteView rest) {
    Bytes bytes(front.begin(), front.end());
    bytes.insert(bytes.end(), rest.begin(), rest.end());
    return bytes;
}

/// In numbered pieces; none at all when it takes more than can be numbered.
std::vector<JpegSegment> profileSegments(ByteView profile) {
    constexpr std::size_t portion = maximumPayload - profileSignature.size() - 2;
    const std::size_t count = (profile.size() + portion - 1) / portion;
    std::vector<JpegSegment> segments;
    for (std::size_t number = 1; number <= count && count <= 255; ++number) {
        Bytes payload = joinedBytes(profileSignature, {});
        payload.push_back(static_cast<std::uint8_t>(number));
        payload.push_back(static_cast<std::uint8_t>(count));
        const ByteView piece = profile.first(std::min(portion, profile.size()));
        payload.insert(payload.end(), piece.begin(), piece.end());
        profile = profile.subspan(piece.size());
        segments.push_back({app2, std::move(payload)});
    }
    return segments;
}

}  // namespace

JpegSegment exifSegment(ByteView block) { return {app1, joinedBytes(exifSignature, block)}; }

std::vector<JpegSegment> carriedSegments(const MetadataBlocks& blocks, bool withProfile) {
    std::vector<JpegSegment> segments;
    const auto add = [&](std::uint8_t code, const std::vector<Bytes>& payloads) {
        for (const Bytes& payload : payloads) segments.push_back({code, payload});
    };
    if (!blocks.xmp.empty()) {
        if (blocks.xmp.size() + xmpSignature.size() <= maximumPayload) {
            segments.push_back({app1, joinedBytes(xmpSignature, uprightXmp(blocks.xmp))});
        } else {
            log::info("EXIF", "XMP of {} bytes does not fit a JPEG segment and is left out",
                      blocks.xmp.size());
        }
    }
    add(app1, blocks.extendedXmp);
    if (withProfile) std::ranges::move(profileSegments(blocks.icc), std::back_inserter(segments));
    add(app13, blocks.photoshop);
    add(comment, blocks.comments);
    std::erase_if(segments, [](const JpegSegment& each) { return each.payload.size() > maximumPayload; });
    return segments;
}

std::vector<JpegSegment> imageResourceSegments(ByteView resources) {
    std::vector<JpegSegment> segments;
    constexpr std::size_t portion = maximumPayload - resourceSignature.size();
    while (!resources.empty()) {
        const std::size_t size = std::min(portion, resources.size());
        segments.push_back({app13, joinedBytes(resourceSignature, resources.first(size))});
        resources = resources.subspan(size);
    }
    return segments;
}

Bytes iptcResource(ByteView record) {
    if (record.empty()) return {};
    Bytes resource = joinedBytes("8BIM\x04\x04\0\0"sv, {});
    for (const int shift : {24, 16, 8, 0}) {
        resource.push_back(static_cast<std::uint8_t>(record.size() >> shift));
    }
    resource.insert(resource.end(), record.begin(), record.end());
    if (record.size() % 2 != 0) resource.push_back(0);
    return resource;
}

Bytes uprightXmp(ByteView packet) {
    constexpr std::string_view name = "tiff:Orientation";
    Bytes result(packet.begin(), packet.end());
    const std::string_view text = asText(packet);
    const auto isOneOf = [&](std::string_view set, std::size_t at) {
        return at < text.size() && set.find(text[at]) != std::string_view::npos;
    };
    for (std::size_t at = text.find(name); at != std::string_view::npos; at = text.find(name, at + 1)) {
        // An attribute (="6") or an element (>6<): nothing but blanks and one opening sign between.
        std::size_t value = at + name.size();
        while (isOneOf(" \t\r\n=", value)) ++value;
        if (isOneOf("\"'>", value) && isOneOf("12345678", value + 1) && isOneOf("\"'<", value + 2)) {
            result[value + 1] = '1';
        }
    }
    return result;
}

}  // namespace kelvaris

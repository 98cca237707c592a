#include "picture_files.h"

#include <gtest/gtest.h>
#include <vips/vips.h>

#include <fstream>
#include <iterator>

#include "platform_linux/vips_codec.h"
#include "platform_linux/vips_pixels.h"

namespace kelvaris::testing {
namespace {

class Writer {
public:
    explicit Writer(bool bigEndian) : bigEndian_(bigEndian) {
        text(bigEndian ? "MM" : "II");
        number(42, 2);
    }
    void text(std::string_view text) { bytes.insert(bytes.end(), text.begin(), text.end()); }
    void number(std::uint64_t value, int size) {
        for (int i = 0; i < size; ++i) {
            bytes.push_back(static_cast<std::uint8_t>(value >> 8 * (bigEndian_ ? size - 1 - i : i)));
        }
    }
    void entry(int tag, int type, std::uint32_t count, std::uint32_t value) {
        number(static_cast<std::uint64_t>(tag), 2);
        number(static_cast<std::uint64_t>(type), 2);
        number(count, 4);
        if (type == 3 && count == 1) {
            number(value, 2);
            number(0, 2);
        } else {
            number(value, 4);
        }
    }
    Bytes bytes;

private:
    bool bigEndian_;
};

/// Puts an eXIf chunk behind the header.
void addPngOrientation(const Path& path, int orientation) {
    const std::string chunk = "eXIf" + exifPayload(orientation, {}).substr(6);
    Bytes png = readBytes(path);
    Bytes added;
    const auto number = [&](std::size_t value) {
        for (int shift = 24; shift >= 0; shift -= 8)
            added.push_back(static_cast<std::uint8_t>(value >> shift));
    };
    number(chunk.size() - 4);
    added.insert(added.end(), chunk.begin(), chunk.end());
    number(pngChecksum(asBytes(chunk)));
    png.insert(png.begin() + 33, added.begin(), added.end());
    writeBytes(path, png);
}

}  // namespace

void writeBytes(const Path& path, ByteView bytes) {
    std::ofstream(path.string(), std::ios::binary) << asText(bytes);
}

Bytes readBytes(const Path& path) {
    std::ifstream file(path.string(), std::ios::binary);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

Bitmap quarters(int width, int height) {
    Bitmap bitmap{width, height, 3, {}};
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x) {
            const Colour& colour =
                y < height / 2 ? (x < width / 2 ? red : green) : (x < width / 2 ? blue : yellow);
            bitmap.pixels.insert(bitmap.pixels.end(), colour.begin(), colour.end());
        }
    }
    return bitmap;
}

Bitmap photograph(int width, int height) {
    Bitmap bitmap{width, height, 3, {}};
    std::uint32_t noise = 1;
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x) {
            noise = noise * 1664525 + 1013904223;
            const int grain = static_cast<int>(noise >> 28);
            bitmap.pixels.push_back(static_cast<std::uint8_t>(x * 200 / width + grain));
            bitmap.pixels.push_back(static_cast<std::uint8_t>(y * 200 / height + grain));
            bitmap.pixels.push_back(static_cast<std::uint8_t>(120 + grain));
        }
    }
    return bitmap;
}

Colour colourAt(const Bitmap& bitmap, double x, double y) {
    const auto column = static_cast<std::size_t>(x * bitmap.width);
    const auto row = static_cast<std::size_t>(y * bitmap.height);
    const std::uint8_t* pixel =
        bitmap.pixels.data() + (row * static_cast<std::size_t>(bitmap.width) + column) * bitmap.channels;
    return bitmap.channels == 1 ? Colour{pixel[0], pixel[0], pixel[0]} : Colour{pixel[0], pixel[1], pixel[2]};
}

void savePicture(const Bitmap& bitmap, const std::string& name, int orientation) {
    const auto plain = borrowed(bitmap);
    const auto image = vipsResult([&](VipsImage** out) { return vips_copy(plain.get(), out, nullptr); });
    if (orientation > 0) vips_image_set_int(image.get(), VIPS_META_ORIENTATION, orientation);
    ASSERT_EQ(vips_image_write_to_file(image.get(), name.c_str(), nullptr), 0) << takeVipsErrors();
    if (orientation > 0 && name.ends_with(".png")) addPngOrientation(Path(name), orientation);
}

std::uint32_t pngChecksum(ByteView bytes) {
    std::uint32_t crc = ~0U;
    for (const std::uint8_t byte : bytes) {
        crc ^= byte;
        for (int bit = 0; bit < 8; ++bit) crc = crc >> 1 ^ (crc & 1 ? 0xEDB88320U : 0);
    }
    return ~crc;
}

Bytes tiff16(const Bitmap& bitmap, const TiffOptions& options) {
    Writer writer(options.bigEndian);
    const int strips = (bitmap.height + options.rowsPerStrip - 1) / options.rowsPerStrip;
    const auto rowSize = static_cast<std::uint32_t>(bitmap.width * options.samples * 2);
    const std::uint32_t entries = options.extraSamples < 0 ? 9 : 10;
    const std::uint32_t bitsAt = 8 + 2 + entries * 12 + 4;
    const std::uint32_t offsetsAt = bitsAt + static_cast<std::uint32_t>(options.samples) * 2;
    const std::uint32_t countsAt = offsetsAt + static_cast<std::uint32_t>(strips) * 4;
    const std::uint32_t dataAt = countsAt + static_cast<std::uint32_t>(strips) * 4;
    writer.number(8, 4);
    writer.number(entries, 2);
    writer.entry(256, 4, 1, static_cast<std::uint32_t>(bitmap.width));
    writer.entry(257, 4, 1, static_cast<std::uint32_t>(bitmap.height));
    writer.entry(258, 3, static_cast<std::uint32_t>(options.samples), bitsAt);
    writer.entry(259, 3, 1, 1);
    writer.entry(262, 3, 1, 2);
    writer.entry(273, 4, static_cast<std::uint32_t>(strips), strips == 1 ? dataAt : offsetsAt);
    writer.entry(277, 3, 1, static_cast<std::uint32_t>(options.samples));
    writer.entry(278, 4, 1, static_cast<std::uint32_t>(options.rowsPerStrip));
    const auto total = rowSize * static_cast<std::uint32_t>(bitmap.height);
    writer.entry(279, 4, static_cast<std::uint32_t>(strips), strips == 1 ? total : countsAt);
    if (options.extraSamples >= 0) {
        writer.entry(338, 3, 1, static_cast<std::uint32_t>(options.extraSamples));
    }
    writer.number(0, 4);
    for (int i = 0; i < options.samples; ++i) writer.number(16, 2);
    const auto stripSize = rowSize * static_cast<std::uint32_t>(options.rowsPerStrip);
    for (std::uint32_t i = 0; i < static_cast<std::uint32_t>(strips); ++i) {
        writer.number(dataAt + i * stripSize, 4);
    }
    for (std::uint32_t i = 0; i < static_cast<std::uint32_t>(strips); ++i) {
        writer.number(std::min(stripSize, total - i * stripSize), 4);
    }
    for (std::size_t i = 0; i < bitmap.pixels.size(); i += 3) {
        for (std::size_t c = 0; c < 3; ++c) writer.number(bitmap.pixels[i + c] * 257U, 2);
        if (options.samples == 4) writer.number(0x8000, 2);
    }
    return writer.bytes;
}

Bytes jpegWith(const Bitmap& bitmap, const std::vector<std::pair<std::uint8_t, std::string>>& segments) {
    Bytes jpeg = *VipsImageCodec::make()->encodeJpeg(bitmap, 0.9);
    Bytes head{0xFF, 0xD8};
    for (const auto& [marker, payload] : segments) {
        const std::size_t length = payload.size() + 2;
        head.insert(head.end(), {0xFF, marker, static_cast<std::uint8_t>(length >> 8),
                                 static_cast<std::uint8_t>(length & 0xFF)});
        head.insert(head.end(), payload.begin(), payload.end());
    }
    head.insert(head.end(), jpeg.begin() + 2, jpeg.end());
    return head;
}

std::string exifPayload(int orientation, const Bytes& thumbnail) {
    Writer writer(true);
    writer.number(8, 4);
    writer.number(1, 2);
    writer.entry(0x112, 3, 1, static_cast<std::uint32_t>(orientation));
    writer.number(thumbnail.empty() ? 0 : 26, 4);
    if (!thumbnail.empty()) {
        writer.number(2, 2);
        writer.entry(0x201, 4, 1, 56);
        writer.entry(0x202, 4, 1, static_cast<std::uint32_t>(thumbnail.size()));
        writer.number(0, 4);
        writer.bytes.insert(writer.bytes.end(), thumbnail.begin(), thumbnail.end());
    }
    return std::string("Exif\0\0", 6) + std::string(asText(writer.bytes));
}

}  // namespace kelvaris::testing

#pragma once

#include <cstdint>
#include <string_view>
#include <vector>

#include "base/bytes.h"
#include "metadata/exif_block.h"

namespace kelvaris::testing {

/// Writes tag blocks number by number, as foreign software lays them out.
class BlockMaker {
public:
    explicit BlockMaker(ByteOrder order) : order_(order) {
        const std::uint8_t mark = order == ByteOrder::little ? 'I' : 'M';
        bytes = {mark, mark};
        add(42, 2);
        add(8, 4);
    }

    std::size_t size() const { return bytes.size(); }

    void add(std::uint64_t value, std::size_t width) {
        bytes.resize(bytes.size() + width);
        set(bytes.size() - width, value, width);
    }
    void set(std::size_t at, std::uint64_t value, std::size_t width) {
        for (std::size_t index = 0; index < width; ++index) {
            const std::size_t shift = order_ == ByteOrder::little ? index : width - 1 - index;
            bytes[at + index] = static_cast<std::uint8_t>(value >> (8 * shift));
        }
    }
    /// @return where it begins.
    std::size_t add(std::string_view text) {
        bytes.insert(bytes.end(), text.begin(), text.end());
        return bytes.size() - text.size();
    }
    std::size_t addFractions(const std::vector<std::pair<std::uint32_t, std::uint32_t>>& fractions) {
        const std::size_t begin = bytes.size();
        for (const auto& [numerator, denominator] : fractions) {
            add(numerator, 4);
            add(denominator, 4);
        }
        return begin;
    }

    struct Entry {
        std::uint16_t tag;
        std::uint16_t type;
        std::uint32_t count;
        std::uint64_t field;         ///< the number or the place of the value
        std::size_t fieldWidth = 4;  ///< 2 for a short in the entry itself, 1 for bytes
    };
    /// @return where it begins.
    std::size_t addTable(const std::vector<Entry>& entries, std::uint32_t next = 0) {
        const std::size_t begin = bytes.size();
        add(entries.size(), 2);
        for (const Entry& entry : entries) {
            add(entry.tag, 2);
            add(entry.type, 2);
            add(entry.count, 4);
            add(entry.field, entry.fieldWidth);
            bytes.resize(bytes.size() + 4 - entry.fieldWidth);
        }
        add(next, 4);
        return begin;
    }
    void setFirstTable(std::size_t place) { set(4, place, 4); }

    Bytes bytes;

private:
    ByteOrder order_;
};

/// A block as a camera writes it: date, place, orientation 6, a maker note that points at a text elsewhere
/// in the block, and a thumbnail, at the end or amid the rest.
struct CameraBlock {
    static constexpr std::string_view thumbnail =
        "\xFF\xD8THUMBNAIL-THUMBNAIL-THUMBNAIL-THUMBNAIL-THUMBNAIL-"
        "THUMBNAIL-THUMBNAIL-THUMBNAIL-THUMBNAIL-THUMBNAIL-THUMBNAIL-"
        "THUMBNAIL-THUMBNAIL-THUMBNAIL-THUMBNAIL\xFF\xD9";

    explicit CameraBlock(ByteOrder order, bool thumbnailAmid = false, std::size_t makerNoteSize = 64) {
        BlockMaker maker(order);
        std::size_t small = 0;
        if (thumbnailAmid) small = maker.add(thumbnail);
        makerTarget = maker.add("pointed at by the maker");
        const std::size_t make = maker.add(std::string_view("Rollei Werke\0", 13));
        const std::size_t date = maker.add(std::string_view("1994:03:02 23:30:00\0", 20));
        makerNote = maker.size();
        maker.add("MAKER");
        maker.bytes.resize(makerNote + makerNoteSize, 0xA5);
        maker.set(makerNote + 8, makerTarget, 4);
        makerNoteEnd = maker.size();
        const std::size_t latitude = maker.addFractions({{33, 1}, {30, 1}, {0, 0}});
        const std::size_t longitude = maker.addFractions({{151, 1}, {1230, 100}, {0, 1}});
        exifTable =
            maker.addTable({{ExifTag::dateTimeOriginal, 2, 20, date},
                            {ExifTag::makerNote, 7, static_cast<std::uint32_t>(makerNoteSize), makerNote},
                            {ExifTag::pixelXDimension, 3, 1, 4000, 2}});
        const std::size_t gps = maker.addTable({{ExifTag::gpsLatitudeRef, 2, 2, 'S', 1},
                                                {ExifTag::gpsLatitude, 5, 3, latitude},
                                                {ExifTag::gpsLongitudeRef, 2, 2, 'E', 1},
                                                {ExifTag::gpsLongitude, 5, 3, longitude}});
        if (!thumbnailAmid) small = maker.add(thumbnail);
        const std::size_t second = maker.addTable(
            {{0x0201, 4, 1, small}, {0x0202, 4, 1, static_cast<std::uint32_t>(thumbnail.size())}});
        // The first table last: its place is free, and camera software uses that freedom.
        maker.setFirstTable(maker.addTable({{0x0100, 4, 1, 4000},
                                            {ExifTag::make, 2, 13, make},
                                            {ExifTag::orientation, 3, 1, 6, 2},
                                            {0xC4A5, 99, 7, 0x01020304},  // a type from the future
                                            {ExifTag::exifTable, 4, 1, exifTable},
                                            {ExifTag::gpsTable, 4, 1, gps}},
                                           static_cast<std::uint32_t>(second)));
        thumbnailAt = small;
        secondTable = second;
        bytes = maker.bytes;
    }

    Bytes bytes;
    std::size_t makerTarget = 0, makerNote = 0, makerNoteEnd = 0, exifTable = 0, thumbnailAt = 0;
    std::size_t secondTable = 0;
};

}  // namespace kelvaris::testing

#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "base/bytes.h"

namespace kelvaris {

enum class ByteOrder { little, big };

/// The tables of an EXIF block that hold tags by known meaning.
enum class ExifTable {
    image,             ///< the first table (IFD0): what TIFF calls the image's own tags
    exif,              ///< led to by ExifTag::exifTable
    gps,               ///< led to by ExifTag::gpsTable
    interoperability,  ///< led to from the exif table
};

/// The value types of the block, with their numbers in the file.
enum class ExifType : std::uint16_t {
    byte = 1,
    ascii = 2,
    shortInteger = 3,
    longInteger = 4,
    rational = 5,
    undefined = 7,
    signedRational = 10,
};

/// Tag numbers that the system reads or writes.
namespace ExifTag {
inline constexpr std::uint16_t make = 0x010F;
inline constexpr std::uint16_t model = 0x0110;
inline constexpr std::uint16_t orientation = 0x0112;
inline constexpr std::uint16_t software = 0x0131;
inline constexpr std::uint16_t dateTime = 0x0132;
inline constexpr std::uint16_t artist = 0x013B;
inline constexpr std::uint16_t xmp = 0x02BC;
inline constexpr std::uint16_t copyright = 0x8298;
inline constexpr std::uint16_t iptc = 0x83BB;
inline constexpr std::uint16_t photoshop = 0x8649;
inline constexpr std::uint16_t exifTable = 0x8769;
inline constexpr std::uint16_t gpsTable = 0x8825;
inline constexpr std::uint16_t isoSpeedRatings = 0x8827;
inline constexpr std::uint16_t exifVersion = 0x9000;
inline constexpr std::uint16_t dateTimeOriginal = 0x9003;
inline constexpr std::uint16_t dateTimeDigitized = 0x9004;
inline constexpr std::uint16_t makerNote = 0x927C;
inline constexpr std::uint16_t userComment = 0x9286;
inline constexpr std::uint16_t colorSpace = 0xA001;
inline constexpr std::uint16_t pixelXDimension = 0xA002;
inline constexpr std::uint16_t pixelYDimension = 0xA003;
inline constexpr std::uint16_t interoperabilityTable = 0xA005;
inline constexpr std::uint16_t gpsVersion = 0x0000;
inline constexpr std::uint16_t gpsLatitudeRef = 0x0001;
inline constexpr std::uint16_t gpsLatitude = 0x0002;
inline constexpr std::uint16_t gpsLongitudeRef = 0x0003;
inline constexpr std::uint16_t gpsLongitude = 0x0004;
inline constexpr std::uint16_t gpsTimeStamp = 0x0007;
inline constexpr std::uint16_t gpsDateStamp = 0x001D;
}  // namespace ExifTag

/// One entry of a table as it stands in the bytes.
struct ExifEntry {
    std::uint16_t tag = 0;
    std::uint16_t type = 0;   ///< may be a number that we do not know
    std::uint32_t count = 0;  ///< of values, not bytes
    ByteView value;           ///< empty for a type that we do not know
    ByteView field;           ///< the four bytes that hold the value or its place
};

/// Reads the TIFF-structured block of tags that JPEG, PNG and HEIC files carry, and a TIFF file itself.
/// A view: the bytes must outlive it. Any bytes are safe to read: what does not lie within them is
/// left out, and every table is walked once at most.
class ExifBlock {
public:
    /// @param bytes beginning with "II" or "MM". Nothing when it is not such a block.
    static std::optional<ExifBlock> parse(ByteView bytes);

    ByteOrder order() const { return order_; }
    ByteView bytes() const { return bytes_; }

    /// In the order of the file.
    const std::vector<ExifEntry>& entries(ExifTable table) const {
        return tables_[static_cast<std::size_t>(table)];
    }
    /// The first entry with the tag.
    const ExifEntry* find(ExifTable table, std::uint16_t tag) const;

    /// Up to the first zero byte, without blanks at the end; bytes that are not UTF-8 become U+FFFD.
    std::optional<std::string> text(ExifTable table, std::uint16_t tag) const;
    /// The first of the values of a byte, short or long entry.
    std::optional<std::uint32_t> integer(ExifTable table, std::uint16_t tag) const;
    /// Degrees, minutes and seconds as one number of degrees; nothing when its parts make no number.
    std::optional<double> degrees(ExifTable table, std::uint16_t tag) const;

    /// The stretches that tables behind the first one (thumbnails) alone occupy, in ascending order.
    struct Range {
        std::size_t begin = 0;
        std::size_t end = 0;
    };
    std::vector<Range> thumbnailRanges() const;

private:
    ExifBlock(ByteView bytes, ByteOrder order) : bytes_(bytes), order_(order) {}
    std::uint16_t shortAt(std::size_t offset) const;
    std::uint32_t longAt(std::size_t offset) const;
    std::vector<ExifEntry> readTable(std::size_t offset) const;
    std::size_t followingTable(std::size_t offset) const;
    std::optional<std::size_t> pointer(ExifTable table, std::uint16_t tag) const;
    std::size_t tableEnd(std::size_t offset) const;

    ByteView bytes_;
    ByteOrder order_;
    std::size_t firstTable_ = 0;
    std::vector<ExifEntry> tables_[4];
    std::vector<Range> kept_;  ///< tables and values of the four known tables
};

/// The bytes that one value of the type takes; 0 for a type that we do not know.
std::size_t exifTypeSize(std::uint16_t type);

}  // namespace kelvaris

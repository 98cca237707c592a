#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace kelvaris::sample_roll {

using Rational = std::pair<std::uint32_t, std::uint32_t>;

struct GeoPoint {
    double latitude = 0;
    double longitude = 0;
};

/// What a scanner or a camera leaves in the EXIF of a file. Empty and absent fields are not written.
struct ExifRecord {
    bool bigEndian = false;
    std::string description;
    std::string make;
    std::string model;
    int orientation = 1;
    std::string software;
    /// "YYYY:MM:DD HH:MM:SS"; DateTime of the file and DateTimeOriginal of the picture.
    std::string dateTime;
    std::string dateTimeOriginal;
    std::optional<Rational> exposureTime;
    std::optional<Rational> fNumber;
    std::optional<std::uint16_t> isoSpeed;
    std::string lensModel;
    std::vector<std::uint8_t> makerNote;
    std::vector<std::uint8_t> userComment;
    std::optional<GeoPoint> place;
    /// A small JPEG for the second table.
    std::vector<std::uint8_t> thumbnail;
};

/// The record as a block that begins with its byte order mark, without the "Exif" signature of a
/// JPEG segment.
std::vector<std::uint8_t> exifBlock(const ExifRecord& record);

}  // namespace kelvaris::sample_roll

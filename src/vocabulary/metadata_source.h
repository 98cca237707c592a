#pragma once

#include <cstdint>

#include "vocabulary/raw_value.h"

namespace kelvaris {

/// Who set a photo's date, place or rotation. Without a source nobody has.
enum class MetadataSource : std::uint8_t {
    exif,        ///< read from the image file's own metadata
    photo,       ///< set by the user on this one photo
    roll,        ///< set by an assignment over the whole roll
    autoDetect,  ///< set by analysis; the only one that analysis may overwrite
};

template <>
struct RawValues<MetadataSource> {
    static constexpr std::array rows{
        std::pair{MetadataSource::exif, std::string_view("exif")},
        std::pair{MetadataSource::photo, std::string_view("photo")},
        std::pair{MetadataSource::roll, std::string_view("roll")},
        std::pair{MetadataSource::autoDetect, std::string_view("autoDetect")},
    };
};

}  // namespace kelvaris

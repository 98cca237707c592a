#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "base/instant.h"

namespace kelvaris {

/// Reads "yyyy:MM:dd HH:mm:ss", as the EXIF date tags hold it; blanks and zero bytes at the end are
/// passed over, and parts of one digit are taken. Nothing when it is no date ("0000:00:00 00:00:00").
std::optional<CivilTime> parseExifDate(std::string_view text);

/// "1994:03:02 09:30:00"
std::string exifDateText(const CivilTime& reading);

}  // namespace kelvaris

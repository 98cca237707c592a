#include "metadata/export_naming.h"

#include <fmt/format.h>

namespace kelvaris {

std::string exportFileName(int sortIndex, Instant captureDate, const Language& language) {
    const CivilTime day = language.localTime(captureDate);
    return fmt::format("roll_{:03}-{:04}-{:02}-{:02}.jpg", sortIndex + 1, day.year, day.month, day.day);
}

std::string copyrightText(std::string_view artistName, Instant now, const Language& language) {
    return fmt::format("\u00A9 {} {}", language.localTime(now).year, artistName);
}

}  // namespace kelvaris

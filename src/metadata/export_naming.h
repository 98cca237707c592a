#pragma once

#include <string>
#include <string_view>

#include "base/instant.h"
#include "platform/language.h"

namespace kelvaris {

/// The folder, inside the roll's own, that receives the copies.
inline constexpr std::string_view exportFolderName = "Kelvaris_Export";

/// "roll_003-1994-03-02.jpg": the place in the roll counted from 1, and the day on the user's calendar.
std::string exportFileName(int sortIndex, Instant captureDate, const Language& language);

/// "© 2026 Name", with the year of the export; the name must not be empty.
std::string copyrightText(std::string_view artistName, Instant now, const Language& language);

}  // namespace kelvaris

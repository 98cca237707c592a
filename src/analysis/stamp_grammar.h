#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "base/instant.h"

namespace kelvaris {

/// The first year that a camera's date stamp may show; older ones are misreadings.
inline constexpr int earliestStampYear = 1970;

/// The date that a line of stamp text shows, at midnight; nothing unless the whole line has one of the
/// forms of date stamps and names a day that exists, in 1970 to `latestYear`.
///
/// Forms, with any of blank, full stop, hyphen and slash as the same mark twice: year month day; month
/// (or, beyond 12, day) day year with slashes; a month's English name of three letters with day and
/// year in either order, or with the year alone (its first day). An apostrophe makes a two-digit
/// number the year wherever it stands. Years of two digits lie in the window that ends in `latestYear`.
std::optional<CivilTime> parseStampDate(std::string_view text, int latestYear);

/// The text with letters that engines take for digits put right (O to 0, I and l to 1, Z to 2, S to 5,
/// G to 6, B to 8), in every word that holds a digit already.
std::string withDigitsPutRight(std::string_view text);

}  // namespace kelvaris

#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "base/instant.h"

/// The typed forms of plain YAML 1.1 scalars: how a text resolves, and how numbers are written. Any thread.
namespace kelvaris::yaml {

/// "", "~" and null in its three cases.
bool isNullWord(std::string_view text);

/// yes, no, true, false, on and off in lower, capitalised and upper case.
std::optional<bool> parseBoolean(std::string_view text);

/// Decimal, binary (0b), octal (leading 0), hexadecimal (0x) and sexagesimal (1:30) forms with an optional
/// sign and underscores between digits. Nothing when the value does not fit 64 bits.
std::optional<std::int64_t> parseInteger(std::string_view text);

/// Decimal forms with or without fraction and exponent, sexagesimal forms with a fraction, .inf and .nan,
/// and every form of an integer. Nothing when the magnitude is beyond a double.
std::optional<double> parseDouble(std::string_view text);

/// The same, rounded once to 32 bits.
std::optional<float> parseFloat(std::string_view text);

/// A date alone, or date and time with optional fraction and zone. Nothing for other texts and for
/// readings that no calendar or clock shows.
std::optional<Instant> parseTimestamp(std::string_view text);

/// Whether a reader takes the plain text for something other than a string, so that a string of these
/// characters must be quoted.
bool resolvesAsOtherThanString(std::string_view text);

/// Scientific form with at most 15 significant digits ("8.5e-1", "1e+0"); values whose 17-digit form has
/// an exponent of its own keep that form.
std::string doubleText(double value);

/// The same with at most 7 significant digits, told from the 9-digit form.
std::string floatText(float value);

}  // namespace kelvaris::yaml

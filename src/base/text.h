#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace kelvaris {

/// Whether the bytes are well-formed UTF-8: shortest forms, no surrogates, nothing above U+10FFFF.
bool isValidUtf8(std::string_view text);

/// The length of the well-formed sequence that the text begins with; 0 when it begins with none.
std::size_t utf8SequenceLength(std::string_view text);

/// The text with each byte that is not part of a well-formed sequence replaced by U+FFFD.
std::string replacingInvalidUtf8(std::string_view text);

/// The number of code points. @pre isValidUtf8(text)
std::size_t codePointCount(std::string_view text);

/// Without blanks, tabs, line feeds and carriage returns at both ends.
std::string_view trimmed(std::string_view text);

/// Without line feeds and carriage returns at both ends.
std::string_view trimmedNewlines(std::string_view text);

/// With A to Z in lower case; everything else as it stands. For extensions and machine words only.
std::string asciiLowercased(std::string_view text);

std::string joined(const std::vector<std::string>& parts, std::string_view separator);

/// The pieces between separators, empty ones included.
std::vector<std::string> split(std::string_view text, char separator);

/// A whole decimal integer with an optional sign, and nothing else.
std::optional<std::int64_t> parseInteger(std::string_view text);

/// A whole decimal number in the form of C, independent of the locale, and nothing else.
std::optional<double> parseDouble(std::string_view text);

/// The shortest decimal text that reads back as the same double, with ".0" on whole numbers ("24.0").
std::string shortestDecimal(double value);

/// Standard Base64 without line breaks.
std::string base64Encoded(std::string_view bytes);

/// @return nothing when the text is not standard Base64.
std::optional<std::string> base64Decoded(std::string_view text);

}  // namespace kelvaris

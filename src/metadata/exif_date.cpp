#include "metadata/exif_date.h"

#include <fmt/format.h>

#include <array>

namespace kelvaris {

namespace {

bool isDigit(char c) { return c >= '0' && c <= '9'; }

/// Takes a number of at least and at most so many digits off the front.
std::optional<int> takeNumber(std::string_view& text, std::size_t least, std::size_t most) {
    std::size_t length = 0;
    int value = 0;
    while (length < most && length < text.size() && isDigit(text[length])) {
        value = value * 10 + (text[length++] - '0');
    }
    if (length < least) return std::nullopt;
    text.remove_prefix(length);
    return value;
}

}  // namespace

std::optional<CivilTime> parseExifDate(std::string_view text) {
    while (!text.empty() && (text.back() == '\0' || text.back() == ' ')) text.remove_suffix(1);
    CivilTime reading;
    struct Part {
        int& value;
        std::size_t leastDigits, mostDigits;
        char before;
    };
    const std::array parts{
        Part{reading.year, 4, 4, '\0'}, Part{reading.month, 1, 2, ':'},  Part{reading.day, 1, 2, ':'},
        Part{reading.hour, 1, 2, ' '},  Part{reading.minute, 1, 2, ':'}, Part{reading.second, 1, 2, ':'},
    };
    for (const Part& part : parts) {
        if (part.before != '\0') {
            if (text.empty() || text.front() != part.before) return std::nullopt;
            text.remove_prefix(1);
        }
        const auto number = takeNumber(text, part.leastDigits, part.mostDigits);
        if (!number) return std::nullopt;
        part.value = *number;
    }
    if (!text.empty() || reading.year == 0 || !reading.isValid()) return std::nullopt;
    return reading;
}

std::string exifDateText(const CivilTime& reading) {
    return fmt::format("{:04}:{:02}:{:02} {:02}:{:02}:{:02}", reading.year, reading.month, reading.day,
                       reading.hour, reading.minute, reading.second);
}

}  // namespace kelvaris

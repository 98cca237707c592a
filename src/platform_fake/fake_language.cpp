#include "platform_fake/fake_language.h"

#include <fmt/format.h>

#include "base/text.h"

namespace kelvaris {

namespace {

constexpr const char* monthNames[] = {"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                      "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};

bool isDigit(char c) { return c >= '0' && c <= '9'; }

}  // namespace

int FakeLanguage::compareNaturally(std::string_view a, std::string_view b) const {
    return naturalSortKey(a).compare(naturalSortKey(b));
}

/// A run of digits becomes the number of its significant digits, then the digits; the name itself comes
/// last, so that names that read alike still have an order.
std::string FakeLanguage::naturalSortKey(std::string_view name) const {
    std::string key;
    for (std::size_t i = 0; i < name.size();) {
        if (!isDigit(name[i])) {
            key += asciiLowercased(name.substr(i++, 1));
            continue;
        }
        std::size_t end = i;
        while (end < name.size() && isDigit(name[end])) ++end;
        while (i + 1 < end && name[i] == '0') ++i;
        const std::string_view digits = name.substr(i, end - i);
        key += fmt::format("0{:c}{:c}", static_cast<char>(digits.size() / 128 + 1),
                           static_cast<char>(digits.size() % 128));
        key += digits;
        i = end;
    }
    key += '\0';
    key += name;
    return key;
}

std::string FakeLanguage::lowercased(std::string_view text) const { return asciiLowercased(text); }

std::string FakeLanguage::mediumDate(Instant instant) const {
    const CivilTime time = localTime(instant);
    return fmt::format("{} {} {}", time.day, monthNames[time.month - 1], time.year);
}

std::string FakeLanguage::mediumDateShortTime(Instant instant) const {
    const CivilTime time = localTime(instant);
    return fmt::format("{}, {:02}:{:02}", mediumDate(instant), time.hour, time.minute);
}

std::optional<Instant> FakeLanguage::fromLocalTime(const CivilTime& reading) const {
    if (!reading.isValid()) return std::nullopt;
    return instantFromUtc(reading) - zoneOffset;
}

}  // namespace kelvaris

#include "base/instant.h"

#include <fmt/format.h>

#include <cmath>

namespace kelvaris {

namespace {

constexpr std::int64_t ticksPerSecond = 10'000'000;

std::int64_t floorDivide(std::int64_t a, std::int64_t b) {
    const std::int64_t quotient = a / b;
    return (a % b != 0 && (a < 0) != (b < 0)) ? quotient - 1 : quotient;
}

/// Days from 1970-01-01 of a date of the proleptic Gregorian calendar.
/// Eras of 400 years hold 146,097 days; years run from March so that the leap day comes last.
std::int64_t daysFromCivil(std::int64_t year, int month, int day) {
    year -= month <= 2;
    const std::int64_t era = floorDivide(year, 400);
    const std::int64_t yearOfEra = year - era * 400;
    const std::int64_t dayOfYear = (153 * (month + (month > 2 ? -3 : 9)) + 2) / 5 + day - 1;
    const std::int64_t dayOfEra = yearOfEra * 365 + yearOfEra / 4 - yearOfEra / 100 + dayOfYear;
    return era * 146097 + dayOfEra - 719468;
}

bool isLeap(std::int64_t year) { return (year % 4 == 0 && year % 100 != 0) || year % 400 == 0; }

int daysInMonth(std::int64_t year, int month) {
    static constexpr int days[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
    return month == 2 && isLeap(year) ? 29 : days[month - 1];
}

/// Walks a text of digits and marks.
class Scanner {
public:
    explicit Scanner(std::string_view text) : rest_(text) {}

    std::optional<int> digits(std::size_t least, std::size_t most) {
        std::size_t count = 0;
        int value = 0;
        while (count < rest_.size() && count < most && rest_[count] >= '0' && rest_[count] <= '9') {
            value = value * 10 + (rest_[count] - '0');
            ++count;
        }
        if (count < least) return std::nullopt;
        rest_.remove_prefix(count);
        return value;
    }
    bool take(char c) {
        if (rest_.empty() || rest_.front() != c) return false;
        rest_.remove_prefix(1);
        return true;
    }
    bool takeBlanks() {
        const auto before = rest_.size();
        while (!rest_.empty() && (rest_.front() == ' ' || rest_.front() == '\t')) rest_.remove_prefix(1);
        return rest_.size() != before;
    }
    /// Digits of a fraction, as ticks; digits past the seventh are cut.
    std::int64_t fraction() {
        std::int64_t ticks = 0;
        std::int64_t weight = ticksPerSecond / 10;
        while (!rest_.empty() && rest_.front() >= '0' && rest_.front() <= '9') {
            ticks += weight * (rest_.front() - '0');
            weight /= 10;
            rest_.remove_prefix(1);
        }
        return ticks;
    }
    bool atEnd() const { return rest_.empty(); }

private:
    std::string_view rest_;
};

/// The zone's distance from UTC in seconds; an absent zone is UTC.
std::optional<std::int64_t> readZone(Scanner& scanner) {
    scanner.takeBlanks();
    if (scanner.atEnd() || scanner.take('Z') || scanner.take('z')) return 0;
    const bool west = scanner.take('-');
    if (!west && !scanner.take('+')) return std::nullopt;
    const auto hours = scanner.digits(1, 2);
    if (!hours) return std::nullopt;
    int minutes = 0;
    if (scanner.take(':')) {
        const auto read = scanner.digits(2, 2);
        if (!read) return std::nullopt;
        minutes = *read;
    } else if (!scanner.atEnd()) {
        const auto read = scanner.digits(2, 2);
        if (!read) return std::nullopt;
        minutes = *read;
    }
    const std::int64_t seconds = *hours * 3600 + minutes * 60;
    return west ? -seconds : seconds;
}

}  // namespace

Instant Instant::fromSeconds(double secondsSinceEpoch) {
    const double ticks = std::round(secondsSinceEpoch * 1e7);
    if (std::isnan(ticks)) return Instant();
    constexpr double limit = 9.2e18;
    if (ticks >= limit) return Instant(Ticks(std::numeric_limits<std::int64_t>::max()));
    if (ticks <= -limit) return Instant(Ticks(std::numeric_limits<std::int64_t>::min()));
    return Instant(Ticks(static_cast<std::int64_t>(ticks)));
}

bool CivilTime::isValid() const {
    return month >= 1 && month <= 12 && day >= 1 && day <= daysInMonth(year, month) && hour >= 0 &&
           hour < 24 && minute >= 0 && minute < 60 && second >= 0 && second < 60;
}

CivilTime utcCivilTime(Instant instant) {
    const std::int64_t seconds = floorDivide(instant.sinceEpoch().count(), ticksPerSecond);
    const std::int64_t days = floorDivide(seconds, 86400);
    const std::int64_t ofDay = seconds - days * 86400;
    const std::int64_t shifted = days + 719468;
    const std::int64_t era = floorDivide(shifted, 146097);
    const std::int64_t dayOfEra = shifted - era * 146097;
    const std::int64_t yearOfEra = (dayOfEra - dayOfEra / 1460 + dayOfEra / 36524 - dayOfEra / 146096) / 365;
    const std::int64_t dayOfYear = dayOfEra - (365 * yearOfEra + yearOfEra / 4 - yearOfEra / 100);
    const std::int64_t monthFromMarch = (5 * dayOfYear + 2) / 153;
    CivilTime reading;
    reading.day = static_cast<int>(dayOfYear - (153 * monthFromMarch + 2) / 5 + 1);
    reading.month = static_cast<int>(monthFromMarch < 10 ? monthFromMarch + 3 : monthFromMarch - 9);
    reading.year = static_cast<int>(yearOfEra + era * 400 + (reading.month <= 2));
    reading.hour = static_cast<int>(ofDay / 3600);
    reading.minute = static_cast<int>(ofDay / 60 % 60);
    reading.second = static_cast<int>(ofDay % 60);
    return reading;
}

Instant instantFromUtc(const CivilTime& reading) {
    const std::int64_t days = daysFromCivil(reading.year, reading.month, reading.day);
    const std::int64_t seconds = days * 86400 + reading.hour * 3600 + reading.minute * 60 + reading.second;
    return Instant(Ticks(seconds * ticksPerSecond));
}

bool isStorable(Instant instant) {
    const int year = utcCivilTime(instant).year;
    return year >= 0 && year <= 9999;
}

std::string timestampText(Instant instant) {
    const CivilTime reading = utcCivilTime(instant);
    std::string text = fmt::format("{:04}-{:02}-{:02}T{:02}:{:02}:{:02}", reading.year, reading.month,
                                   reading.day, reading.hour, reading.minute, reading.second);
    const std::int64_t ticks = instant.sinceEpoch().count();
    const std::int64_t fraction = ticks - floorDivide(ticks, ticksPerSecond) * ticksPerSecond;
    if (fraction != 0) {
        std::string digits = fmt::format("{:07}", fraction);
        digits.erase(digits.find_last_not_of('0') + 1);
        text += '.' + digits;
    }
    return text + 'Z';
}

std::optional<Instant> parseTimestamp(std::string_view text) {
    Scanner scanner(text);
    CivilTime reading;
    const auto year = scanner.digits(4, 4);
    if (!year || !scanner.take('-')) return std::nullopt;
    const auto month = scanner.digits(1, 2);
    if (!month || !scanner.take('-')) return std::nullopt;
    const auto day = scanner.digits(1, 2);
    if (!day) return std::nullopt;
    reading.year = *year;
    reading.month = *month;
    reading.day = *day;
    if (scanner.atEnd()) {
        if (text.size() != 10 || !reading.isValid()) return std::nullopt;
        return instantFromUtc(reading);
    }
    if (!scanner.take('T') && !scanner.take('t') && !scanner.takeBlanks()) return std::nullopt;
    const auto hour = scanner.digits(1, 2);
    if (!hour || !scanner.take(':')) return std::nullopt;
    const auto minute = scanner.digits(2, 2);
    if (!minute || !scanner.take(':')) return std::nullopt;
    const auto second = scanner.digits(2, 2);
    if (!second) return std::nullopt;
    reading.hour = *hour;
    reading.minute = *minute;
    reading.second = *second;
    if (!reading.isValid()) return std::nullopt;
    const std::int64_t fraction = scanner.take('.') ? scanner.fraction() : 0;
    const auto zone = readZone(scanner);
    if (!zone || !scanner.atEnd()) return std::nullopt;
    return instantFromUtc(reading) + Ticks(fraction) - std::chrono::seconds(*zone);
}

}  // namespace kelvaris

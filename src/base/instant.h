#pragma once

#include <chrono>
#include <compare>
#include <cstdint>
#include <limits>
#include <optional>
#include <string>

namespace kelvaris {

/// The resolution of stored times: 100 nanoseconds, finer than a double of seconds in our century.
using Ticks = std::chrono::duration<std::int64_t, std::ratio<1, 10'000'000>>;

/// A point in time in UTC, counted in ticks from 1970-01-01T00:00:00Z (years -29,000 to +29,000).
class Instant {
public:
    constexpr Instant() = default;
    constexpr explicit Instant(Ticks sinceEpoch) : sinceEpoch_(sinceEpoch) {}

    /// Rounds to the nearest tick; saturates at the ends, and NaN gives the epoch.
    static Instant fromSeconds(double secondsSinceEpoch);

    constexpr Ticks sinceEpoch() const { return sinceEpoch_; }
    double seconds() const { return static_cast<double>(sinceEpoch_.count()) / 1e7; }

    constexpr auto operator<=>(const Instant&) const = default;

    template <class Rep, class Period>
    constexpr Instant operator+(std::chrono::duration<Rep, Period> d) const {
        return Instant(sinceEpoch_ + std::chrono::duration_cast<Ticks>(d));
    }
    template <class Rep, class Period>
    constexpr Instant operator-(std::chrono::duration<Rep, Period> d) const {
        return Instant(sinceEpoch_ - std::chrono::duration_cast<Ticks>(d));
    }
    constexpr Ticks operator-(Instant other) const { return sinceEpoch_ - other.sinceEpoch_; }

private:
    Ticks sinceEpoch_{0};
};

/// A reading of calendar and clock in no particular zone, as scanners and date stamps give it.
struct CivilTime {
    int year = 1970;
    int month = 1;  ///< 1 to 12
    int day = 1;    ///< 1 to 31
    int hour = 0;
    int minute = 0;
    int second = 0;

    auto operator<=>(const CivilTime&) const = default;

    /// Whether every field lies in its range and the day exists in its month.
    bool isValid() const;
};

/// The reading of a UTC clock at the instant; fractions of a second are cut toward the past.
CivilTime utcCivilTime(Instant instant);

/// The instant at which a UTC clock shows the reading. @pre reading.isValid()
Instant instantFromUtc(const CivilTime& reading);

/// Whether a file can hold the instant: the years 0000 to 9999. What cannot be stored must not be accepted.
bool isStorable(Instant instant);

/// "yyyy-MM-ddTHH:mm:ss", a fraction of up to seven digits when there is one, then "Z".
std::string timestampText(Instant instant);

/// Reads the timestamps of the vault and of JSON files: a date alone (midnight UTC), or a date, a "T",
/// "t" or blanks, a time with an optional fraction, and an optional zone; without a zone it is UTC.
std::optional<Instant> parseTimestamp(std::string_view text);

}  // namespace kelvaris

#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "base/instant.h"

namespace kelvaris {

/// Texts and dates as the user's language, calendar and time zone have them. Any thread.
class Language {
public:
    virtual ~Language() = default;

    /// Orders names as a person reads them, runs of digits by their value; ties by bytes.
    /// @return negative, zero or positive.
    virtual int compareNaturally(std::string_view a, std::string_view b) const = 0;
    /// A key whose byte order is the order of compareNaturally, for sorting many names.
    virtual std::string naturalSortKey(std::string_view name) const = 0;

    virtual std::string lowercased(std::string_view text) const = 0;
    /// Canonical composition.
    virtual std::string composed(std::string_view text) const = 0;

    /// "14 Mar 2026" in the user's locale.
    virtual std::string mediumDate(Instant instant) const = 0;
    /// "14 Mar 2026, 09:30" in the user's locale.
    virtual std::string mediumDateShortTime(Instant instant) const = 0;

    /// What a clock in the user's time zone shows.
    virtual CivilTime localTime(Instant instant) const = 0;
    /// The instant at which it shows the reading; an hour that is skipped gives the instant after the
    /// skip, one that comes twice the first. Nothing when the reading is no date.
    virtual std::optional<Instant> fromLocalTime(const CivilTime& reading) const = 0;
};

}  // namespace kelvaris

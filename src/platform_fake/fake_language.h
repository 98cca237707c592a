#pragma once

#include <chrono>

#include "platform/language.h"

namespace kelvaris {

/// English in ASCII: letters without regard to case, digits by value, ties by bytes. Dates read
/// "14 Mar 2026" and "14 Mar 2026, 09:30". The zone is UTC until the test moves it.
class FakeLanguage final : public Language {
public:
    int compareNaturally(std::string_view a, std::string_view b) const override;
    std::string naturalSortKey(std::string_view name) const override;
    std::string lowercased(std::string_view text) const override;
    std::string composed(std::string_view text) const override { return std::string(text); }
    std::string mediumDate(Instant instant) const override;
    std::string mediumDateShortTime(Instant instant) const override;
    CivilTime localTime(Instant instant) const override { return utcCivilTime(instant + zoneOffset); }
    std::optional<Instant> fromLocalTime(const CivilTime& reading) const override;

    std::chrono::seconds zoneOffset{0};  ///< east of Greenwich
};

}  // namespace kelvaris

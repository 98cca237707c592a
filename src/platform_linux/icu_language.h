#pragma once

#include <memory>

#include "platform/language.h"

namespace kelvaris {

/// Collation, case, normal forms, dates and zones of ICU.
class IcuLanguage final : public Language {
public:
    /// @param locale for example "en_US"; the user's own when empty.
    /// @param timeZone for example "Europe/Berlin"; the machine's own when empty.
    explicit IcuLanguage(const std::string& locale = {}, const std::string& timeZone = {});
    ~IcuLanguage() override;

    int compareNaturally(std::string_view a, std::string_view b) const override;
    std::string naturalSortKey(std::string_view name) const override;
    std::string lowercased(std::string_view text) const override;
    std::string composed(std::string_view text) const override;
    std::string mediumDate(Instant instant) const override;
    std::string mediumDateShortTime(Instant instant) const override;
    CivilTime localTime(Instant instant) const override;
    std::optional<Instant> fromLocalTime(const CivilTime& reading) const override;

private:
    struct Parts;
    std::unique_ptr<Parts> parts_;
};

}  // namespace kelvaris

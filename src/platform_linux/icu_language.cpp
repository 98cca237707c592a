#include "platform_linux/icu_language.h"

#include <unicode/basictz.h>
#include <unicode/coll.h>
#include <unicode/datefmt.h>
#include <unicode/locid.h>
#include <unicode/normalizer2.h>
#include <unicode/timezone.h>
#include <unicode/unistr.h>

#include <mutex>

#include "base/log.h"

namespace kelvaris {

namespace {

using namespace std::chrono;

icu::UnicodeString unicode(std::string_view text) {
    return icu::UnicodeString::fromUTF8(
        icu::StringPiece(text.data(), static_cast<std::int32_t>(text.size())));
}

std::string utf8(const icu::UnicodeString& text) {
    std::string result;
    return text.toUTF8String(result);
}

UDate dateOf(Instant instant) {
    return static_cast<UDate>(floor<milliseconds>(instant.sinceEpoch()).count());
}

}  // namespace

struct IcuLanguage::Parts {
    icu::Locale locale;
    std::unique_ptr<icu::TimeZone> zone;
    std::unique_ptr<icu::Collator> collator;  // its constant calls are safe from any thread
    const icu::Normalizer2* normalizer = nullptr;
    std::mutex formatMutex;  // formats work on a calendar inside
    std::unique_ptr<icu::DateFormat> date;
    std::unique_ptr<icu::DateFormat> dateTime;

    std::string format(const std::unique_ptr<icu::DateFormat>& format, Instant instant) {
        if (!format) return timestampText(instant);
        const std::lock_guard guard(formatMutex);
        icu::UnicodeString text;
        return utf8(format->format(dateOf(instant), text));
    }
};

IcuLanguage::IcuLanguage(const std::string& locale, const std::string& timeZone)
    : parts_(std::make_unique<Parts>()) {
    Parts& parts = *parts_;
    parts.locale = locale.empty() ? icu::Locale::getDefault() : icu::Locale(locale.c_str());
    parts.zone.reset(timeZone.empty() ? icu::TimeZone::createDefault()
                                      : icu::TimeZone::createTimeZone(unicode(timeZone)));
    UErrorCode status = U_ZERO_ERROR;
    parts.collator.reset(icu::Collator::createInstance(parts.locale, status));
    if (parts.collator) parts.collator->setAttribute(UCOL_NUMERIC_COLLATION, UCOL_ON, status);
    parts.normalizer = icu::Normalizer2::getNFCInstance(status);
    if (U_FAILURE(status)) {
        log::error("Language", "ICU data is incomplete: {}; names order by bytes", u_errorName(status));
        parts.collator.reset();
    }
    parts.date.reset(icu::DateFormat::createDateInstance(icu::DateFormat::kMedium, parts.locale));
    parts.dateTime.reset(icu::DateFormat::createDateTimeInstance(icu::DateFormat::kMedium,
                                                                 icu::DateFormat::kShort, parts.locale));
    if (parts.date) parts.date->setTimeZone(*parts.zone);
    if (parts.dateTime) parts.dateTime->setTimeZone(*parts.zone);
}

IcuLanguage::~IcuLanguage() = default;

int IcuLanguage::compareNaturally(std::string_view a, std::string_view b) const {
    if (parts_->collator) {
        UErrorCode status = U_ZERO_ERROR;
        const auto order =
            parts_->collator->compareUTF8({a.data(), static_cast<std::int32_t>(a.size())},
                                          {b.data(), static_cast<std::int32_t>(b.size())}, status);
        if (U_SUCCESS(status) && order != UCOL_EQUAL) return order;
    }
    return a.compare(b);
}

/// A collation key holds no zero before its end, so the zero between it and the name orders a key before
/// those that go on.
std::string IcuLanguage::naturalSortKey(std::string_view name) const {
    std::string key;
    if (parts_->collator) {
        const icu::UnicodeString text = unicode(name);
        key.resize(name.size() * 3 + 16);
        const auto into = [&] { return reinterpret_cast<std::uint8_t*>(key.data()); };
        auto length = parts_->collator->getSortKey(text, into(), static_cast<std::int32_t>(key.size()));
        if (static_cast<std::size_t>(length) > key.size()) {
            key.resize(static_cast<std::size_t>(length));
            length = parts_->collator->getSortKey(text, into(), length);
        }
        key.resize(length > 0 ? static_cast<std::size_t>(length) - 1 : 0);
    }
    key += '\0';
    key += name;
    return key;
}

std::string IcuLanguage::lowercased(std::string_view text) const {
    return utf8(unicode(text).toLower(icu::Locale::getRoot()));
}

std::string IcuLanguage::composed(std::string_view text) const {
    if (!parts_->normalizer) return std::string(text);
    UErrorCode status = U_ZERO_ERROR;
    const icu::UnicodeString result = parts_->normalizer->normalize(unicode(text), status);
    return U_SUCCESS(status) ? utf8(result) : std::string(text);
}

std::string IcuLanguage::mediumDate(Instant instant) const { return parts_->format(parts_->date, instant); }

std::string IcuLanguage::mediumDateShortTime(Instant instant) const {
    return parts_->format(parts_->dateTime, instant);
}

CivilTime IcuLanguage::localTime(Instant instant) const {
    std::int32_t raw = 0;
    std::int32_t saving = 0;
    UErrorCode status = U_ZERO_ERROR;
    parts_->zone->getOffset(dateOf(instant), false, raw, saving, status);
    return utcCivilTime(instant + milliseconds(raw + saving));
}

std::optional<Instant> IcuLanguage::fromLocalTime(const CivilTime& reading) const {
    if (!reading.isValid()) return std::nullopt;
    const Instant asIfUtc = instantFromUtc(reading);
    std::int32_t raw = 0;
    std::int32_t saving = 0;
    UErrorCode status = U_ZERO_ERROR;
    if (const auto* zone = dynamic_cast<const icu::BasicTimeZone*>(parts_->zone.get())) {
        zone->getOffsetFromLocal(dateOf(asIfUtc), UCAL_TZ_LOCAL_FORMER, UCAL_TZ_LOCAL_FORMER, raw, saving,
                                 status);
    } else {
        parts_->zone->getOffset(dateOf(asIfUtc), true, raw, saving, status);
    }
    return asIfUtc - milliseconds(raw + saving);
}

}  // namespace kelvaris

#pragma once

#include <optional>

#include "base/instant.h"
#include "platform/clock.h"
#include "platform/images.h"
#include "platform/language.h"
#include "platform/vision.h"

namespace kelvaris {

/// Reads the date that a camera burned into a frame. A wrong date harms more than none: what is read
/// must be a whole date of a stamp's form, between 1970 and next year, and read with a margin.
/// Any thread.
class TimestampDetectionService {
public:
    /// All must outlive this.
    TimestampDetectionService(Vision& vision, const Language& language, const Clock& clock)
        : vision_(vision), language_(language), clock_(clock) {}

    /// @param image a decoded frame. Stamps are looked for along both long sides, whichever way up, since
    /// a camera held upright prints along a side and a frame may lie upside down.
    /// @return midnight of that day in the user's time zone.
    std::optional<Instant> detectTimestamp(const Image& image);

    /// The same as a reading of the calendar.
    std::optional<CivilTime> detectDate(const Bitmap& bitmap);

private:
    std::optional<CivilTime> dateInText(Bitmap line, int latestYear);

    Vision& vision_;
    const Language& language_;
    const Clock& clock_;
};

}  // namespace kelvaris

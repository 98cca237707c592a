#pragma once

#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "base/instant.h"
#include "base/observable.h"
#include "platform/language.h"

namespace kelvaris {

/// Where someone was at one moment. Degrees, south and west negative.
struct LocationRecord {
    Instant timestamp;
    double latitude = 0;
    double longitude = 0;

    bool operator==(const LocationRecord&) const = default;
};

struct Coordinate {
    double latitude = 0;
    double longitude = 0;

    bool operator==(const Coordinate&) const = default;
};

enum class LocationField { records, maxGap };

/// Answers where the user was at a given moment, from the history that is loaded. Main thread.
class LocationService : public Observable<LocationField> {
public:
    /// Ascending by timestamp; whoever sets them keeps them so (every history that we read is sorted).
    const std::vector<LocationRecord>& records() const { return records_; }
    void setRecords(std::vector<LocationRecord> records);

    /// Seconds across which no place is guessed.
    double maxGap() const { return maxGap_; }
    void setMaxGap(double seconds) { assign(LocationField::maxGap, maxGap_, seconds); }

    /// The place at the moment: of the record itself, on the straight line in degrees between its two
    /// neighbours when they are at most maxGap apart, or at either end of the history that record's
    /// place when it is at most maxGap away. Logarithmic in the number of records.
    std::optional<Coordinate> location(Instant at) const;

    /// The first and the last moment of the history.
    std::optional<std::pair<Instant, Instant>> dateRange() const;
    /// "1 Mar 2026 to 14 Mar 2026" in the user's locale.
    std::optional<std::string> dateRangeDescription(const Language& language) const;

private:
    std::vector<LocationRecord> records_;
    double maxGap_ = 24 * 3600.0;
};

}  // namespace kelvaris

#include "metadata/location_service.h"

#include <algorithm>

namespace kelvaris {

namespace {

double secondsBetween(Instant earlier, Instant later) {
    return std::chrono::duration<double>(later - earlier).count();
}

Coordinate placeOf(const LocationRecord& record) { return {record.latitude, record.longitude}; }

}  // namespace

void LocationService::setRecords(std::vector<LocationRecord> records) {
    records_ = std::move(records);
    notify(LocationField::records);
}

std::optional<Coordinate> LocationService::location(Instant at) const {
    if (records_.empty()) return std::nullopt;
    const auto after = std::ranges::lower_bound(records_, at, {}, &LocationRecord::timestamp);
    if (after != records_.end() && after->timestamp == at) return placeOf(*after);
    if (after == records_.begin()) {
        if (secondsBetween(at, after->timestamp) > maxGap_) return std::nullopt;
        return placeOf(*after);
    }
    const LocationRecord& before = *std::prev(after);
    if (after == records_.end()) {
        if (secondsBetween(before.timestamp, at) > maxGap_) return std::nullopt;
        return placeOf(before);
    }
    const double span = secondsBetween(before.timestamp, after->timestamp);
    if (span > maxGap_) return std::nullopt;
    const double t = secondsBetween(before.timestamp, at) / span;
    return Coordinate{before.latitude + t * (after->latitude - before.latitude),
                      before.longitude + t * (after->longitude - before.longitude)};
}

std::optional<std::pair<Instant, Instant>> LocationService::dateRange() const {
    if (records_.empty()) return std::nullopt;
    return std::pair(records_.front().timestamp, records_.back().timestamp);
}

std::optional<std::string> LocationService::dateRangeDescription(const Language& language) const {
    const auto range = dateRange();
    if (!range) return std::nullopt;
    return language.mediumDate(range->first) + " to " + language.mediumDate(range->second);
}

}  // namespace kelvaris

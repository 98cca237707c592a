#pragma once

#include <optional>
#include <string_view>
#include <vector>

#include "metadata/location_service.h"

namespace kelvaris {

/// Reads a location history in JSON: {"locations": [...]} (strictly: a value of a wrong type anywhere in
/// a known key fails the file), {"semanticSegments": [...]} and the bare array of segments, of which a
/// damaged one costs only itself. Unknown keys are passed over.
/// @return in the order of the file, perhaps none; nothing when the text is none of these forms.
std::optional<std::vector<LocationRecord>> readLocationJson(std::string_view text);

/// "48.85°, 2.29°" or "geo:48.85,2.29": degrees on the globe, or nothing.
std::optional<Coordinate> parsePlace(std::string_view text);

/// A date, "T", a time of day, perhaps a fraction, and a zone, which must be there.
std::optional<Instant> parseInternetDate(std::string_view text);

}  // namespace kelvaris

#pragma once

#include <optional>
#include <string_view>
#include <vector>

#include "metadata/location_service.h"

namespace kelvaris {

/// Reads a GPX file (every point that has a time) or a KML file (tracks of "when" and "coord", and
/// placemarks with a point and a time or a span of time). A point without a time or off the globe is
/// passed over.
/// @return in the order of the file, perhaps none; nothing when the text is neither, or is cut off.
std::optional<std::vector<LocationRecord>> readLocationTracks(std::string_view text);

}  // namespace kelvaris

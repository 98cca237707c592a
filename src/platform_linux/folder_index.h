#pragma once

#include <functional>
#include <span>
#include <string>
#include <vector>

#include "base/path.h"

namespace kelvaris {

/// An extended regular expression that matches each of the names, whole, and nothing else.
std::string patternOfNames(std::span<const std::string> names);

/// The paths whose last component is one of the names in the index of plocate, which is asked once for all.
/// They may be gone, or no folders. None where plocate is not installed, and when it takes too long.
/// @param shouldStop asked now and then; on true plocate is ended.
std::vector<Path> indexedPaths(std::span<const std::string> names, const std::function<bool()>& shouldStop);

}  // namespace kelvaris

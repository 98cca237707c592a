#pragma once

#include <string_view>

#include "vocabulary/analysis_result.h"

namespace kelvaris {

/// Tags that do not come from the scene classifier begin with the word for where they come from.
inline constexpr std::string_view placeTagPrefix = "places365_";
inline constexpr std::string_view styleTagPrefix = "clip_";

/// The tags with those of the prefix replaced by the names, each behind the prefix.
TagConfidences withTags(TagConfidences tags, std::string_view prefix, const TagConfidences& names);

/// Tags of a new look at the scene, beside which the tags of styles and places stay as they were, unless
/// the new ones speak of the same.
TagConfidences mergedWithPrefixedTags(TagConfidences scene, const TagConfidences& before);

}  // namespace kelvaris

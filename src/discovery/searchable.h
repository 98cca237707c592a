#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "base/uuid.h"
#include "vocabulary/analysis_result.h"
#include "vocabulary/photo_label.h"
#include "vocabulary/roll_context.h"
#include "vocabulary/shared_value.h"

namespace kelvaris {

/// What the search reads of one photo: a value, made on the main thread, read on any. Vectors and tags are
/// shared with the photo, not copied.
struct SearchablePhoto {
    PhotoID id;
    SharedValue<std::vector<float>> clipEmbedding;
    SharedValue<TagConfidences> visionTags;
    PhotoLabelSet labels;
    std::optional<std::string> placeName;
    std::optional<std::vector<std::string>> dominantColors;
};

struct SearchableRoll {
    RollID id;
    RollContext context;
    std::vector<SearchablePhoto> photos;
};

/// Never changed once made: the same pointer is the same content.
using SearchableRollPointer = std::shared_ptr<const SearchableRoll>;

}  // namespace kelvaris

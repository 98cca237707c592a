#include "analysis/place_labels.h"

#include <algorithm>
#include <vector>

#include "analysis/prefixed_tags.h"

namespace kelvaris {
namespace {

constexpr float leastConfidence = 0.15F;

static_assert(std::ranges::is_sorted(places365Mapping, {}, &PlaceWord::name));

std::optional<PhotoLabel> labelOfPlace(std::string_view name) {
    const auto found = std::ranges::lower_bound(places365Mapping, name, {}, &PlaceWord::name);
    if (found == places365Mapping.end() || found->name != name) return std::nullopt;
    return found->label;
}

/// How many labels there may be with one of this confidence.
std::size_t allowance(float confidence) {
    if (confidence >= 0.5F) return 4;
    return confidence >= 0.3F ? 3 : 2;
}

}  // namespace

PhotoLabelSet placeLabels(const TagConfidences& categories) {
    struct Candidate {
        PhotoLabel label;
        float confidence;
    };
    std::vector<Candidate> candidates;
    for (const auto& [name, confidence] : categories) {
        if (!(confidence >= leastConfidence)) continue;
        if (const auto label = labelOfPlace(name)) candidates.push_back({*label, confidence});
    }
    std::ranges::stable_sort(candidates, std::greater(), &Candidate::confidence);
    PhotoLabelSet labels;
    for (const Candidate& candidate : candidates) {
        if (labels.size() < allowance(candidate.confidence)) labels.insert(candidate.label);
    }
    return labels;
}

void applyPlaceCategories(const TagConfidences& categories, PhotoItem& photo) {
    photo.setVisionTags(withTags(photo.visionTags(), placeTagPrefix, categories));
    photo.setPlaceCategories(categories);
    photo.applySuggestedLabels(placeLabels(categories));
}

}  // namespace kelvaris

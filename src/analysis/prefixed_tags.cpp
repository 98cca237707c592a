#include "analysis/prefixed_tags.h"

namespace kelvaris {

TagConfidences withTags(TagConfidences tags, std::string_view prefix, const TagConfidences& names) {
    std::erase_if(tags, [&](const auto& each) { return each.first.starts_with(prefix); });
    for (const auto& [name, confidence] : names) tags[std::string(prefix) + name] = confidence;
    return tags;
}

TagConfidences mergedWithPrefixedTags(TagConfidences scene, const TagConfidences& before) {
    for (const auto& [tag, confidence] : before) {
        if (tag.starts_with(styleTagPrefix) || tag.starts_with(placeTagPrefix)) {
            scene.try_emplace(tag, confidence);
        }
    }
    return scene;
}

}  // namespace kelvaris

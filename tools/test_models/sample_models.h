#pragma once

#include <array>
#include <string>
#include <string_view>
#include <vector>

#include "test_models/test_models.h"

namespace kelvaris::test_models {

/// Small networks that behave as the installable models do, so that a library can be tried with them: what
/// they know is colour. Their pictures are scaled by the keys that they carry, and would be judged wrongly
/// without.

/// A colour that the networks tell from the others.
struct SampleColor {
    std::string_view name;
    std::array<float, 3> color;  ///< red, green and blue, 0 to 1
    std::string_view place;      ///< the category of places that it stands for
    std::string_view scene;      ///< the class of a scene classifier, likewise
};

inline constexpr std::array<SampleColor, 11> sampleColors{{
    {"red", {0.8F, 0.1F, 0.1F}, "restaurant", "fire"},
    {"orange", {0.95F, 0.55F, 0.1F}, "canyon", "sunset"},
    {"yellow", {0.95F, 0.9F, 0.2F}, "wheat_field", "beach"},
    {"green", {0.15F, 0.5F, 0.15F}, "forest_path", "forest"},
    {"blue", {0.2F, 0.4F, 0.85F}, "ocean", "ocean"},
    {"purple", {0.5F, 0.2F, 0.6F}, "lagoon", "dusk"},
    {"pink", {0.95F, 0.6F, 0.75F}, "botanical_garden", "flower"},
    {"brown", {0.4F, 0.25F, 0.12F}, "stable", "barn"},
    {"black", {0.03F, 0.03F, 0.03F}, "alley", "night"},
    {"grey", {0.5F, 0.5F, 0.5F}, "street", "street"},
    {"white", {0.97F, 0.97F, 0.97F}, "snowfield", "snow"},
}};

/// 224 by 224 to 512 values: how much of the picture has each of the colours.
std::string colorImageEncoder();
/// 77 tokens of the published CLIP vocabulary to 512 values of the same space. It knows the names of the
/// colours and some words for things that have them; other words only tell texts apart.
std::string colorTextEncoder();

/// 224 by 224 to the probabilities of the ratings 1 to 10: the brighter and the richer in contrast, the
/// better.
std::string brightnessRater();

/// 224 by 224, blue first, to one probability for each of sampleColors, in their order.
std::string colorClassifier();
/// Their places or scenes as a `labels.txt`.
std::string colorLabels(std::string_view SampleColor::*name);

/// 112 by 112 to 512 values that tell faces apart.
std::string faceEncoder();

}  // namespace kelvaris::test_models

#pragma once

#include <array>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace kelvaris {

/// What the light, the technique, the film, the composition or the mood of a photo may be: sentences that
/// are also the labels. Five groups of five.
inline constexpr std::array<std::string_view, 25> stylePrompts{
    // light
    "golden hour sunlight",
    "blue hour twilight",
    "harsh midday sun",
    "overcast diffused light",
    "backlit silhouette",
    // technique
    "shallow depth of field bokeh",
    "motion blur",
    "high contrast black and white",
    "soft focus dreamy",
    "long exposure",
    // film
    "light leak film artifact",
    "expired film color shift",
    "heavy film grain",
    "lens flare",
    "vignette dark corners",
    // composition
    "close-up macro detail",
    "wide angle panoramic",
    "symmetrical composition",
    "reflection in water",
    "leading lines perspective",
    // mood and colour
    "moody atmospheric",
    "vibrant saturated colors",
    "muted desaturated tones",
    "warm color palette",
    "cool color palette",
};
/// How many labels of each group a photo may carry.
inline constexpr std::array<int, 5> styleGroupCaps{1, 2, 2, 2, 1};

struct PromptEmbedding {
    std::string label;
    std::vector<float> embedding;  ///< unit vector
};

struct StyleMatch {
    std::string label;
    float score = 0;  ///< the cosine of picture and prompt

    bool operator==(const StyleMatch&) const = default;
};

/// The prompts that are near enough to the picture, the nearest first, as many as their groups allow.
/// @param imageEmbedding unit vector; prompts of another length, and those of no group, do not count.
std::vector<StyleMatch> matchStyles(std::span<const float> imageEmbedding,
                                    std::span<const PromptEmbedding> prompts);

}  // namespace kelvaris

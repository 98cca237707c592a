#include "analysis/style_labels.h"

#include <algorithm>
#include <functional>
#include <optional>

#include "base/vector_math.h"

namespace kelvaris {
namespace {

constexpr float leastScore = 0.2F;
constexpr std::size_t groupSize = stylePrompts.size() / styleGroupCaps.size();

std::optional<std::size_t> groupOf(std::string_view label) {
    const auto found = std::ranges::find(stylePrompts, label);
    if (found == stylePrompts.end()) return std::nullopt;
    return static_cast<std::size_t>(found - stylePrompts.begin()) / groupSize;
}

}  // namespace

std::vector<StyleMatch> matchStyles(std::span<const float> imageEmbedding,
                                    std::span<const PromptEmbedding> prompts) {
    std::vector<StyleMatch> near;
    for (const PromptEmbedding& prompt : prompts) {
        if (prompt.embedding.size() != imageEmbedding.size()) continue;
        const float score = cosineSimilarity(imageEmbedding, prompt.embedding);
        if (score >= leastScore) near.push_back({prompt.label, score});
    }
    std::ranges::stable_sort(near, std::greater(), &StyleMatch::score);
    std::array<int, styleGroupCaps.size()> counts{};
    std::vector<StyleMatch> matches;
    for (StyleMatch& match : near) {
        const auto group = groupOf(match.label);
        if (!group || counts[*group] == styleGroupCaps[*group]) continue;
        ++counts[*group];
        matches.push_back(std::move(match));
    }
    return matches;
}

}  // namespace kelvaris

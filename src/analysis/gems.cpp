#include "analysis/gems.h"

#include <algorithm>
#include <cmath>
#include <functional>

namespace kelvaris {

PhotoList selectGems(std::span<const ScoredPhoto> candidates, int limit) {
    constexpr double leastScore = 0.25;
    constexpr int photosPerGem = 4;
    std::vector<ScoredPhoto> eligible;
    for (const ScoredPhoto& candidate : candidates) {
        const bool isBlank = candidate.photo->labels().contains(PhotoLabel::blank);
        if (std::isfinite(candidate.score) && candidate.score > leastScore && !isBlank) {
            eligible.push_back(candidate);
        }
    }
    if (eligible.empty()) return {};
    std::ranges::stable_sort(eligible, std::greater(), &ScoredPhoto::score);
    const int share = std::max(static_cast<int>(eligible.size()) / photosPerGem, 1);
    eligible.resize(static_cast<std::size_t>(std::clamp(share, 0, std::max(limit, 0))));
    PhotoList gems;
    for (const ScoredPhoto& gem : eligible) gems.push_back(gem.photo);
    return gems;
}

}  // namespace kelvaris

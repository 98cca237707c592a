#pragma once

#include <span>
#include <vector>

#include "library/photo_item.h"

namespace kelvaris {

/// The most gems of a roll.
inline constexpr int gemLimit = 5;

struct ScoredPhoto {
    PhotoPointer photo;
    double score = 0;
};

/// The best of a roll: the quarter with the highest scores, at least one and at most the limit, of those
/// that are not blank and score above 0.25; the earlier of equally good ones. Main thread.
PhotoList selectGems(std::span<const ScoredPhoto> candidates, int limit);

}  // namespace kelvaris

#include "vocabulary/orientation_decision.h"

#include <algorithm>
#include <cmath>
#include <numeric>

namespace kelvaris {

std::optional<RotationAngle> OrientationDecision::reviewRotation() const {
    constexpr double leastTopScore = 0.5;
    constexpr double leastMargin = 0.15;
    constexpr double sumTolerance = 0.01;

    if (status != Status::uncertain || reason == orientation_reason::deepDisagreement) return std::nullopt;
    if (scores.size() != 4) return std::nullopt;
    const auto isProbability = [](double score) { return score >= 0.0 && score <= 1.0; };  // not NaN either
    if (!std::all_of(scores.begin(), scores.end(), isProbability)) return std::nullopt;
    if (std::abs(std::accumulate(scores.begin(), scores.end(), 0.0) - 1.0) > sumTolerance)
        return std::nullopt;

    const auto top = std::max_element(scores.begin(), scores.end());
    double second = 0.0;
    for (auto each = scores.begin(); each != scores.end(); ++each) {
        if (each != top) second = std::max(second, *each);
    }
    if (*top < leastTopScore || *top - second < leastMargin) return std::nullopt;
    return fromRawValue<RotationAngle>(static_cast<int>(top - scores.begin()) * 90);
}

}  // namespace kelvaris

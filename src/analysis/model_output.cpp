#include "analysis/model_output.h"

#include <algorithm>
#include <cmath>

namespace kelvaris {

std::optional<std::vector<float>> normalizedEmbedding(std::span<const float> values, std::size_t dimension) {
    if (values.size() != dimension) return std::nullopt;
    double sum = 0;
    for (const float value : values) {
        if (!std::isfinite(value)) return std::nullopt;
        sum += static_cast<double>(value) * value;
    }
    // The vector is one of 32-bit numbers: what its sum of squares can not hold is no usable length.
    if (!std::isnormal(static_cast<float>(sum))) return std::nullopt;
    const double length = std::sqrt(sum);
    std::vector<float> result(values.size());
    std::ranges::transform(values, result.begin(),
                           [&](float value) { return static_cast<float>(value / length); });
    return result;
}

std::optional<std::vector<float>> normalizedEmbedding(std::span<const OutputTensor> outputs,
                                                      std::size_t dimension) {
    if (outputs.empty()) return std::nullopt;
    return normalizedEmbedding(std::span<const float>(outputs.front().values), dimension);
}

}  // namespace kelvaris

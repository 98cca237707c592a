#pragma once

#include <cstddef>
#include <optional>
#include <span>
#include <vector>

#include "platform/inference.h"

namespace kelvaris {

/// Floats in a vector of the space that pictures and sentences share.
inline constexpr int clipEmbeddingDimension = 512;

/// The values divided by their length, so that a dot product of two is the cosine of their angle.
/// @return nothing unless there are `dimension` values, all finite, and the sum of their squares is a
///         positive normal number.
std::optional<std::vector<float>> normalizedEmbedding(std::span<const float> values, std::size_t dimension);

/// The same of a model's first output; nothing when it has none.
std::optional<std::vector<float>> normalizedEmbedding(std::span<const OutputTensor> outputs,
                                                      std::size_t dimension);

}  // namespace kelvaris

#pragma once

#include <cstddef>
#include <span>

namespace kelvaris {

/// How alike two unit vectors are: their dot product, which is the cosine of their angle. 0 when either
/// is empty, when the lengths differ, and when the sum is not finite. Any thread.
float cosineSimilarity(std::span<const float> a, std::span<const float> b);

/// The similarity of every row with every column, blocked so that each value read from memory serves
/// several products. Bit for bit what cosineSimilarity gives for each pair.
/// @param rows    rowCount vectors of `dimension` floats, one after the other
/// @param columns columnCount vectors likewise
/// @param result  rowCount times columnCount floats, row by row
void cosineSimilarities(const float* rows, std::size_t rowCount, const float* columns,
                        std::size_t columnCount, std::size_t dimension, float* result);

}  // namespace kelvaris

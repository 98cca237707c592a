#include "base/vector_math.h"

#include <cmath>

namespace kelvaris {
namespace {

// Every dot product is summed in sixteen lanes in the same order, alone or in a tile, so that a group or
// a rank never depends on which of the two ran. GCC and Clang lower the wide type to what the processor has.
using Lanes = float __attribute__((vector_size(32)));
using LanesInMemory = float __attribute__((vector_size(32), aligned(4), may_alias));
constexpr std::size_t laneCount = sizeof(Lanes) / sizeof(float);
constexpr std::size_t step = 2 * laneCount;

[[gnu::always_inline]] inline const LanesInMemory& lanes(const float* values) {
    return *reinterpret_cast<const LanesInMemory*>(values);
}

/// The sum of all lanes and of what is left behind the last whole step.
[[gnu::always_inline]] inline float total(const Lanes& even, const Lanes& odd, const float* a, const float* b,
                                          std::size_t from, std::size_t dimension) {
    const Lanes sum = even + odd;
    float value = ((sum[0] + sum[4]) + (sum[2] + sum[6])) + ((sum[1] + sum[5]) + (sum[3] + sum[7]));
    for (std::size_t i = from; i < dimension; ++i) value += a[i] * b[i];
    return std::isfinite(value) ? value : 0.0F;
}

[[gnu::always_inline]] inline float single(const float* a, const float* b, std::size_t dimension) {
    Lanes even{}, odd{};
    std::size_t i = 0;
    for (; i + step <= dimension; i += step) {
        even += lanes(a + i) * lanes(b + i);
        odd += lanes(a + i + laneCount) * lanes(b + i + laneCount);
    }
    return total(even, odd, a, b, i, dimension);
}

/// Two rows by two columns. The sums have names of their own: in arrays they would go through memory.
[[gnu::always_inline]] inline void tile(const float* rows, const float* columns, std::size_t dimension,
                                        float* result, std::size_t resultStride) {
    const float* row1 = rows + dimension;
    const float* column1 = columns + dimension;
    Lanes even00{}, even01{}, even10{}, even11{}, odd00{}, odd01{}, odd10{}, odd11{};
    std::size_t i = 0;
    for (; i + step <= dimension; i += step) {
        const Lanes evenColumn0 = lanes(columns + i), evenColumn1 = lanes(column1 + i);
        const Lanes evenRow0 = lanes(rows + i), evenRow1 = lanes(row1 + i);
        even00 += evenRow0 * evenColumn0;
        even01 += evenRow0 * evenColumn1;
        even10 += evenRow1 * evenColumn0;
        even11 += evenRow1 * evenColumn1;
        const Lanes oddColumn0 = lanes(columns + i + laneCount), oddColumn1 = lanes(column1 + i + laneCount);
        const Lanes oddRow0 = lanes(rows + i + laneCount), oddRow1 = lanes(row1 + i + laneCount);
        odd00 += oddRow0 * oddColumn0;
        odd01 += oddRow0 * oddColumn1;
        odd10 += oddRow1 * oddColumn0;
        odd11 += oddRow1 * oddColumn1;
    }
    result[0] = total(even00, odd00, rows, columns, i, dimension);
    result[1] = total(even01, odd01, rows, column1, i, dimension);
    result[resultStride] = total(even10, odd10, row1, columns, i, dimension);
    result[resultStride + 1] = total(even11, odd11, row1, column1, i, dimension);
}

[[gnu::always_inline]] inline void product(const float* rows, std::size_t rowCount, const float* columns,
                                           std::size_t columnCount, std::size_t dimension, float* result) {
    constexpr std::size_t columnBlock = 12;  // 24 KiB of columns of 512 floats stay in the first cache
    for (std::size_t first = 0; first < columnCount; first += columnBlock) {
        const std::size_t last = first + columnBlock < columnCount ? first + columnBlock : columnCount;
        for (std::size_t r = 0; r < rowCount; r += 2) {
            for (std::size_t c = first; c < last; c += 2) {
                const float* row = rows + r * dimension;
                const float* column = columns + c * dimension;
                float* cell = result + r * columnCount + c;
                if (r + 2 <= rowCount && c + 2 <= last) {
                    tile(row, column, dimension, cell, columnCount);
                    continue;
                }
                *cell = single(row, column, dimension);
                if (c + 2 <= last) cell[1] = single(row, column + dimension, dimension);
                if (r + 2 <= rowCount) cell[columnCount] = single(row + dimension, column, dimension);
            }
        }
    }
}

using Product = void (*)(const float*, std::size_t, const float*, std::size_t, std::size_t, float*);

void plainProduct(const float* rows, std::size_t rowCount, const float* columns, std::size_t columnCount,
                  std::size_t dimension, float* result) {
    product(rows, rowCount, columns, columnCount, dimension, result);
}

#if defined(__x86_64__)
__attribute__((target("avx2,fma"))) void wideProduct(const float* rows, std::size_t rowCount,
                                                     const float* columns, std::size_t columnCount,
                                                     std::size_t dimension, float* result) {
    product(rows, rowCount, columns, columnCount, dimension, result);
}

Product chosenProduct() {
    return __builtin_cpu_supports("avx2") && __builtin_cpu_supports("fma") ? wideProduct : plainProduct;
}
#else
Product chosenProduct() { return plainProduct; }
#endif

}  // namespace

void cosineSimilarities(const float* rows, std::size_t rowCount, const float* columns,
                        std::size_t columnCount, std::size_t dimension, float* result) {
    static const Product product = chosenProduct();
    product(rows, rowCount, columns, columnCount, dimension, result);
}

float cosineSimilarity(std::span<const float> a, std::span<const float> b) {
    if (a.empty() || a.size() != b.size()) return 0.0F;
    float result = 0.0F;
    cosineSimilarities(a.data(), 1, b.data(), 1, a.size(), &result);
    return result;
}

}  // namespace kelvaris

#include "base/vector_math.h"

#include <cmath>
#include <cstring>

namespace kelvaris {
namespace {

// Every dot product is summed in sixteen lanes in the same order, alone or in a tile, so that a group or
// a rank never depends on which of the two ran. GCC and Clang lower the wide type to what the processor has.
using Lanes = float __attribute__((vector_size(32)));
constexpr std::size_t laneCount = sizeof(Lanes) / sizeof(float);
constexpr std::size_t step = 2 * laneCount;

struct Sum {
    Lanes even{};
    Lanes odd{};
};

[[gnu::always_inline]] inline void load(Lanes& lanes, const float* from) {
    std::memcpy(&lanes, from, sizeof lanes);
}

[[gnu::always_inline]] inline float total(const Sum& sum, const float* a, const float* b, std::size_t from,
                                          std::size_t dimension) {
    const Lanes lanes = sum.even + sum.odd;
    float value =
        ((lanes[0] + lanes[4]) + (lanes[2] + lanes[6])) + ((lanes[1] + lanes[5]) + (lanes[3] + lanes[7]));
    for (std::size_t i = from; i < dimension; ++i) value += a[i] * b[i];
    return std::isfinite(value) ? value : 0.0F;
}

template <std::size_t rowCount, std::size_t columnCount>
[[gnu::always_inline]] inline void tile(const float* rows, const float* columns, std::size_t dimension,
                                        float* result, std::size_t resultStride) {
    Sum sums[rowCount][columnCount];
    std::size_t i = 0;
    for (; i + step <= dimension; i += step) {
        Sum column[columnCount];
        for (std::size_t c = 0; c < columnCount; ++c) {
            load(column[c].even, columns + c * dimension + i);
            load(column[c].odd, columns + c * dimension + i + laneCount);
        }
        for (std::size_t r = 0; r < rowCount; ++r) {
            Sum row;
            load(row.even, rows + r * dimension + i);
            load(row.odd, rows + r * dimension + i + laneCount);
            for (std::size_t c = 0; c < columnCount; ++c) {
                sums[r][c].even += row.even * column[c].even;
                sums[r][c].odd += row.odd * column[c].odd;
            }
        }
    }
    for (std::size_t r = 0; r < rowCount; ++r) {
        for (std::size_t c = 0; c < columnCount; ++c) {
            result[r * resultStride + c] =
                total(sums[r][c], rows + r * dimension, columns + c * dimension, i, dimension);
        }
    }
}

[[gnu::always_inline]] inline void product(const float* rows, std::size_t rowCount, const float* columns,
                                           std::size_t columnCount, std::size_t dimension, float* result) {
    constexpr std::size_t columnBlock = 64;  // 128 KiB of columns of 512 floats stay in the second cache
    for (std::size_t first = 0; first < columnCount; first += columnBlock) {
        const std::size_t last = first + columnBlock < columnCount ? first + columnBlock : columnCount;
        for (std::size_t r = 0; r < rowCount; r += 2) {
            const bool rowPair = r + 2 <= rowCount;
            for (std::size_t c = first; c < last; c += 2) {
                const bool columnPair = c + 2 <= last;
                const float* row = rows + r * dimension;
                const float* column = columns + c * dimension;
                float* cell = result + r * columnCount + c;
                if (rowPair && columnPair) {
                    tile<2, 2>(row, column, dimension, cell, columnCount);
                } else if (rowPair) {
                    tile<2, 1>(row, column, dimension, cell, columnCount);
                } else if (columnPair) {
                    tile<1, 2>(row, column, dimension, cell, columnCount);
                } else {
                    tile<1, 1>(row, column, dimension, cell, columnCount);
                }
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

#include "base/vector_math.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <random>
#include <vector>

namespace kelvaris {
namespace {

TEST(VectorMath, WhatCannotBeComparedIsNotAlike) {
    const std::vector<float> unit{1.0F, 0.0F, 0.0F};
    EXPECT_EQ(cosineSimilarity(unit, unit), 1.0F);
    EXPECT_EQ(cosineSimilarity({}, {}), 0.0F);
    EXPECT_EQ(cosineSimilarity(unit, std::vector<float>{1.0F}), 0.0F);
    EXPECT_EQ(cosineSimilarity(unit, std::vector<float>{std::nanf(""), 0.0F, 0.0F}), 0.0F);
    const std::vector<float> huge(3, std::numeric_limits<float>::max());
    EXPECT_EQ(cosineSimilarity(huge, huge), 0.0F) << "an infinite sum";
}

TEST(VectorMath, TheBlockedProductGivesTheBitsOfTheSingleOneAndTheSingleOneIsRight) {
    std::mt19937 random(7);
    std::normal_distribution<float> normal;
    for (const std::size_t dimension : {1, 7, 16, 31, 512}) {
        for (const auto& [rowCount, columnCount] :
             {std::pair<std::size_t, std::size_t>{1, 1}, {3, 5}, {2, 67}, {5, 130}}) {
            std::vector<float> rows(rowCount * dimension), columns(columnCount * dimension);
            for (float& value : rows) value = normal(random);
            for (float& value : columns) value = normal(random);
            std::vector<float> result(rowCount * columnCount);
            cosineSimilarities(rows.data(), rowCount, columns.data(), columnCount, dimension, result.data());
            for (std::size_t r = 0; r < rowCount; ++r) {
                for (std::size_t c = 0; c < columnCount; ++c) {
                    const std::span row(rows.data() + r * dimension, dimension);
                    const std::span column(columns.data() + c * dimension, dimension);
                    double exact = 0.0;
                    for (std::size_t i = 0; i < dimension; ++i) exact += double(row[i]) * column[i];
                    ASSERT_EQ(result[r * columnCount + c], cosineSimilarity(row, column));
                    ASSERT_NEAR(result[r * columnCount + c], exact, 1e-4);
                }
            }
        }
    }
}

}  // namespace
}  // namespace kelvaris

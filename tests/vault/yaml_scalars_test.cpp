#include "vault/yaml_scalars.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <random>

namespace kelvaris::yaml {
namespace {

TEST(YamlScalars, ReadIntegersInEveryForm) {
    const std::pair<std::string_view, std::int64_t> forms[] = {
        {"0", 0},
        {"-0", 0},
        {"+12", 12},
        {"1_000", 1000},
        {"0b1010", 10},
        {"017", 15},
        {"-0x1F", -31},
        {"0xdead_beef", 0xdeadbeef},
        {"1:30", 90},
        {"-1:30", -90},
        {"190:20:30", 685230},
        {"9223372036854775807", INT64_MAX},
        {"-9223372036854775808", INT64_MIN},
    };
    for (const auto& [text, value] : forms) EXPECT_EQ(parseInteger(text), value) << text;
    for (const char* text : {"", "-", "08", "0b2", "0x", "1.0", "1e3", "1:60", "1:", ":1", "12a", " 1", "_1",
                             "9223372036854775808", "0xfffffffffffffffff", "99999999999999999:59:59"}) {
        EXPECT_FALSE(parseInteger(text)) << text;
    }
}

TEST(YamlScalars, ReadNumbersInEveryForm) {
    const std::pair<std::string_view, double> forms[] = {
        {"8.5e-1", 0.85},
        {"1e+0", 1.0},
        {"1e3", 1000.0},
        {"-.5", -0.5},
        {"3.", 3.0},
        {"12", 12.0},
        {"0x10", 16.0},
        {"+1_0.2_5", 10.25},
        {"190:20:30.15", 685230.15},
        {"1e-999", 0.0},
        {"0.0", 0.0},
        {"1:30", 90.0},
        {"99999999999999999999", 1e20},
    };
    for (const auto& [text, value] : forms) {
        const auto read = parseDouble(text);
        ASSERT_TRUE(read) << text;
        EXPECT_DOUBLE_EQ(*read, value) << text;
    }
    EXPECT_EQ(parseDouble("-.INF"), -INFINITY);
    EXPECT_TRUE(std::isnan(*parseDouble(".NaN")));
    for (const char* text :
         {"", ".", "-", "e5", "1e", "nan", "inf", "1,5", "1e999", "0x1.8p1", "1.2.3", "._1"}) {
        EXPECT_FALSE(parseDouble(text)) << text;
    }
    EXPECT_EQ(parseFloat("0.1"), 0.1f);
    EXPECT_FALSE(parseFloat("1e40"));
    EXPECT_EQ(parseFloat("1e-60"), 0.0f);
}

TEST(YamlScalars, ReadTimestampsByTheirShape) {
    const auto noon = instantFromUtc({.year = 2024, .month = 3, .day = 1, .hour = 12});
    for (const char* text : {"2024-03-01T12:00:00Z", "2024-3-1t12:00:00", "2024-03-01 \t12:00:00.0 Z",
                             "2024-03-01T14:30:00+2:30", "2024-03-01 07:00:00 -05", "2024-03-01T12:00:00."}) {
        EXPECT_EQ(parseTimestamp(text), noon) << text;
    }
    EXPECT_EQ(parseTimestamp("2024-03-01"), noon - std::chrono::hours(12));
    for (const char* text :
         {"2024-3-1", "2024-03-01T12:00", "2024-03-01T12:00:00z", "2024-03-01T12:00:00+0530",
          "2024-03-01T12:0:00", "24-03-01", "2024-02-30", "2024-03-01T25:00:00Z"}) {
        EXPECT_FALSE(parseTimestamp(text)) << text;
    }
}

TEST(YamlScalars, TellStringsThatNeedQuotes) {
    for (const char* text :
         {"",    "~",    "null", "NULL", "yes",  "No",    "ON",   "off",        "TRUE",       "12",  "-0x1f",
          "1_0", "1:30", "1.5",  "1e5",  ".inf", "-.INF", ".nan", "2024-03-01", "2024-02-30", "017", "<<"}) {
        EXPECT_TRUE(resolvesAsOtherThanString(text)) << text;
    }
    for (const char* text : {"y", "n", "nULL", "tRUE", "35mm", "6x6", "1.2.3", "-", ".", "12 frames", "0xg",
                             "2024-03", "+", "e5", "inf", "roll 400"}) {
        EXPECT_FALSE(resolvesAsOtherThanString(text)) << text;
    }
}

TEST(YamlScalars, WriteNumbersInScientificForm) {
    const std::pair<double, std::string_view> doubles[] = {
        {0.85, "8.5e-1"},
        {35.6895, "3.56895e+1"},
        {1.0, "1e+0"},
        {0.0, "0e+0"},
        {-139.6917, "-1.396917e+2"},
        {1e16, "1e+16"},
        {1e17, "1e+17"},
        {1e100, "1e+100"},
        {0.0001, "1e-4"},
        {1e-5, "1.0000000000000001e-05"},
        {1.0 / 3, "3.33333333333333e-1"},
        {123456789.0, "1.23456789e+8"},
        {INFINITY, ".inf"},
        {-INFINITY, "-.inf"},
        {NAN, ".nan"},
    };
    for (const auto& [value, text] : doubles) EXPECT_EQ(doubleText(value), text);
    EXPECT_EQ(floatText(0.85f), "8.5e-1");
    EXPECT_EQ(floatText(1.0f / 3), "3.333333e-1");
    EXPECT_EQ(floatText(1e-5f), "9.99999975e-06");
}

TEST(YamlScalars, WrittenNumbersStayTheSameWhenReadAndWrittenAgain) {
    std::mt19937_64 random(7);
    for (int i = 0; i < 20'000; ++i) {
        const double value = std::bit_cast<double>(random());
        if (!std::isfinite(value)) continue;
        const std::string text = doubleText(value);
        ASSERT_TRUE(parseDouble(text)) << text;
        EXPECT_EQ(doubleText(*parseDouble(text)), text);
        const float narrow = std::bit_cast<float>(static_cast<std::uint32_t>(random()));
        if (!std::isfinite(narrow)) continue;
        const std::string narrowText = floatText(narrow);
        ASSERT_TRUE(parseFloat(narrowText)) << narrowText;
        EXPECT_EQ(floatText(*parseFloat(narrowText)), narrowText);
    }
}

}  // namespace
}  // namespace kelvaris::yaml

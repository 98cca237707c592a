#include "base/instant.h"

#include <gtest/gtest.h>

namespace kelvaris {
namespace {

TEST(InstantTest, TimestampsReadBackAsTheyWereWritten) {
    for (const std::string text : {"2024-03-01T09:30:05.25Z", "1969-12-31T23:59:59.9999999Z",
                                   "2000-02-29T00:00:00Z", "0001-01-01T00:00:00Z", "9999-12-31T23:59:59Z"}) {
        const auto instant = parseTimestamp(text);
        ASSERT_TRUE(instant) << text;
        EXPECT_EQ(timestampText(*instant), text);
    }
}

TEST(InstantTest, TimestampsAreReadInEveryAcceptedForm) {
    const Instant expected = instantFromUtc({2024, 3, 1, 9, 30, 5});
    for (const std::string text :
         {"2024-03-01T09:30:05Z", "2024-3-1t9:30:05z", "2024-03-01 09:30:05", "2024-03-01 11:30:05 +2",
          "2024-03-01T09:30:05.Z", "2024-03-01T04:00:05-05:30", "2024-03-01  09:30:05.0000Z"}) {
        EXPECT_EQ(parseTimestamp(text), expected) << text;
    }
    EXPECT_EQ(parseTimestamp("2024-03-01"), instantFromUtc({2024, 3, 1}));
}

TEST(InstantTest, WhatIsNoTimestampIsRefused) {
    for (const std::string text :
         {"", "2024", "2024-3-1", "2024-02-30T00:00:00Z", "2023-02-29", "2024-13-01", "2024-03-01T24:00:00Z",
          "2024-03-01T09:30Z", "2024-03-01T09:30:05X", "2024-03-01T09:30:05Z ", "20240301"}) {
        EXPECT_FALSE(parseTimestamp(text)) << text;
    }
}

TEST(InstantTest, CivilTimesOfEveryDayOfFourCenturiesAgreeWithTheirInstants) {
    Instant day = instantFromUtc({1800, 1, 1});
    CivilTime previous = utcCivilTime(day);
    for (int i = 1; i < 146097; ++i) {
        day = day + std::chrono::hours(24);
        const CivilTime reading = utcCivilTime(day);
        ASSERT_TRUE(reading.isValid());
        ASSERT_LT(previous, reading);
        ASSERT_EQ(instantFromUtc(reading), day);
        previous = reading;
    }
    EXPECT_EQ(previous, (CivilTime{2199, 12, 31}));
}

TEST(InstantTest, SecondsBeyondTheRangeSaturate) {
    EXPECT_EQ(Instant::fromSeconds(1e300), Instant(Ticks(std::numeric_limits<std::int64_t>::max())));
    EXPECT_EQ(Instant::fromSeconds(-1e300), Instant(Ticks(std::numeric_limits<std::int64_t>::min())));
    EXPECT_EQ(Instant::fromSeconds(std::numeric_limits<double>::quiet_NaN()), Instant());
    EXPECT_EQ(Instant::fromSeconds(-0.25).sinceEpoch().count(), -2'500'000);
}

}  // namespace
}  // namespace kelvaris

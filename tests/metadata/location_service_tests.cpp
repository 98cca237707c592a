#include "metadata/location_service.h"

#include <gtest/gtest.h>

#include "metadata/export_naming.h"
#include "platform_fake/fake_language.h"

namespace kelvaris {
namespace {

Instant at(double hours) { return Instant::fromSeconds(hours * 3600); }

TEST(LocationService, GuessesNoPlaceAcrossALongerGapThanAllowed) {
    LocationService service;
    EXPECT_FALSE(service.location(at(0)));
    service.setRecords(
        {{at(0), 10, 20}, {at(2), 20, 40}, {at(27), 30, 50}, {at(27), 31, 51}, {at(28), 32, 52}});
    service.setMaxGap(24 * 3600);
    struct Row {
        double hour;
        std::optional<Coordinate> place;
    };
    const Row rows[] = {
        {0, Coordinate{10, 20}},  {1, Coordinate{15, 30}},  {-24, Coordinate{10, 20}},
        {-24.01, std::nullopt},   {2.02, std::nullopt},  // near a record, but within a gap of 25 hours
        {2, Coordinate{20, 40}},  {27, Coordinate{30, 50}}, {27.5, Coordinate{31.5, 51.5}},
        {52, Coordinate{32, 52}}, {52.01, std::nullopt},
    };
    for (const Row& row : rows) EXPECT_EQ(service.location(at(row.hour)), row.place) << row.hour;
    service.setMaxGap(1800);
    EXPECT_FALSE(service.location(at(1)));
    EXPECT_EQ(service.location(at(2)), (Coordinate{20, 40})) << "an exact match needs no neighbour";
}

TEST(LocationService, DescribesItsRangeInTheUsersWords) {
    LocationService service;
    const FakeLanguage language;
    EXPECT_FALSE(service.dateRangeDescription(language));
    service.setRecords({{at(0), 0, 0}, {at(48), 0, 0}});
    EXPECT_EQ(service.dateRangeDescription(language), "1 Jan 1970 to 3 Jan 1970");
}

TEST(ExportNaming, CountsFromOneAndUsesTheUsersCalendarDay) {
    FakeLanguage language;
    const Instant lateEvening = instantFromUtc({1994, 3, 2, 23, 30, 0});
    EXPECT_EQ(exportFileName(2, lateEvening, language), "roll_003-1994-03-02.jpg");
    EXPECT_EQ(exportFileName(999, lateEvening, language), "roll_1000-1994-03-02.jpg");
    language.zoneOffset = std::chrono::hours(1);
    EXPECT_EQ(exportFileName(0, lateEvening, language), "roll_001-1994-03-03.jpg");
    EXPECT_EQ(copyrightText("Ana", lateEvening, language), "\u00A9 1994 Ana");
}

}  // namespace
}  // namespace kelvaris

#include "metadata/takeout_service.h"

#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "metadata/location_json.h"
#include "platform_fake/fake_clock.h"
#include "platform_fake/fake_files.h"

namespace kelvaris {
namespace {

using ::testing::ElementsAre;
using Code = TakeoutError::Code;

Result<LocationRecords, TakeoutError> parse(std::string_view text) {
    return parseLocationHistory(asBytes(text));
}

Instant utc(int year, int month, int day, int hour = 0, int minute = 0, int second = 0) {
    return instantFromUtc({year, month, day, hour, minute, second});
}

TEST(Takeout, ReadsBothFormsOfTimeAndSortsByIt) {
    const auto records = parse(R"({ "other": {"deep": [1, {"x": "]}"}]}, "locations" : [
        {"timestampMs": "1500000000500", "timestamp": "1999-01-01T00:00:00Z", "latitudeE7": 123456789,
         "longitudeE7": -20000000, "accuracy": 12, "activity": [{"type": [{"a": 1}]}], "unknown": null},
        {"timestamp": "2016-01-02T03:04:05.250+02:00", "latitudeE7": 10000000, "longitudeE7": 10000000.0},
        {"timestampMs": "abc", "timestamp": "2015-01-02T03:04:05Z", "latitudeE7": 0, "longitudeE7": 0},
        {"timestampMs": "-1000", "latitudeE7": 1, "longitudeE7": 1}
    ], "tail": true })");
    ASSERT_TRUE(records);
    EXPECT_THAT(*records,
                ElementsAre(LocationRecord{utc(1969, 12, 31, 23, 59, 59), 1e-7, 1e-7},
                            LocationRecord{utc(2015, 1, 2, 3, 4, 5), 0, 0},
                            LocationRecord{utc(2016, 1, 2, 1, 4, 5) + std::chrono::milliseconds(250), 1, 1},
                            LocationRecord{Instant::fromSeconds(1500000000.5), 12.3456789, -2}));
}

TEST(Takeout, ALocationThatLacksSomethingCostsOnlyItself) {
    const auto records = parse(R"({"locations": [
        {}, {"timestampMs": "", "latitudeE7": 1, "longitudeE7": 1},
        {"timestampMs": "1000", "longitudeE7": 1}, {"timestampMs": "1000", "latitudeE7": null, "longitudeE7": 1},
        {"timestamp": "2015-01-02T03:04:05", "latitudeE7": 1, "longitudeE7": 1},
        {"timestamp": "2015-01-02", "latitudeE7": 1, "longitudeE7": 1},
        {"timestampMs": "1000", "latitudeE7": 10000000, "longitudeE7": 20000000}
    ]})");
    ASSERT_TRUE(records);
    EXPECT_THAT(*records, ElementsAre(LocationRecord{Instant::fromSeconds(1), 1, 2}));
}

TEST(Takeout, AWrongShapeFailsTheFileAndAnEmptyOneHasItsOwnWords) {
    for (
        const std::string_view text : {
            "",
            "   ",
            "{}",
            "{",
            "5",
            "\"locations\"",
            "null",
            R"({"locations": null})",
            R"({"locations": 5})",
            R"({"locations": {"a": 1}})",
            R"({"locations": [5]})",
            R"({"locations": [{}, [1]]})",
            R"({"locations": [{"timestampMs": 1000, "latitudeE7": 1, "longitudeE7": 1}]})",
            R"({"locations": [{"timestampMs": "1000", "latitudeE7": "1", "longitudeE7": 1}]})",
            R"({"locations": [{"timestampMs": "1000", "latitudeE7": 1.5, "longitudeE7": 1}]})",
            R"({"locations": [{"timestampMs": "1000", "latitudeE7": 1, "longitudeE7": 1, "accuracy": "x"}]})",
            R"({"locations": [{"timestampMs": "1000", "latitudeE7": 99999999999999999999, "longitudeE7": 1}]})",
            R"({"locations": [{"latitudeE7": 1},]})",
            R"({"locations": [{"latitudeE7": 1} {"latitudeE7": 1}]})",
            R"({"locations": [{"latitudeE7": 1}], "x": 1)",
            R"({"locations": [{"latitudeE7": 1}]} more)",
            R"({"locations": [{"latitudeE7": 1})",
            R"({"locations": [{"latitudeE7)",
            R"({"locations": )",
            R"({"locations": [{"a": "\ud800}]})",
            "{\"locations\": [{\"a\": \"\xFF\"}]}",
            "<html></html>",
            "<gpx>",
            "<gpx><trk></gpx>",
            "<!DOCTYPE x [",
            "PK\x03\x04",
        }) {
        const auto records = parse(text);
        ASSERT_FALSE(records) << text;
        EXPECT_EQ(records.error().message, "Not a valid Google Takeout location history file") << text;
    }
    for (const std::string_view text : {R"({"locations": []})", R"({"locations": [{}]})", "[]", "<gpx/>",
                                        R"({"semanticSegments": [{"visit": 5}, 7]})"}) {
        const auto records = parse(text);
        ASSERT_FALSE(records) << text;
        EXPECT_EQ(records.error().message, "No location data found") << text;
    }
}

TEST(Takeout, AReadErrorKeepsTheSystemsWords) {
    FakeClock clock;
    FakeFiles files(clock.wall());
    files.addFile(Path("/history.json"),
                  R"({"locations": [{"timestampMs":"0","latitudeE7":1,"longitudeE7":1}]})");
    EXPECT_TRUE(TakeoutService(files).parse(Path("/history.json")));
    const auto missing = TakeoutService(files).parse(Path("/none.json"));
    EXPECT_EQ(missing.error().code, Code::unreadable);
    EXPECT_EQ(missing.error().message, files.map(Path("/none.json")).error().message);
}

/// Several windows of the reader, with braces and quotes in strings where they might mislead a cut.
std::string longHistory(int count, int garbageAt = -1, std::string_view garbage = {}) {
    std::string text = R"({"locations": [)";
    for (int index = 0; index < count; ++index) {
        if (index == garbageAt) text += std::string(garbage) + ",";
        const std::string padding(static_cast<std::size_t>(index % 97), ' ');
        text += fmt::format(
            R"({{"note": "}}, {{\"latitudeE7\": 1}}]{}", "activity": [{{"x": [{{}}]}}, {{"y": "}}"}}],
            {}"timestampMs": "{}", "latitudeE7": {}, "longitudeE7": {}}},)",
            index, padding, 1000LL * index, index, -index);
    }
    text += R"({"filler": ")" + std::string(3'000'000, '}') +
            R"(", "timestampMs": "9999999000", )"
            R"("latitudeE7": 5, "longitudeE7": 5}], "end": {}})";
    return text;
}

TEST(Takeout, AHistoryOfManyWindowsIsReadWholeWhereverTheyCutIt) {
    constexpr int count = 40'000;
    const auto records = parse(longHistory(count));
    ASSERT_TRUE(records);
    ASSERT_EQ(records->size(), std::size_t{count} + 1);
    for (int index = 0; index < count; ++index) {
        ASSERT_EQ((*records)[static_cast<std::size_t>(index)],
                  (LocationRecord{Instant::fromSeconds(index), index / 1e7, -index / 1e7}));
    }
}

TEST(Takeout, OneWrongValueAmongManyFailsTheFileAndACutOneToo) {
    EXPECT_TRUE(parse(longHistory(20'000, 15'000, R"({"garbage": [[]]})")));
    EXPECT_FALSE(parse(longHistory(20'000, 15'000, R"({"timestampMs": 7})")));
    EXPECT_FALSE(parse(longHistory(20'000, 15'000, R"({"garbage"})")));
    EXPECT_FALSE(parse(longHistory(20'000, 15'000, "{\"x\": \"\x80\"}")));
    const std::string whole = longHistory(8'000);
    for (std::size_t cut : {1u, 2u, 100'000u, 1'048'576u}) {
        EXPECT_FALSE(parse(std::string_view(whole).substr(0, whole.size() - cut)));
    }
}

TEST(Timeline, ReadsThePathsAndVisitsThatPhonesExport) {
    const auto android = parse(R"({"semanticSegments": [
        {"startTime": "2024-04-03T08:00:00.000+02:00", "endTime": "2024-04-03T10:00:00.000+02:00",
         "timelinePath": [{"point": "48.8577°, 2.2950°", "time": "2024-04-03T08:13:00.000+02:00"},
                          {"point": "north", "time": "2024-04-03T08:14:00.000+02:00"},
                          {"point": "91.0°, 2.0°", "time": "2024-04-03T08:14:00.000+02:00"}]},
        17, "x", null, {"startTime": 5, "timelinePath": {}, "visit": []},
        {"visit": {"probability": 0.9, "topCandidate": {"placeId": "p", "placeLocation": {"latLng": "-1.5°, 2.5°"}}},
         "startTime": "2024-04-03T10:00:00Z", "endTime": "2024-04-03T11:00:00Z"},
        {"activity": {"start": {"latLng": "3°, 3°"}}}], "rawSignals": [{"position": {"LatLng": "1°, 1°"}}]})");
    ASSERT_TRUE(android) << android.error().message;
    EXPECT_THAT(*android, ElementsAre(LocationRecord{utc(2024, 4, 3, 6, 13), 48.8577, 2.295},
                                      LocationRecord{utc(2024, 4, 3, 10), -1.5, 2.5},
                                      LocationRecord{utc(2024, 4, 3, 11), -1.5, 2.5}));

    const auto other = parse(R"([
        {"timelinePath": [{"point": "geo:48.857700,2.295000", "durationMinutesOffsetFromStartTime": "13"},
                          {"point": "geo:1,2;u=35", "durationMinutesOffsetFromStartTime": "many"}],
         "endTime": "2024-04-03T10:00:00.000+02:00", "startTime": "2024-04-03T08:00:00.000+02:00"},
        {"startTime": "2024-04-03T10:00:00Z", "endTime": "2024-04-03T11:00:00Z",
         "visit": {"topCandidate": {"placeLocation": "geo:-1.5,2.5"}}}])");
    ASSERT_TRUE(other) << other.error().message;
    EXPECT_EQ(*other, *android);
}

TEST(Tracks, ReadTimedPointsOfGpxAndKml) {
    const auto gpx = parse(R"(<?xml version="1.0"?><!-- > --><!DOCTYPE gpx [<!ENTITY a "b>"> ]>
        <g:gpx xmlns:g='x'><metadata><time>2001-01-01T00:00:00Z</time></metadata>
        <g:wpt lat='1' lon='2'><time> 2020-05-01T10:00:00Z </time></g:wpt>
        <trk><name>a &lt; b</name><trkseg>
        <trkpt lat="-33.5" lon = "151.25"><ele>5</ele><time>2020-05-01T12:00:00+02:00</time><hdop>1</hdop></trkpt>
        <trkpt lat="5" lon="5"/><trkpt lat="95" lon="5"><time>2020-05-01T12:00:00Z</time></trkpt>
        </trkseg></trk></g:gpx>
)");
    ASSERT_TRUE(gpx);
    EXPECT_THAT(*gpx, ElementsAre(LocationRecord{utc(2020, 5, 1, 10), 1, 2},
                                  LocationRecord{utc(2020, 5, 1, 10), -33.5, 151.25}));

    const auto kml = parse(R"(<kml><Document>
        <Placemark><gx:Track><when>2020-05-01T10:00:00Z</when><when>bad</when><when>2020-05-01T12:00:00Z</when>
          <gx:coord>151.25 -33.5 7</gx:coord><gx:coord>1 1 1</gx:coord></gx:Track></Placemark>
        <Placemark><TimeSpan><begin>2020-05-02T10:00:00Z</begin><end>2020-05-02T11:00:00Z</end></TimeSpan>
          <Point><coordinates>2,1,0</coordinates></Point></Placemark>
        <Placemark><TimeStamp><when>2020-05-03</when></TimeStamp>
          <LineString><coordinates>9,9 8,8</coordinates></LineString></Placemark></Document></kml>)");
    ASSERT_TRUE(kml);
    EXPECT_THAT(*kml, ElementsAre(LocationRecord{utc(2020, 5, 1, 10), -33.5, 151.25},
                                  LocationRecord{utc(2020, 5, 2, 10), 1, 2},
                                  LocationRecord{utc(2020, 5, 2, 11), 1, 2}));
}

TEST(Tracks, DeepAndUnbalancedMarkupFailsAndEndsSoon) {
    std::string deep = "<gpx>";
    for (int level = 0; level < 100'000; ++level) deep += "<a>";
    EXPECT_FALSE(parse(deep));
    EXPECT_FALSE(parse("[" + std::string(200'000, '[')));
    EXPECT_FALSE(parse(R"({"semanticSegments": [)" + std::string(200'000, '{')));
}

}  // namespace
}  // namespace kelvaris

#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "analysis/stamp_grammar.h"
#include "analysis/stamp_reader.h"
#include "analysis/timestamp_detection_service.h"
#include "images/image_loading.h"
#include "platform_fake/fake_clock.h"
#include "platform_fake/fake_language.h"
#include "platform_fake/fake_vision.h"
#include "sample_roll/frame.h"

namespace kelvaris {
namespace {

namespace roll = sample_roll;

constexpr int latestYear = 2027;

std::string dateText(std::string_view text) {
    const auto date = parseStampDate(text, latestYear);
    return date ? fmt::format("{:04}-{:02}-{:02}", date->year, date->month, date->day) : "none";
}

TEST(StampGrammarTest, EveryFormOfAStampGivesItsDate) {
    for (const auto& [text, date] : std::initializer_list<std::pair<std::string_view, std::string_view>>{
             {"1998-7-24", "1998-07-24"},   {"1998/07/24", "1998-07-24"},  {"2001.6.30", "2001-06-30"},
             {"1998 7 24", "1998-07-24"},   {"JUL 24 1998", "1998-07-24"}, {"24 JUL 1998", "1998-07-24"},
             {"98.7.24", "1998-07-24"},     {"98 7 24", "1998-07-24"},     {"98-07-24", "1998-07-24"},
             {"7/24/98", "1998-07-24"},     {"24/7/1998", "1998-07-24"},   {"JUL 1998", "1998-07-01"},
             {"'98 7 24", "1998-07-24"},    {"7 24 '98", "1998-07-24"},    {"24 7 '98", "1998-07-24"},
             {"27 1 2", "2027-01-02"},      {"70 1 2", "1970-01-02"},      {"04 2 29", "2004-02-29"},
             {"98 - 7 - 24", "1998-07-24"},
         }) {
        EXPECT_EQ(dateText(text), date) << text;
    }
}

TEST(StampGrammarTest, WhatIsNoDateOfTheWindowGivesNone) {
    for (const std::string_view text :
         {"",          "98",        "98 7",      "98 13 24",  "98 7 32",     "03 2 29",
          "28 1 2",    "69 1 2",    "1969 1 2",  "2028 1 2",  "98 7.24",     "24 7 98",
          "'98 '7 24", "12345 1 2", "98 7 24 5", "JUL 24 98", "XYZ 24 1998", "98 7 24x",
          "198 7 24",  "98724",     "13/13/98",  "98  ",      "0 0 0",       "'98 7 '24"}) {
        EXPECT_EQ(dateText(text), "none") << text;
    }
}

TEST(StampGrammarTest, LettersInNumbersAreTakenForTheDigitsTheyLookLike) {
    EXPECT_EQ(withDigitsPutRight("9B 7 Z4"), "98 7 24");
    EXPECT_EQ(withDigitsPutRight("'O3 I 5"), "'03 I 5");
    EXPECT_EQ(withDigitsPutRight("JUL 1O 1998"), "JUL 10 1998");
}

struct Stamped {
    std::string text;
    roll::Scene scene;
    std::uint64_t seed;
    roll::StampCorner corner = roll::StampCorner::bottomRight;
    float size = 0.032F;
    float strength = 0.7F;
};

Image painted(const roll::FrameRecipe& recipe) {
    roll::Frame frame(recipe);
    auto bitmap = std::make_shared<Bitmap>(Bitmap{frame.width(), frame.height(), frame.channels(), {}});
    for (int y = 0; y < frame.height(); ++y) {
        const auto row = frame.row8(y);
        bitmap->pixels.insert(bitmap->pixels.end(), row.begin(), row.end());
    }
    return bitmap;
}

Image stamped(const Stamped& frame) {
    roll::DateStamp stamp{.text = frame.text, .corner = frame.corner, .digitHeight = frame.size};
    stamp.light = stamp.light * frame.strength;
    return painted({.scene = frame.scene, .seed = frame.seed, .width = 800, .height = 534, .stamp = stamp});
}

class TimestampDetectionTest : public ::testing::Test {
protected:
    std::string detected(const Image& image) {
        const auto date = service_.detectDate(*image);
        return date ? fmt::format("{:04}-{:02}-{:02}", date->year, date->month, date->day) : "none";
    }

    FakeClock clock_;
    FakeLanguage language_;
    FakeVision vision_;
    TimestampDetectionService service_{vision_, language_, clock_.wall()};
};

TEST_F(TimestampDetectionTest, ReadsBurnedInDigitsOfManyFormsAndPlaces) {
    int read = 0;
    for (const auto& [frame, date] : std::initializer_list<std::pair<Stamped, std::string_view>>{
             {{"'98  7 24", roll::Scene::hills, 100}, "1998-07-24"},
             {{"98 12 31", roll::Scene::street, 101, roll::StampCorner::bottomLeft}, "1998-12-31"},
             {{"7 24 '98", roll::Scene::nightStreet, 103, roll::StampCorner::topRight, 0.036F}, "1998-07-24"},
             {{"96.8.17", roll::Scene::stillLife, 105, roll::StampCorner::bottomRight, 0.026F}, "1996-08-17"},
             {{"99-11- 2", roll::Scene::portrait, 106, roll::StampCorner::bottomRight, 0.03F, 1.1F},
              "1999-11-02"},
             {{"2001 6 30", roll::Scene::hills, 107}, "2001-06-30"},
         }) {
        const std::string found = detected(stamped(frame));
        EXPECT_THAT(found, ::testing::AnyOf(date, "none")) << frame.text;
        if (found == date) ++read;
    }
    // Not every stamp can be read, but most are, and none is read wrongly.
    EXPECT_GE(read, 5);
}

TEST_F(TimestampDetectionTest, ReadsTheStampWhicheverWayTheFrameLies) {
    const Image lying = stamped({"'98  7 24", roll::Scene::hills, 100});
    for (const RotationAngle turn :
         {RotationAngle::clockwise90, RotationAngle::clockwise180, RotationAngle::clockwise270}) {
        EXPECT_EQ(detected(ImageLoading::transformed(lying, 1, turn)), "1998-07-24");
    }
}

TEST_F(TimestampDetectionTest, FindsNoDateWhereNoneStands) {
    for (const roll::Scene scene : roll::allScenes) {
        EXPECT_EQ(detected(painted({.scene = scene, .seed = 501, .width = 800, .height = 534})), "none");
    }
    EXPECT_EQ(detected(std::make_shared<Bitmap>(Bitmap{1, 1, 3, {255, 0, 0}})), "none");
    EXPECT_EQ(detected(painted({.width = 90, .height = 60, .monochrome = true})), "none");
}

TEST_F(TimestampDetectionTest, AFigureThatIsNoDateGivesNone) {
    EXPECT_EQ(detected(stamped({"88 88 88", roll::Scene::hills, 100})), "none");
}

TEST_F(TimestampDetectionTest, TheTextEngineCountsOnlyWhenItIsSureOfAWholeDate) {
    const Image frame = stamped({"88 88 88", roll::Scene::hills, 100});
    const auto answer = [&](std::vector<TextObservation> found) {
        vision_.texts = [found](const Image&, const TextRequest&) { return found; };
        return detected(frame);
    };
    EXPECT_EQ(answer({{"JUL 24 I998", 0.95}}), "1998-07-24");
    EXPECT_EQ(answer({{"JUL 24 1998", 0.6}}), "none");
    EXPECT_EQ(answer({{"JULY 24", 0.95}}), "none");
    EXPECT_EQ(answer({{"98 7 24", 0.95}, {"98 7 25", 0.95}}), "none");
    vision_.texts = [](const Image&, const TextRequest&) {
        return VisionResult<std::vector<TextObservation>>(Unexpected(VisionError{"failed"}));
    };
    EXPECT_EQ(detected(frame), "none");
}

TEST_F(TimestampDetectionTest, TheInstantIsMidnightWhereTheUserIs) {
    const auto instant = service_.detectTimestamp(stamped({"'98  7 24", roll::Scene::hills, 100}));
    ASSERT_TRUE(instant);
    EXPECT_EQ(language_.localTime(*instant), (CivilTime{.year = 1998, .month = 7, .day = 24}));
}

}  // namespace
}  // namespace kelvaris

#include <gmock/gmock.h>

#include "advisor_fixture.h"

namespace kelvaris {
namespace {

using ::testing::DoubleEq;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::Pair;
using Photo = RollSnapshot::PhotoSnapshot;

TEST(ColorTemperature, TellsWarmFromCool) {
    EXPECT_EQ(colorTemperature("#E0A060"), ColorTemperature::warm);
    EXPECT_EQ(colorTemperature("6080D0"), ColorTemperature::cool);
    for (const char* neutral : {"#808080", "abc", "", "#GG0000", "#E0A06", "-12345", "#E0A060FF"}) {
        EXPECT_EQ(colorTemperature(neutral), ColorTemperature::neutral) << neutral;
    }
}

TEST(ShootingProfile, OfNothingIsEmpty) {
    Advisor advisor;
    EXPECT_EQ(advisor.profile({}), ShootingProfile());

    // Gear of rolls that were never analyzed says nothing yet.
    RollSnapshot unanalyzed{
        {{.cameraMake = "Canon", .cameraModel = "AE-1", .filmName = "Portra 400", .filmISO = 400}}};
    unanalyzed.rolls[0].photos.resize(3);
    EXPECT_EQ(advisor.profile(unanalyzed), (ShootingProfile{.totalRolls = 1, .totalPhotos = 3}));
}

TEST(ShootingProfile, CountsEachFractionOverItsOwnPhotos) {
    Advisor advisor;
    RollSnapshot snapshot{{{.photos = photos(8, 4, {PhotoLabel::street, PhotoLabel::gem})}, {}}};
    auto& list = snapshot.rolls[0].photos;
    list[0].qualityScore = 8;
    list[1].nimaScore = 0.5;
    list[2].nimaScore = 0.75;
    list[3].peopleCount = 3;
    list[4].peopleCount = 1;
    list[0].clipLabels = std::vector<std::string>{"golden hour sunlight", "shallow depth of field bokeh"};
    list[1].clipLabels = std::vector<std::string>{"golden hour", "film grain", "warm golden hour"};
    list[2].clipLabels = std::vector<std::string>{};
    list[3].dominantColors = std::vector<std::string>{"#E0A060", "#6080D0"};
    list[4].dominantColors = std::vector<std::string>{"#808080"};
    list[5].dominantColors = std::vector<std::string>{};
    list[6].placeCategories = std::map<std::string, float>{{"places365_living_room", 0.6f}, {"beach", 0.3f}};
    list[7].placeCategories = std::map<std::string, float>{{"Beach", 0.5f}, {"places365_street", 0.5f}};
    list[5].placeCategories = std::map<std::string, float>{};
    list.push_back({.labels = {PhotoLabel::night}, .qualityScore = 100});  // not analyzed

    const ShootingProfile profile = advisor.profile(snapshot);
    EXPECT_EQ(profile.totalRolls, 2);
    EXPECT_EQ(profile.totalPhotos, 9);
    EXPECT_EQ(profile.analyzedPhotos, 8);
    EXPECT_DOUBLE_EQ(profile.avgPhotosPerRoll, 4.5);
    EXPECT_DOUBLE_EQ(profile.streetPercent, 0.5);
    EXPECT_DOUBLE_EQ(profile.gemPercent, 0.5);
    EXPECT_DOUBLE_EQ(profile.nightPercent, 0);
    EXPECT_DOUBLE_EQ(profile.avgQuality, 1);
    EXPECT_EQ(profile.avgNimaScore, 0.625);
    EXPECT_EQ(profile.nimaPhotosCount, 2);
    EXPECT_DOUBLE_EQ(profile.peoplePhotoPercent, 0.25);
    EXPECT_DOUBLE_EQ(profile.avgPeopleCount, 2);
    EXPECT_DOUBLE_EQ(profile.goldenHourPercent, 2.0 / 3);
    EXPECT_DOUBLE_EQ(profile.bokehPercent, 1.0 / 3);
    EXPECT_DOUBLE_EQ(profile.grainPercent, 1.0 / 3);
    EXPECT_DOUBLE_EQ(profile.warmColorRatio, 0.5);
    EXPECT_DOUBLE_EQ(profile.coolColorRatio, 0);
    EXPECT_DOUBLE_EQ(profile.indoorPercent, 0.5);
    EXPECT_DOUBLE_EQ(profile.outdoorPercent, 0.5);
    EXPECT_THAT(profile.topSceneCategories,
                ElementsAre(Pair("beach", DoubleEq(0.5)), Pair("living room", DoubleEq(0.5))));
}

TEST(ShootingProfile, NamesTheGearThatWasUsed) {
    Advisor advisor;
    const RollSnapshot snapshot{{
        {.cameraMake = "CANON",
         .cameraModel = "ae-1",
         .filmName = "portra 400",
         .filmISO = 400,
         .photos = photos(1)},
        {.cameraMake = "Canon", .cameraModel = "AE-1", .filmName = "KODAK PORTRA 400", .filmISO = 800},
        {.cameraModel = "Homemade", .cameraFormat = FilmFormat::sixBySix, .filmName = "Mystery"},
    }};
    const ShootingProfile profile = advisor.profile(snapshot);
    EXPECT_THAT(profile.usedCameraMakes, ElementsAre("canon"));
    EXPECT_THAT(profile.usedCameraModels, ElementsAre("canon ae-1", "homemade"));
    EXPECT_THAT(profile.usedCameraTypes, ElementsAre("SLR"));
    EXPECT_THAT(profile.usedFormats, ElementsAre("35mm", "6x6"));
    EXPECT_THAT(profile.usedFilmNames, ElementsAre("kodak portra 400", "mystery", "portra 400"));
    EXPECT_THAT(profile.usedFilmBrands, ElementsAre("kodak"));
    EXPECT_THAT(profile.usedFilmTypes, ElementsAre("CN"));
    EXPECT_THAT(profile.usedISOs, ElementsAre(400, 800));
}

TEST(ShootingProfile, KeepsTheFiveMostFrequentScenes) {
    Advisor advisor;
    RollSnapshot snapshot{{{.photos = photos(8)}}};
    const char* const scenes[] = {"a", "b", "c", "d", "e", "f", "f", "e"};
    for (int i = 0; i < 8; ++i) {
        snapshot.rolls[0].photos[i].placeCategories = std::map<std::string, float>{{scenes[i], 1.0f}};
    }
    EXPECT_THAT(
        advisor.profile(snapshot).topSceneCategories,
        ElementsAre(Pair("e", 0.25), Pair("f", 0.25), Pair("a", 0.125), Pair("b", 0.125), Pair("c", 0.125)));
}

TEST(ShootingProfile, NamesSubjectsAboveTheirThresholds) {
    EXPECT_EQ((ShootingProfile{.streetPercent = 0.15}).dominantSubject(), "versatile");
    EXPECT_EQ((ShootingProfile{.landscapePercent = 0.3, .streetPercent = 0.3}).dominantSubject(),
              "landscape");
    const ShootingProfile profile{.facePercent = 0.2,
                                  .personPercent = 0.4,
                                  .streetPercent = 0.1,
                                  .foodPercent = 0.2,
                                  .nightPercent = 0.3};
    EXPECT_EQ(profile.dominantSubject(), "portrait");
    EXPECT_DOUBLE_EQ(profile.subjectFraction("portrait"), 0.4);
    EXPECT_THAT(profile.secondarySubjects(), ElementsAre(Pair("night", 0.3), Pair("food", 0.2)));
    EXPECT_THAT(
        (ShootingProfile{.bokehPercent = 0.15, .lightLeakPercent = 0.2, .warmColorRatio = 0.5}).styleTraits(),
        ElementsAre("light leaks", "warm tones"));
    EXPECT_THAT(ShootingProfile().styleTraits(), IsEmpty());
}

}  // namespace
}  // namespace kelvaris

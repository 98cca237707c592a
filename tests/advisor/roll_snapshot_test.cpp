#include "advisor/roll_snapshot.h"

#include <gmock/gmock.h>

#include "library/roll_loading.h"
#include "library_world.h"

namespace kelvaris {
namespace {

TEST(RollSnapshot, CopiesWhatTheAnalysisFound) {
    testing::LibraryWorld world;
    const RollPointer roll = world.makeRoll(2);
    loadFolder(*roll, false);
    ASSERT_EQ(roll->photos().size(), 2u);
    roll->setCameraMake("Canon");
    roll->setCameraModel("AE-1");
    roll->setCameraFormat(FilmFormat::sixBySix);
    roll->setFilmName("Portra 400");
    roll->setFilmISO(400);
    for (const PhotoPointer& photo : roll->photos()) {
        photo->setLabels({PhotoLabel::street});
        photo->setClipLabels(std::vector<std::string>{"golden hour"});
    }
    PhotoItem& analyzed = *roll->photos()[1];
    analyzed.setLabelsAnalyzed(true);
    analyzed.setQualityScore(0.5);
    analyzed.setPeopleCount(2);
    analyzed.setNimaScore(0.7);
    analyzed.setDominantColors(std::vector<std::string>{"#e0a060"});
    analyzed.setPlaceCategories(TagConfidences{{"beach", 0.5f}});

    const std::vector<RollPointer> rolls{roll};
    const RollSnapshot snapshot = RollSnapshot::capture(rolls);
    ASSERT_EQ(snapshot.rolls.size(), 1u);
    const auto& data = snapshot.rolls[0];
    EXPECT_EQ(data.cameraMake + data.cameraModel + data.filmName, "CanonAE-1Portra 400");
    EXPECT_EQ(data.cameraFormat, FilmFormat::sixBySix);
    EXPECT_EQ(data.filmISO, 400);
    ASSERT_EQ(data.photos.size(), 2u);
    EXPECT_FALSE(data.photos[0].labelsAnalyzed);
    EXPECT_FALSE(data.photos[0].clipLabels) << "nothing reads an unfinished analysis";
    const auto& photo = data.photos[1];
    EXPECT_TRUE(photo.labelsAnalyzed);
    EXPECT_TRUE(photo.labels.contains(PhotoLabel::street));
    EXPECT_EQ(photo.qualityScore, 0.5);
    EXPECT_EQ(photo.peopleCount, 2);
    EXPECT_EQ(photo.nimaScore, 0.7);
    EXPECT_EQ(photo.clipLabels, analyzed.clipLabels());
    EXPECT_EQ(photo.dominantColors, analyzed.dominantColors());
    EXPECT_EQ(photo.placeCategories, analyzed.placeCategories());
}

}  // namespace
}  // namespace kelvaris

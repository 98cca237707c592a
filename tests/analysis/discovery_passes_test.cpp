#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "analysis/analysis_orchestrator.h"
#include "library/roll_analysis.h"
#include "log_capture.h"
#include "model_world.h"

namespace kelvaris {
namespace {

using enum PhotoLabel;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Key;
using testing::LogCapture;
using testing::sparse;
using ::testing::UnorderedElementsAre;

/// Sharp vertical stripes in the colour.
Bitmap stripes(int width, int height, std::uint8_t red) {
    Bitmap bitmap{width, height, 3, {}};
    for (int i = 0; i < width * height; ++i) {
        const bool isLight = i % width / 4 % 2 == 0;
        bitmap.pixels.insert(bitmap.pixels.end(), {red, static_cast<std::uint8_t>(isLight ? 60 : 200),
                                                   static_cast<std::uint8_t>(isLight ? 40 : 180)});
    }
    return bitmap;
}

class DiscoveryPassesTest : public ::testing::Test, protected testing::ModelWorld {
protected:
    DiscoveryPassesTest() { machine.images.setDefaultPicture({.upright = stripes(120, 80, 120)}); }

    RollPointer openRoll(int photoCount) { return openedRoll(photoCount, analysisServices); }
    RollPointer analyzedRoll(int photoCount) {
        const auto roll = openRoll(photoCount);
        startAnalysisPipeline(*roll, false, {.onEnd = [this](RunEnd) { ++done; }});
        machine.settle();
        return roll;
    }
    void installAll() {
        installClip();
        installNima(sparse({{8, 1}}, 10));
        installPlaces({"beach", "attic", "alley"}, {0.6F, 0.3F, 0.1F});
        installFaceNet();
        vision->faces = [](const Image& image) {
            const double side = 60.0 / image->longSide();
            return std::vector<FaceObservation>(
                2, {.box = {0.3, 0.3, side, side}, .confidence = 1, .landmarks = {}});
        };
    }
    /// @return how often progress was told.
    int refresh(const PhotoList& photos) {
        int told = 0;
        orchestrator.refreshDiscovery(
            photos, cancellation, [&](int, int) { ++told; }, [this] { ++refreshed; });
        machine.settle();
        return told;
    }
    FakeOperationQueue& queue(std::string_view name) { return *machine.queues.queue(name); }

    PhotoAnalysisService service{vision, loading, waits, nullptr, nullptr};
    AnalysisOrchestrator orchestrator{{.thumbnails = thumbnailTools(),
                                       .loading = loading,
                                       .analysis = service,
                                       .preferences = preferences,
                                       .shell = machine.shell,
                                       .animator = animator,
                                       .queues = machine.queues,
                                       .thumbnailCacheBase = Path("/home/user/.cache/Kelvaris/thumbnails"),
                                       .home = machine.places.home,
                                       .models = services}};
    LibraryServices analysisServices = servicesWith(orchestrator);
    AnalysisCancellationPointer cancellation = std::make_shared<AnalysisCancellation>();
    int done = 0;
    int refreshed = 0;
};

TEST_F(DiscoveryPassesTest, ARollGoesThroughEveryModelWithOneDecodeForEachSize) {
    installAll();
    preferences.set(settings::deepAnalysisEnabled, true);
    LogCapture log;
    const auto roll = analyzedRoll(2);
    EXPECT_EQ(done, 1);
    for (const PhotoPointer& photo : roll->photos()) {
        EXPECT_NEAR(photo->nimaScore().value_or(-1), 8.0 / 9, 1e-6);
        EXPECT_THAT(*photo->placeCategories(),
                    UnorderedElementsAre(Key("beach"), Key("attic"), Key("alley")));
        EXPECT_TRUE(photo->labels().contains(water));
        ASSERT_TRUE(photo->clipEmbedding());
        EXPECT_EQ(photo->clipEmbedding()->size(), 512U);
        EXPECT_TRUE(photo->clipLabels());
        ASSERT_TRUE(photo->faceRegions());
        EXPECT_EQ(photo->faceRegions()->size(), 2U);
        EXPECT_EQ(photo->faceAnalysisStamp(), currentFaceAnalysisStamp);
        EXPECT_EQ(photo->peopleCount(), 2);
        // Thumbnail with the 1200 pixels of a deep look, 224 and 4000: no model and no recount decodes anew.
        EXPECT_EQ(machine.images.decodeCount(photo->sourceURL()), 3);
    }
    EXPECT_TRUE(log.contains("NIMA scoring complete: 2 photos scored"));
    EXPECT_TRUE(log.contains("Places365 classification complete: 2 photos classified"));
    EXPECT_TRUE(log.contains("Deep analysis complete: 2 photos with CLIP labels"));
    EXPECT_TRUE(log.contains("Face embedding generation complete: 2 photos with faces (eager)"));
}

TEST_F(DiscoveryPassesTest, StylesAndFacesWaitForTheDeepLookAndScoresForTheGems) {
    installAll();
    preferences.set(settings::gemSpotterEnabled, false);
    const auto roll = analyzedRoll(1);
    const PhotoItem& photo = *roll->photos()[0];
    EXPECT_FALSE(photo.nimaScore());
    EXPECT_TRUE(photo.placeCategories());
    EXPECT_FALSE(photo.clipEmbedding());
    EXPECT_FALSE(photo.faceRegions());
    EXPECT_EQ(photo.peopleCount(), 2) << "people are counted without the face model";
}

TEST_F(DiscoveryPassesTest, WhatAModelFindsOfAPhotoThatMovedOnIsDropped) {
    installAll();
    preferences.set(settings::deepAnalysisEnabled, true);
    const auto roll = openRoll(2);
    startAnalysisPipeline(*roll, false, {.onEnd = [this](RunEnd) { ++done; }});
    // Up to the passes, which have run when the photo is turned.
    while (queue("com.kelvaris.thumbnails").runNext() || queue("com.kelvaris.analysis").runNext()) {
        machine.main.drain();
    }
    queue("com.kelvaris.utility").runAll();
    roll->photos()[0]->invalidateOrientationCaches();
    roll->photos()[0]->setRotation(RotationAngle::clockwise90);
    machine.settle();
    EXPECT_EQ(done, 1);
    EXPECT_FALSE(roll->photos()[0]->clipEmbedding());
    EXPECT_FALSE(roll->photos()[0]->faceRegions());
    EXPECT_FALSE(roll->photos()[0]->nimaScore());
    EXPECT_TRUE(roll->photos()[1]->clipEmbedding());
    // Nothing is held back from the next run.
    roll->photos()[0]->setLabelsAnalyzed(false);
    startAnalysisPipeline(*roll, false, {.onEnd = [this](RunEnd) { ++done; }});
    machine.settle();
    EXPECT_TRUE(roll->photos()[0]->faceRegions());
}

TEST_F(DiscoveryPassesTest, TheMinuteCountsFromEachPhotoOfAPassAndACallOffEndsIt) {
    using namespace std::chrono_literals;
    preferences.set(settings::faceFinderEnabled, false);
    RollPointer roll;
    int scored = 0;
    bool callsOff = false;
    install(ModelID::nima, "NIMA.mlmodelc", FakeModel::ofPicture(224, [&](const Bitmap&) {
                ++scored;
                machine.clock.advance(40s);
                machine.main.drain();
                EXPECT_TRUE(callsOff || roll->isAnalyzing()) << scored;
                if (callsOff) cancelAnalysis(*roll);
                return sparse({{8, 1}}, 10);
            }));
    std::vector<RunEnd> ends;
    const RunListener listener{.onEnd = [&](RunEnd end) { ends.push_back(end); }};
    roll = openRoll(5);
    startAnalysisPipeline(*roll, false, listener);
    machine.settle();
    EXPECT_EQ(scored, 5);
    callsOff = true;
    ASSERT_TRUE(reanalyzeAllPhotos(*roll, listener));
    machine.settle();
    EXPECT_EQ(scored, 7) << "the worker hears of it one photo later";
    EXPECT_EQ(ends, (std::vector{RunEnd::completed, RunEnd::cancelled}));
}

TEST_F(DiscoveryPassesTest, AModelThatGoesAwayInThePassLeavesTheRestWhole) {
    installAll();
    int scored = 0;
    install(ModelID::nima, "NIMA.mlmodelc", FakeModel::ofPicture(224, [&](const Bitmap&) {
                if (++scored == 2) {
                    machine.files.erase(tools.folder(ModelID::nima));
                    nima.reload();
                }
                return sparse({{8, 1}}, 10);
            }));
    const auto roll = analyzedRoll(3);
    EXPECT_EQ(done, 1);
    EXPECT_TRUE(roll->photos()[1]->nimaScore());
    EXPECT_FALSE(roll->photos()[2]->nimaScore());
    EXPECT_TRUE(roll->photos()[2]->placeCategories());
}

TEST_F(DiscoveryPassesTest, ARefreshBringsPhotosUpOnceAndLeavesRotationAndUsersWordAlone) {
    const auto roll = analyzedRoll(3);
    const PhotoPointer photo = roll->photos()[0];
    photo->setRotation(RotationAngle::clockwise90);
    photo->setRotationSource(MetadataSource::photo);
    photo->setManualLabel(water, false, nullptr, nullptr);
    photo->setVisionTags({{"old", 0.5F}, {"clip_old style", 0.5F}, {"places365_old place", 0.5F}});
    vision->scenes = always<SceneObservation>({{"Flower", 0.5F}});
    installAll();

    EXPECT_THAT(orchestrator.discoveryRevision(),
                HasSubstr("discovery-2/clip-vit-b16-dfn,nima,places365,facenet/1"));
    EXPECT_EQ(refresh(roll->photos()), 3);
    EXPECT_EQ(refreshed, 1);
    EXPECT_EQ(photo->discoveryRevision(), orchestrator.discoveryRevision());
    EXPECT_EQ(photo->rotation(), RotationAngle::clockwise90);
    EXPECT_TRUE(photo->labels().contains(flora));
    EXPECT_FALSE(photo->labels().contains(water));
    EXPECT_THAT(photo->visionTags(), UnorderedElementsAre(Key("Flower"), Key("places365_beach"),
                                                          Key("places365_attic"), Key("places365_alley")));
    EXPECT_TRUE(photo->clipEmbedding() && photo->faceRegions() && photo->nimaScore());

    EXPECT_EQ(refresh(roll->photos()), 0);
    EXPECT_EQ(refreshed, 2);
    // One vector of an older version: that photo alone is looked at again, and its faces alone are found
    // anew.
    std::vector<FaceRegion> regions = *photo->faceRegions();
    regions[1].embeddingVersion = 2;
    photo->setFaceRegions(regions);
    EXPECT_EQ(refresh(roll->photos()), 1);
    EXPECT_EQ((*photo->faceRegions())[1].embeddingVersion, 3);
}

TEST_F(DiscoveryPassesTest, OldStylesAndPlacesStayWhereNoModelSpeaksAnew) {
    const auto roll = analyzedRoll(1);
    const PhotoPointer photo = roll->photos()[0];
    photo->setVisionTags({{"old", 0.5F}, {"clip_old style", 0.5F}, {"places365_old place", 0.5F}});
    refresh(roll->photos());
    EXPECT_THAT(photo->visionTags(), UnorderedElementsAre(Key("clip_old style"), Key("places365_old place")));
    EXPECT_EQ(photo->discoveryRevision(), "discovery-2//111110");
}

TEST_F(DiscoveryPassesTest, APhotoThatLacksSomethingStaysBehind) {
    installAll();
    install(ModelID::places365, "Places365.mlmodelc",
            FakeModel::ofPicture(224, [](const Bitmap&) { return std::vector<float>{1}; }));
    const auto roll = analyzedRoll(2);
    machine.files.erase(roll->photos()[1]->sourceURL());
    EXPECT_EQ(refresh(roll->photos()), 2);
    EXPECT_FALSE(roll->photos()[0]->discoveryRevision()) << "no place";
    EXPECT_TRUE(roll->photos()[0]->clipEmbedding());
    EXPECT_FALSE(roll->photos()[1]->discoveryRevision()) << "no file";
    EXPECT_EQ(refreshed, 1);
    // Without gems nobody asks for the score.
    switchedOff.insert(ModelID::places365);
    preferences.set(settings::gemSpotterEnabled, false);
    roll->photos()[0]->setNimaScore(std::nullopt);
    refresh(roll->photos());
    EXPECT_TRUE(roll->photos()[0]->discoveryRevision());
    EXPECT_FALSE(roll->photos()[0]->nimaScore());
}

TEST_F(DiscoveryPassesTest, ARefreshIsCalledOffBetweenAnyTwoPhotos) {
    installAll();
    for (int last = 0; last <= 3; ++last) {
        const auto roll = openRoll(4);
        cancellation = std::make_shared<AnalysisCancellation>();
        refreshed = 0;
        if (last == 0) cancellation->cancel();
        int told = 0;
        orchestrator.refreshDiscovery(
            roll->photos(), cancellation,
            [&](int count, int total) {
                EXPECT_EQ(total, 4);
                told = count;
                if (count == last) cancellation->cancel();
            },
            [this] { ++refreshed; });
        machine.settle();
        EXPECT_EQ(told, last);
        EXPECT_EQ(refreshed, 0);
        const auto isDone = [](const PhotoPointer& photo) { return photo->discoveryRevision().has_value(); };
        EXPECT_EQ(std::ranges::count_if(roll->photos(), isDone), last);
    }
}

TEST_F(DiscoveryPassesTest, ARefreshOfPhotosThatMovedOnChangesNothingAndEnds) {
    const auto roll = analyzedRoll(2);
    orchestrator.refreshDiscovery(roll->photos(), cancellation, nullptr, [this] { ++refreshed; });
    queue("com.kelvaris.analysis").runAll();
    roll->photos()[0]->setAnalysisGeneration(RunStamp::random());
    machine.settle();
    EXPECT_EQ(refreshed, 1);
    EXPECT_FALSE(roll->photos()[0]->discoveryRevision());
    EXPECT_TRUE(roll->photos()[1]->discoveryRevision());
}

}  // namespace
}  // namespace kelvaris

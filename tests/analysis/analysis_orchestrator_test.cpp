#include "analysis/analysis_orchestrator.h"

#include <gtest/gtest.h>

#include <thread>

#include "library/roll_analysis.h"
#include "library_world.h"
#include "platform_fake/fake_limited_waits.h"
#include "platform_fake/fake_vision.h"

namespace kelvaris {
namespace {

using enum PhotoLabel;
using namespace std::chrono_literals;
using LoadState = PhotoItem::LoadState;
using Ends = std::vector<RunEnd>;

/// Stripes that are sharp and well exposed.
Bitmap stripes(int width, int height) {
    Bitmap bitmap{width, height, 3, {}};
    for (int i = 0; i < width * height; ++i) {
        bitmap.pixels.insert(bitmap.pixels.end(), 3,
                             static_cast<std::uint8_t>(i % width / 4 % 2 == 0 ? 60 : 200));
    }
    return bitmap;
}

class AnalysisOrchestratorTest : public ::testing::Test, protected testing::LibraryWorld {
protected:
    AnalysisOrchestratorTest() {
        machine.images.setDefaultPicture({.upright = stripes(120, 80)});
        decision.status = OrientationDecision::Status::uncertain;
    }

    RollPointer openRoll(int photoCount) { return openedRoll(photoCount, analysisServices); }
    FakeOperationQueue& queue(std::string_view name) { return *machine.queues.queue(name); }
    /// Runs the thumbnails and hands them over, so that the analyses wait in their queue.
    void loadThumbnails() {
        queue("com.kelvaris.thumbnails").runAll();
        machine.main.drain();
    }
    int decodes(const PhotoItem& photo) const { return machine.images.decodeCount(photo.sourceURL()); }

    std::shared_ptr<FakeVision> vision = std::make_shared<FakeVision>();
    FakeLimitedWaits waits;
    ImageLoading loading{machine.images};
    OrientationDecision decision;
    std::vector<bool> assessedDeep;
    PhotoAnalysisService service{vision, loading, waits,
                                 [this](const Image&, bool deep) {
                                     assessedDeep.push_back(deep);
                                     return decision;
                                 },
                                 nullptr};
    AnalysisOrchestrator::Tools tools() {
        return {.thumbnails = thumbnailTools(),
                .loading = loading,
                .analysis = service,
                .preferences = preferences,
                .shell = machine.shell,
                .animator = animator,
                .queues = machine.queues,
                .thumbnailCacheBase = Path("/home/user/.cache/Kelvaris/thumbnails"),
                .home = machine.places.home};
    }
    AnalysisOrchestrator orchestrator{tools()};
    LibraryServices analysisServices = servicesWith(orchestrator);
    int done = 0;
    std::vector<RunEnd> ends;
    const RunListener countDone{.onEnd = [this](RunEnd end) {
        ++done;
        ends.push_back(end);
    }};
};

TEST_F(AnalysisOrchestratorTest, ARollIsAnalysedToTheEndWithOneDecodeForThumbnailAndAnalysis) {
    preferences.set(settings::faceFinderEnabled, false);
    const auto roll = openRoll(4);
    startAnalysisPipeline(*roll, false, countDone);
    machine.settle();
    EXPECT_EQ(done, 1);
    int gems = 0;
    for (const PhotoPointer& photo : roll->photos()) {
        EXPECT_TRUE(photo->labelsAnalyzed());
        EXPECT_EQ(photo->loadState(), LoadState::loaded);
        EXPECT_TRUE(photo->perceptualHash());
        EXPECT_GT(photo->qualityScore(), 0.5);
        EXPECT_TRUE(photo->thumbnail());
        EXPECT_FALSE(photo->thumbnailCGImage()) << "bitmaps for analysis are not kept";
        EXPECT_EQ(decodes(*photo), 1);
        gems += photo->labels().contains(gem) ? 1 : 0;
    }
    EXPECT_EQ(gems, 1);

    // A second run finds nothing to do, and says so at once.
    startAnalysisPipeline(*roll, false, countDone);
    EXPECT_EQ(done, 2);
    machine.settle();
    EXPECT_EQ(done, 2);
    EXPECT_EQ(decodes(*roll->photos()[0]), 1);
}

TEST_F(AnalysisOrchestratorTest, ADeepLookTakesItsLargerFrameFromTheSameDecode) {
    preferences.set(settings::faceFinderEnabled, false);
    preferences.set(settings::deepAnalysisEnabled, true);
    machine.images.setDefaultPicture({.upright = stripes(1500, 20)});
    int longest = 0;
    vision->scenes = [&](const Image& image) {
        longest = image->longSide();
        return std::vector<SceneObservation>();
    };
    const auto roll = openRoll(1);
    startAnalysisPipeline(*roll, false, countDone);
    machine.settle();
    EXPECT_EQ(done, 1);
    EXPECT_EQ(longest, 1200);
    EXPECT_EQ(roll->photos()[0]->thumbnail()->longSide(), 300);
    EXPECT_EQ(decodes(*roll->photos()[0]), 1);
}

TEST_F(AnalysisOrchestratorTest, ARollInTheCloudIsFetchedByTwosInBothKindsOfRun) {
    const Path folder = machine.places.home / "Dropbox/kyoto";
    makeRoll(5, folder);
    const auto roll = FilmRoll::make(folder, RollID::random(), analysisServices);
    loadFolder(*roll, false);
    machine.settle();
    auto& cloud = queue("com.kelvaris.thumbnails.cloud");
    ASSERT_EQ(cloud.width(), 2);
    startAnalysisPipeline(*roll, false, countDone);
    EXPECT_EQ(cloud.waitingCount(), 5U);
    EXPECT_EQ(queue("com.kelvaris.thumbnails").waitingCount(), 0U);
    machine.settle();
    EXPECT_EQ(done, 1);
    ASSERT_TRUE(reanalyzeAllPhotos(*roll, countDone));
    EXPECT_EQ(cloud.waitingCount(), 5U);
    EXPECT_EQ(queue("com.kelvaris.thumbnails").waitingCount(), 0U);
    machine.settle();
    EXPECT_EQ(done, 2);
}

/// Whatever a run waits for when its roll is closed, it says so once and keeps no photo.
TEST_F(AnalysisOrchestratorTest, ARollThatIsClosedInMidRunLeavesNothingBehind) {
    using Step = std::function<void()>;
    const std::vector<Step> steps = {
        [] {},
        [this] { queue("com.kelvaris.thumbnails").runNext(); },
        [this] { loadThumbnails(); },
        [this] { queue("com.kelvaris.analysis").runAll(); },
        [this] { machine.main.drain(); },
        [this] { queue("com.kelvaris.utility").runAll(); },
    };
    for (std::size_t last = 0; last < steps.size(); ++last) {
        auto roll = openRoll(2);
        const std::weak_ptr<PhotoItem> photo = roll->photos()[0];
        startAnalysisPipeline(*roll, false, countDone);
        for (std::size_t step = 0; step <= last; ++step) steps[step]();
        roll.reset();
        machine.settle();
        EXPECT_EQ(std::exchange(ends, {}), Ends{RunEnd::subjectGone}) << last;
        EXPECT_TRUE(photo.expired()) << last;
    }
}

TEST_F(AnalysisOrchestratorTest, AClassifierThatHangsCostsOnePhotoItsSceneAndTheRunNothing) {
    preferences.set(settings::faceFinderEnabled, false);
    std::mutex stuck;
    std::unique_lock held(stuck);
    std::atomic<int> asked = 0;
    vision->scenes = [&](const Image&) {
        if (++asked == 1) const std::lock_guard waits(stuck);
        return std::vector<SceneObservation>{{"lake", 0.9F}};
    };
    const auto roll = openRoll(3);
    startAnalysisPipeline(*roll, false, countDone);
    loadThumbnails();
    waits.expireNext(1);
    queue("com.kelvaris.analysis").runNext();
    ASSERT_EQ(waits.expired(), std::vector<std::chrono::nanoseconds>{10s});
    while (asked == 0) std::this_thread::yield();  // so that it is the first that is stuck
    machine.settle();
    EXPECT_EQ(done, 1);
    EXPECT_TRUE(roll->photos()[0]->labelsAnalyzed());
    EXPECT_EQ(roll->photos()[0]->loadState(), LoadState::loaded);
    EXPECT_FALSE(roll->photos()[0]->labels().contains(water));
    EXPECT_TRUE(roll->photos()[1]->labels().contains(water));

    // Its answer comes when nobody waits for it any more.
    held.unlock();
    waits.join();
    machine.settle();
    EXPECT_EQ(done, 1);
    EXPECT_FALSE(roll->photos()[0]->labels().contains(water));
}

/// Photos that fail, turn, wait for the orientation model and are slow, all in one run.
TEST_F(AnalysisOrchestratorTest, ARunOfManyTroublesEndsOnce) {
    decision = {.status = OrientationDecision::Status::failed,
                .reason = std::string(orientation_reason::inferenceTimeout)};
    const auto roll = openRoll(6);
    machine.files.erase(roll->photos()[1]->sourceURL());
    startAnalysisPipeline(*roll, false, countDone);
    loadThumbnails();
    for (int round = 0; round < 4; ++round) {
        queue("com.kelvaris.analysis").runNext();
        roll->photos()[static_cast<std::size_t>(round)]->setRotation(RotationAngle::clockwise90);
        machine.main.drain();
    }
    // The screen stops waiting before the run is at its end.
    machine.clock.advance(61s);
    machine.main.drain();
    EXPECT_EQ(done, 0);
    EXPECT_FALSE(roll->isAnalyzing());
    machine.settle();
    EXPECT_EQ(ends, Ends{RunEnd::completed});
    for (const PhotoPointer& photo : roll->photos()) EXPECT_TRUE(photo->labelsAnalyzed());
    machine.advance(2min);
    EXPECT_EQ(done, 1);
}

TEST_F(AnalysisOrchestratorTest, APhotoThatIsTurnedInFlightIsAnalysedAgainAndCountsOnce) {
    preferences.set(settings::faceFinderEnabled, false);
    const auto roll = openRoll(2);
    startAnalysisPipeline(*roll, false, countDone);
    loadThumbnails();
    ASSERT_EQ(queue("com.kelvaris.analysis").waitingCount(), 2U);
    const PhotoPointer photo = roll->photos()[0];
    queue("com.kelvaris.analysis").runNext();
    photo->setRotation(RotationAngle::clockwise90);
    photo->setRotationSource(MetadataSource::photo);
    machine.main.drain();
    EXPECT_FALSE(photo->labelsAnalyzed());
    machine.settle();
    EXPECT_EQ(done, 1);
    EXPECT_TRUE(photo->labelsAnalyzed());
    EXPECT_FALSE(photo->orientationDecision()) << "the user's own rotation is not assessed";
    EXPECT_EQ(decodes(*photo), 1) << "the frame serves again";
    EXPECT_EQ(assessedDeep.size(), 2U);
}

TEST_F(AnalysisOrchestratorTest, ASwitchTurnedInFlightSendsEveryPhotoBack) {
    const auto roll = openRoll(3);
    startAnalysisPipeline(*roll, false, countDone);
    loadThumbnails();
    queue("com.kelvaris.analysis").runAll();
    preferences.set(settings::autoRotateOnOpen, false);
    machine.main.drain();
    EXPECT_EQ(queue("com.kelvaris.analysis").waitingCount(), 3U);
    machine.settle();
    EXPECT_EQ(done, 1);
    EXPECT_FALSE(roll->photos()[2]->orientationDecision());
}

TEST_F(AnalysisOrchestratorTest, ABusyOrientationModelIsAskedOnceMore) {
    decision = {.status = OrientationDecision::Status::failed,
                .reason = std::string(orientation_reason::inferenceBusy)};
    const auto roll = openRoll(1);
    startAnalysisPipeline(*roll, false, countDone);
    machine.settle();
    EXPECT_EQ(done, 1);
    EXPECT_EQ(assessedDeep.size(), 2U);
    ASSERT_TRUE(roll->photos()[0]->orientationDecision());
    EXPECT_EQ(roll->photos()[0]->orientationDecision()->reason, orientation_reason::inferenceBusy);

    decision.reason = std::string(orientation_reason::modelMissing);
    const auto other = openRoll(1);
    startAnalysisPipeline(*other, false);
    machine.settle();
    EXPECT_EQ(assessedDeep.size(), 3U);
}

TEST_F(AnalysisOrchestratorTest, ALaterRunTakesThePhotosOver) {
    const auto roll = openRoll(3);
    int analyzed = 0;
    const auto callbacks = [&] {
        return AnalysisCallbacks{
            .onPhotoAnalyzed = [&](const PhotoPointer&, const AnalysisResult&) { ++analyzed; },
            .ending = RunEnding(machine.main, std::weak_ptr(roll), countDone.onEnd)};
    };
    orchestrator.analyzeRoll(roll->photos(), roll->sourceFolder(), roll->id(), false, callbacks());
    loadThumbnails();
    queue("com.kelvaris.analysis").runAll();
    orchestrator.reanalyze(roll->photos(), roll->photos(), false, callbacks());
    machine.settle();
    EXPECT_EQ(ends, (Ends{RunEnd::cancelled, RunEnd::completed}));
    EXPECT_EQ(analyzed, 3);

    // A second look at one photo takes it from a run of all; what that found of the others stays.
    orchestrator.reanalyze(roll->photos(), roll->photos(), false, callbacks());
    orchestrator.reanalyze({roll->photos()[1]}, roll->photos(), false, callbacks());
    machine.settle();
    EXPECT_EQ(analyzed, 6);
    EXPECT_EQ(done, 4);
}

TEST_F(AnalysisOrchestratorTest, ARunThatIsCalledOffLeavesWhatItHasNotBegun) {
    preferences.set(settings::faceFinderEnabled, false);
    const auto roll = openRoll(200);
    startAnalysisPipeline(*roll, false, countDone);
    loadThumbnails();
    queue("com.kelvaris.analysis").runNext();
    cancelAnalysis(*roll);
    machine.settle();
    EXPECT_EQ(ends, Ends{RunEnd::cancelled});
    EXPECT_FALSE(roll->photos()[0]->labelsAnalyzed()) << "it was under way";
    EXPECT_EQ(decodes(*roll->photos()[199]), 0);
    startAnalysisPipeline(*roll, false, countDone);
    machine.settle();
    EXPECT_EQ(ends.back(), RunEnd::completed) << "and the roll can be analysed again";
    EXPECT_TRUE(roll->photos()[199]->labelsAnalyzed());
}

TEST_F(AnalysisOrchestratorTest, ARunThatIsDroppedWithThePipelineStillEnds) {
    auto own = std::make_unique<AnalysisOrchestrator>(tools());
    LibraryServices ownServices = servicesWith(*own);
    const auto roll = openedRoll(3, ownServices);
    startAnalysisPipeline(*roll, false, countDone);
    queue("com.kelvaris.thumbnails").runNext();
    own.reset();
    EXPECT_EQ(done, 0);
    machine.settle();
    EXPECT_EQ(ends, Ends{RunEnd::cancelled});
    EXPECT_FALSE(roll->isAnalyzing());
}

TEST_F(AnalysisOrchestratorTest, ARollOfManySlowPhotosIsAnalysingToTheLast) {
    const auto roll = openRoll(130);
    machine.images.setDefaultPicture({.upright = stripes(12, 8)});
    startAnalysisPipeline(*roll, false, countDone);
    loadThumbnails();
    // The pass over each photo and then the recount of people.
    for (const char* name : {"com.kelvaris.analysis", "com.kelvaris.utility"}) {
        while (queue(name).runNext()) {
            ASSERT_TRUE(roll->isAnalyzing());
            machine.clock.advance(40s);
            machine.main.drain();
            loadThumbnails();
        }
    }
    EXPECT_EQ(ends, Ends{RunEnd::completed});
    EXPECT_FALSE(roll->isAnalyzing());
}

TEST_F(AnalysisOrchestratorTest, WhatComesAfterTheTimeOutIsTaken) {
    const auto roll = openRoll(2);
    startAnalysisPipeline(*roll, false, countDone);
    loadThumbnails();
    machine.clock.advance(5min);
    machine.main.drain();
    EXPECT_FALSE(roll->isAnalyzing());
    EXPECT_EQ(done, 0);
    machine.settle();
    EXPECT_EQ(ends, Ends{RunEnd::completed});
    EXPECT_TRUE(roll->photos()[1]->labelsAnalyzed());
}

TEST_F(AnalysisOrchestratorTest, MissingPhotosKeepWhatTheyHaveAndAreNotOpened) {
    const auto roll = openRoll(9);
    startAnalysisPipeline(*roll, false);
    machine.settle();
    const auto gone =
        std::ranges::find_if(roll->photos(), [](const auto& photo) { return photo->labels().contains(gem); });
    ASSERT_NE(gone, roll->photos().end());
    const PhotoPointer missing = *gone;
    const PhotoLabelSet labels = missing->labels();
    missing->setIsMissing(true);
    missing->setPeopleCount(2);
    const int opened = machine.images.openCount(missing->sourceURL());
    ASSERT_TRUE(reanalyzeAllPhotos(*roll, countDone));
    machine.settle();
    orchestrator.reanalyze(roll->photos(), roll->photos(), false,
                           {.onPhotoAnalyzed = [&](const PhotoPointer& photo, const AnalysisResult&) {
                               EXPECT_NE(photo, missing);
                           }});
    machine.settle();
    bool hasRefreshed = false;
    missing->setDiscoveryRevision("behind");
    orchestrator.refreshDiscovery(roll->photos(), std::make_shared<AnalysisCancellation>(), nullptr,
                                  [&] { hasRefreshed = true; });
    machine.settle();
    EXPECT_EQ(ends, Ends{RunEnd::completed});
    EXPECT_TRUE(hasRefreshed);
    EXPECT_EQ(missing->discoveryRevision(), "behind");
    EXPECT_EQ(missing->labels(), labels) << "it may stay a gem";
    EXPECT_EQ(missing->peopleCount(), 2);
    EXPECT_EQ(machine.images.openCount(missing->sourceURL()), opened);
    EXPECT_EQ(std::ranges::count_if(roll->photos(), [](const auto& p) { return p->labels().contains(gem); }),
              2);
}

TEST_F(AnalysisOrchestratorTest, APhotoThatGoesInMidRunIsNotTakenForOneThatWasLookedAt) {
    // The last of them has its thumbnail in the cache, and its turn after the first lot.
    const auto roll = openRoll(70);
    for (const PhotoPointer& photo : roll->photos()) photo->setLabelsAnalyzed(true);
    startAnalysisPipeline(*roll, false);
    machine.settle();
    for (const PhotoPointer& photo : roll->photos()) {
        photo->setLabelsAnalyzed(false);
        photo->setThumbnail(nullptr);
        machine.images.setPicture(photo->sourceURL(), {.upright = stripes(120, 80)});
    }
    const PhotoPointer inTime = roll->photos()[0];
    const PhotoPointer onTheWay = roll->photos()[1];
    const PhotoPointer toCome = roll->photos()[69];
    startAnalysisPipeline(*roll, false, countDone);
    queue("com.kelvaris.thumbnails").runNext();
    for (const PhotoPointer& photo : roll->photos()) machine.files.erase(photo->sourceURL());
    toCome->setIsMissing(true);
    const int opened = machine.images.openCount(toCome->sourceURL());
    loadThumbnails();
    for (const PhotoPointer& photo : roll->photos()) photo->setIsMissing(true);
    machine.settle();
    EXPECT_TRUE(inTime->labelsAnalyzed()) << "it was read in time";
    EXPECT_FALSE(onTheWay->labelsAnalyzed());
    EXPECT_FALSE(toCome->labelsAnalyzed());
    EXPECT_EQ(machine.images.openCount(toCome->sourceURL()), opened);
    EXPECT_EQ(ends, Ends{RunEnd::completed});
}

TEST_F(AnalysisOrchestratorTest, FilesThatCannotBeReadFailAloneAndTheRunEnds) {
    const auto roll = openRoll(3);
    machine.files.erase(roll->photos()[1]->sourceURL());
    std::vector<bool> outcomes;
    startAnalysisPipeline(*roll, false, countDone);
    machine.settle();
    EXPECT_EQ(done, 1);
    EXPECT_EQ(roll->photos()[0]->loadState(), LoadState::loaded);
    EXPECT_EQ(roll->photos()[1]->loadState(), LoadState::failed);
    EXPECT_TRUE(roll->photos()[1]->labelsAnalyzed());
    EXPECT_FALSE(roll->photos()[1]->labels().contains(gem));
}

TEST_F(AnalysisOrchestratorTest, MemoryDoesNotGrowWithTheRoll) {
    preferences.set(settings::faceFinderEnabled, false);
    const auto roll = openRoll(200);
    startAnalysisPipeline(*roll, false, countDone);
    std::size_t most = 0;
    bool isWorking = true;
    while (isWorking) {
        machine.main.drain();
        isWorking = queue("com.kelvaris.thumbnails").runNext() || queue("com.kelvaris.analysis").runNext() ||
                    machine.queues.runAll();
        std::size_t held = queue("com.kelvaris.analysis").waitingCount();
        for (const PhotoPointer& photo : roll->photos()) held += photo->thumbnailCGImage() ? 1 : 0;
        most = std::max(most, held);
    }
    machine.settle();
    EXPECT_EQ(done, 1);
    EXPECT_LE(most, 64U);
    for (const PhotoPointer& photo : roll->photos()) {
        EXPECT_TRUE(photo->labelsAnalyzed());
        EXPECT_EQ(decodes(*photo), 1);
    }
}

TEST_F(AnalysisOrchestratorTest, PeopleAreRecountedOnLargePicturesUnlessThePhotoMovedOn) {
    const auto roll = openRoll(2);
    machine.images.setDefaultPicture({.upright = stripes(1200, 20)});
    vision->faces = [](const Image& image) {
        return std::vector<FaceObservation>(image->longSide() > 800 ? 3 : 0);
    };
    startAnalysisPipeline(*roll, false, countDone);
    loadThumbnails();
    queue("com.kelvaris.analysis").runAll();
    machine.main.drain();
    EXPECT_EQ(roll->photos()[0]->peopleCount(), 0);
    queue("com.kelvaris.utility").runAll();
    roll->photos()[1]->setSourceURL(Path("/elsewhere/002.jpg"));
    machine.settle();
    EXPECT_EQ(done, 1);
    EXPECT_EQ(roll->photos()[0]->peopleCount(), 3);
    EXPECT_TRUE(roll->photos()[0]->labels().contains(person));
    EXPECT_EQ(roll->photos()[1]->peopleCount(), 0);
}

TEST_F(AnalysisOrchestratorTest, APhotoThatIsAnalysedAgainStaysOneOfItsRoll) {
    const auto roll = openRoll(9);
    // Faint enough to be taken for a leader at the edge of a roll, not within.
    auto faint = stripes(120, 80);
    for (std::uint8_t& value : faint.pixels) value = value == 60 ? 92 : 112;
    machine.images.setPicture(roll->photos()[4]->sourceURL(), {.upright = faint});
    startAnalysisPipeline(*roll, false, countDone);
    machine.settle();
    const auto labelsOfAll = [&] {
        std::vector<PhotoLabelSet> labels;
        for (const PhotoPointer& photo : roll->photos()) labels.push_back(photo->labels());
        return labels;
    };
    const auto labels = labelsOfAll();
    ASSERT_EQ(std::ranges::count_if(labels, [](const auto& each) { return each.contains(gem); }), 2);
    ASSERT_FALSE(labels[4].contains(blank) || labels[4].contains(gem));
    ASSERT_TRUE(smartReanalyzeSinglePhoto(*roll, roll->photos()[4], countDone));
    machine.settle();
    EXPECT_EQ(done, 2);
    EXPECT_EQ(labelsOfAll(), labels);
}

TEST_F(AnalysisOrchestratorTest, TheUsersWordOnAGemGoesBeforeTheChoice) {
    PhotoList photos;
    for (int i = 0; i < 8; ++i) {
        photos.push_back(std::make_shared<PhotoItem>(Path(fmt::format("/roll/{}.jpg", i)), i));
        photos[i]->setLabelsAnalyzed(true);
        photos[i]->setQualityScore(0.9 - 0.05 * i);
    }
    photos[0]->setManualLabel(gem, false, nullptr, nullptr);
    photos[1]->setNimaScore(0.1);  // 0.6 * 0.1 + 0.4 * 0.85 = 0.4
    photos[7]->setManualLabel(gem, true, nullptr, nullptr);
    photos[6]->setLabels({gem, water});
    orchestrator.refreshGems(photos);
    std::string chosen;
    for (const PhotoPointer& photo : photos) chosen += photo->labels().contains(gem) ? '1' : '0';
    EXPECT_EQ(chosen, "00100001");
    EXPECT_TRUE(photos[6]->labels().contains(water));

    // Missing photos compete as they last stood, and their marks stay.
    photos[5]->setLabels({gem});
    photos[5]->setIsMissing(true);
    photos[2]->setLabels({});
    photos[2]->setIsMissing(true);
    orchestrator.refreshGems(photos);
    EXPECT_TRUE(photos[5]->labels().contains(gem));
    EXPECT_FALSE(photos[2]->labels().contains(gem));
    EXPECT_FALSE(photos[3]->labels().contains(gem)) << "the best one only comes back";

    preferences.set(settings::gemSpotterEnabled, false);
    photos[3]->setQualityScore(1);
    orchestrator.refreshGems(photos);
    EXPECT_FALSE(photos[3]->labels().contains(gem));
}

TEST_F(AnalysisOrchestratorTest, TheRevisionTellsModelsAndSwitches) {
    EXPECT_EQ(orchestrator.discoveryRevision(), "discovery-2//111110");
    preferences.set(settings::filmIssuesEnabled, false);
    preferences.set(settings::deepAnalysisEnabled, true);
    EXPECT_EQ(orchestrator.discoveryRevision(), "discovery-2//110111");
}

}  // namespace
}  // namespace kelvaris

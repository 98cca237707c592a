#include "library/roll_analysis.h"

#include <gmock/gmock.h>

#include "library/roll_loading.h"
#include "library_world.h"
#include "log_capture.h"

namespace kelvaris {
namespace {

using namespace std::chrono_literals;
using Availability = FilmRoll::CloudAvailability;
using Ends = std::vector<RunEnd>;

class RollAnalysisTest : public ::testing::Test, protected testing::LibraryWorld {
protected:
    RollPointer openRoll(int photoCount) {
        const auto roll = makeRoll(photoCount);
        loadFolder(*roll, false);
        return roll;
    }
    /// What a listener heard.
    struct Heard {
        std::vector<RunEnd> ends;
        int released = 0;
    };
    static RunListener listener(Heard& heard) {
        return {.onEnd = [&heard](RunEnd end) { heard.ends.push_back(end); },
                .onReleased = [&heard] { ++heard.released; }};
    }
    Heard first;
    Heard second;

    static AnalysisResult sideways() {
        AnalysisResult result;
        result.labels = {PhotoLabel::street};
        result.qualityScore = 0.7;
        result.suggestedRotation = RotationAngle::clockwise270;
        result.orientationDecision = OrientationDecision{.status = OrientationDecision::Status::correction};
        return result;
    }
};

TEST_F(RollAnalysisTest, ATimeWithoutPhotosFreesTheInterfaceAndIsNoEnd) {
    const auto roll = openRoll(2);
    startAnalysisPipeline(*roll, false, listener(first));
    EXPECT_TRUE(roll->isAnalyzing());
    machine.advance(59s);
    EXPECT_TRUE(roll->isAnalyzing());
    machine.advance(1s);
    EXPECT_FALSE(roll->isAnalyzing());
    EXPECT_EQ(first.released, 1);
    EXPECT_TRUE(first.ends.empty());

    startAnalysisPipeline(*roll, true, listener(second));
    pipeline.runs[0].end();
    EXPECT_EQ(first.ends, Ends{RunEnd::completed});
    EXPECT_EQ(first.released, 1);
    EXPECT_TRUE(roll->isAnalyzing()) << "the end of an older run leaves the newer one alone";
    pipeline.runs[1].end();
    EXPECT_FALSE(roll->isAnalyzing());
    EXPECT_EQ(second.released, 1);
    machine.advance(2min);
    EXPECT_EQ(second.released, 1);
    EXPECT_EQ(second.ends, Ends{RunEnd::completed});
    EXPECT_TRUE(pipeline.runs[1].isBackground);
}

TEST_F(RollAnalysisTest, ARollOfManySlowPhotosStaysAnalysingToItsEnd) {
    const auto roll = openRoll(3);
    startAnalysisPipeline(*roll, false, listener(first));
    for (int photo = 0; photo < 400; ++photo) {
        machine.advance(20s);
        ASSERT_TRUE(roll->isAnalyzing()) << photo;
        pipeline.runs[0].finishPhoto();
    }
    EXPECT_EQ(first.released, 0);
    machine.advance(59s);
    EXPECT_TRUE(roll->isAnalyzing()) << "the minute counts from the last photo";
    pipeline.runs[0].end();
    EXPECT_FALSE(roll->isAnalyzing());
    EXPECT_EQ(first.ends, Ends{RunEnd::completed});
}

TEST_F(RollAnalysisTest, ARunBehindOtherWorkIsNotTakenForStuck) {
    const auto roll = openRoll(1);
    bool isBehind = true;
    RunListener waiting = listener(first);
    waiting.isWaitingItsTurn = [&] { return isBehind; };
    startAnalysisPipeline(*roll, true, waiting);
    machine.advance(10min);
    EXPECT_TRUE(roll->isAnalyzing());
    isBehind = false;
    machine.advance(60s);
    EXPECT_FALSE(roll->isAnalyzing());
    EXPECT_EQ(first.released, 1);
}

TEST_F(RollAnalysisTest, TheTimeoutOfAnOlderRunLeavesTheNewerOneAlone) {
    const auto roll = openRoll(1);
    startAnalysisPipeline(*roll, false);
    machine.advance(59s);
    startAnalysisPipeline(*roll, false);
    machine.advance(2s);
    EXPECT_TRUE(roll->isAnalyzing());
    machine.advance(58s);
    EXPECT_FALSE(roll->isAnalyzing());
}

TEST_F(RollAnalysisTest, ARunThatIsCalledOffLeavesTheRollAtOnceAndTellsItsEndItself) {
    const auto roll = openRoll(2);
    startAnalysisPipeline(*roll, false, listener(first));
    const RunStamp generation = roll->photos()[0]->analysisGeneration();
    cancelAnalysis(*roll);
    EXPECT_FALSE(roll->isAnalyzing());
    EXPECT_NE(roll->photos()[0]->analysisGeneration(), generation) << "what comes late is known by it";
    EXPECT_TRUE(first.ends.empty());
    pipeline.runs.clear();
    machine.settle();
    EXPECT_EQ(first.ends, Ends{RunEnd::cancelled});
    EXPECT_EQ(first.released, 1);
}

TEST_F(RollAnalysisTest, MissingPhotosAndRollsThatAreAwayAreNotAnalysed) {
    const auto roll = openRoll(3);
    roll->photos()[1]->setIsMissing(true);
    roll->photos()[1]->setQualityScore(0.4);
    ASSERT_TRUE(reanalyzeAllPhotos(*roll));
    EXPECT_EQ(pipeline.runs.back().photos, (PhotoList{roll->photos()[0], roll->photos()[2]}));
    EXPECT_EQ(roll->photos()[1]->qualityScore(), 0.4) << "nothing would bring it back";
    pipeline.runs.back().end(RunEnd::failed);
    EXPECT_EQ(roll->statusNotification(), StatusNotification::error("Could not re-analyze 2 photos"));
    EXPECT_FALSE(smartReanalyzeSinglePhoto(*roll, roll->photos()[1]));

    roll->photos()[0]->setLabelsAnalyzed(true);
    roll->photos()[2]->setLabelsAnalyzed(true);
    EXPECT_FALSE(needsAnalysis(*roll));
    EXPECT_FALSE(smartReanalyze(*roll));
    startAnalysisPipeline(*roll, false);
    EXPECT_FALSE(roll->isAnalyzing());

    roll->photos()[0]->setLabelsAnalyzed(false);
    roll->setIsDisconnected(true);
    const std::size_t runs = pipeline.runs.size();
    startAnalysisPipeline(*roll, false, listener(first));
    EXPECT_FALSE(reanalyzeAllPhotos(*roll));
    EXPECT_FALSE(smartReanalyze(*roll));
    EXPECT_EQ(pipeline.runs.size(), runs);
    EXPECT_EQ(first.ends, Ends{RunEnd::failed});
    EXPECT_FALSE(roll->isAnalyzing());
}

TEST_F(RollAnalysisTest, LateResultsAreStillTaken) {
    const auto roll = openRoll(1);
    startAnalysisPipeline(*roll, false);
    machine.advance(61s);
    pipeline.runs[0].callbacks.onPhotoAnalyzed(roll->photos()[0], sideways());
    EXPECT_TRUE(roll->photos()[0]->labelsAnalyzed());
}

TEST_F(RollAnalysisTest, ARollThatIsAnalysedAlreadyStillLoadsButNeverShowsAsAnalysing) {
    const auto roll = openRoll(2);
    for (const auto& photo : roll->photos()) photo->setLabelsAnalyzed(true);
    int done = 0;
    startAnalysisPipeline(*roll, false, {.onEnd = [&](RunEnd) { ++done; }});
    EXPECT_FALSE(roll->isAnalyzing());
    ASSERT_EQ(pipeline.runs.size(), 1u);
    machine.advance(2min);
    EXPECT_EQ(done, 0) << "no time-out runs";
    pipeline.runs[0].end();
    EXPECT_EQ(done, 1);
}

TEST_F(RollAnalysisTest, WhatComesForARollThatHasGoneOnlyEndsItsRun) {
    auto roll = openRoll(1);
    const auto photo = roll->photos()[0];
    startAnalysisPipeline(*roll, false, listener(first));
    staggerVisibility(*roll);
    roll.reset();
    const auto& callbacks = pipeline.runs[0].callbacks;
    callbacks.onPhotoAnalyzed(photo, sideways());
    callbacks.onReadOutcome(false);
    callbacks.onThumbnailsLoaded();
    callbacks.onPhotoFinished();
    pipeline.runs[0].end();
    machine.advance(2min);
    EXPECT_EQ(first.ends, Ends{RunEnd::subjectGone});
    EXPECT_EQ(first.released, 1);
    EXPECT_FALSE(photo->labelsAnalyzed());
    EXPECT_FALSE(photo->isVisible());
}

TEST_F(RollAnalysisTest, RotationFollowsTheSuggestionUnlessTheUserDecided) {
    struct Case {
        std::optional<MetadataSource> source;
        bool enabled;
        bool rotates;
    };
    for (const Case& c : {Case{std::nullopt, true, true}, Case{MetadataSource::autoDetect, true, true},
                          Case{MetadataSource::photo, true, false}, Case{MetadataSource::exif, true, false},
                          Case{MetadataSource::roll, true, false}, Case{std::nullopt, false, false}}) {
        testing::LogCapture log;
        const auto roll = openRoll(1);
        const auto photo = roll->photos()[0];
        roll->setLastExported(Instant::fromSeconds(1));
        photo->setRotationSource(c.source);
        photo->setPerceptualHash("old");
        photo->setClipEmbedding(std::vector{1.0f});
        applyAnalysisResult(*roll, sideways(), *photo, c.enabled);

        EXPECT_EQ(photo->rotation(), c.rotates ? RotationAngle::clockwise270 : RotationAngle::none);
        EXPECT_EQ(photo->displayRotationDegrees(), c.rotates ? -90.0 : 0.0);
        EXPECT_EQ(photo->rotationSource(), c.rotates ? MetadataSource::autoDetect : c.source);
        EXPECT_EQ(photo->clipEmbedding().has_value(), !c.rotates) << "vectors of the pixels as they stood";
        EXPECT_EQ(roll->exportDirty().value_or(false), c.rotates);
        EXPECT_TRUE(photo->orientationDecision()) << "the decision is taken in every case";
        EXPECT_TRUE(photo->labels().contains(PhotoLabel::street));
        EXPECT_EQ(photo->orientationCacheVersion(), 1);
        EXPECT_TRUE(log.contains(c.rotates ? "Auto-rotated 001.jpg to 270°"
                                           : "Skipped auto-rotation for 001.jpg: suggested=270° rotation=0"));
    }
}

TEST_F(RollAnalysisTest, ABurnedInDateFillsOnlyAnEmptyField) {
    const auto roll = openRoll(2);
    AnalysisResult result;
    result.detectedTimestamp = Instant::fromSeconds(5);
    applyAnalysisResult(*roll, result, *roll->photos()[0], true);
    EXPECT_EQ(roll->photos()[0]->dateSource(), MetadataSource::autoDetect);

    roll->photos()[1]->setDateSource(MetadataSource::photo);  // the user took the date away
    applyAnalysisResult(*roll, result, *roll->photos()[1], true);
    EXPECT_EQ(roll->photos()[1]->captureDate(), std::nullopt);
}

TEST_F(RollAnalysisTest, ReadOutcomesTellWhetherACloudFolderIsThere) {
    const auto cloud = makeRoll(1, Path("/home/user/Dropbox/scans"));
    EXPECT_EQ(cloud->cloudAvailability(), Availability::unknown);
    recordCloudReadOutcome(*cloud, false);
    EXPECT_EQ(cloud->cloudAvailability(), Availability::unavailable);
    recordCloudReadOutcome(*cloud, true);
    recordCloudReadOutcome(*cloud, false);
    EXPECT_EQ(cloud->cloudAvailability(), Availability::available);
    EXPECT_EQ(makeRoll(1)->cloudAvailability(), Availability::available);
}

TEST_F(RollAnalysisTest, PlacesAreNamedOnceThumbnailsAreThere) {
    const auto roll = openRoll(3);
    const auto place = [&](int i, double latitude) {
        roll->photos()[i]->setLatitude(latitude);
        roll->photos()[i]->setLongitude(2.0);
    };
    place(0, 1.0);
    place(1, 5.0);
    place(2, 9.0);
    roll->photos()[1]->setPlaceName("Known");
    machine.geocoder.names = {{{1.0, 2.0}, "Kyoto"}, {{9.0, 2.0}, "Nara"}};
    startAnalysisPipeline(*roll, false);
    pipeline.runs[0].callbacks.onThumbnailsLoaded();
    roll->photos()[0]->setLatitude(30.0);  // moved by the user before the answer arrives
    machine.settle();
    EXPECT_EQ(roll->photos()[0]->placeName(), std::nullopt);
    EXPECT_EQ(roll->photos()[1]->placeName(), "Known");
    EXPECT_EQ(roll->photos()[2]->placeName(), "Nara");
    EXPECT_EQ(machine.geocoder.requests.size(), 2u);
}

TEST_F(RollAnalysisTest, ReanalysisForgetsWhatWasDerivedAndKeepsWhatTheUserDid) {
    const auto roll = openRoll(2);
    const auto photo = roll->photos()[0];
    applyAnalysisResult(*roll, sideways(), *photo, true);
    photo->setManualLabel(PhotoLabel::gem, true, nullptr, {});
    photo->setCaptureDate(Instant::fromSeconds(1));
    photo->setDateSource(MetadataSource::autoDetect);
    photo->setLatitude(1.0);
    photo->setNimaScore(0.5);
    photo->setLoadState(PhotoItem::LoadState::failed);
    ASSERT_TRUE(smartReanalyzeSinglePhoto(*roll, photo, listener(first)));
    EXPECT_EQ(roll->statusNotification(), StatusNotification::reanalyzing("Re-analyzing 001.jpg..."));
    EXPECT_EQ(photo->labels(), PhotoLabelSet{PhotoLabel::gem});
    EXPECT_EQ(photo->captureDate(), std::nullopt);
    EXPECT_EQ(photo->rotation(), RotationAngle::clockwise270);
    EXPECT_EQ(photo->latitude(), 1.0);
    EXPECT_EQ(photo->nimaScore(), 0.5);
    EXPECT_EQ(photo->loadState(), PhotoItem::LoadState::pending);
    EXPECT_FALSE(photo->labelsAnalyzed());
    EXPECT_FALSE(photo->orientationDecision());
    EXPECT_FALSE(reanalyzeAllPhotos(*roll)) << "one run at a time";
    machine.advance(30s);
    EXPECT_FALSE(roll->isAnalyzing());
    EXPECT_EQ(first.released, 1);
}

TEST_F(RollAnalysisTest, ReanalysisChoosesWhatLacksAPassOrAllPhotos) {
    const auto roll = openRoll(3);
    EXPECT_FALSE(reanalyzeAllPhotos(*makeRoll(0, Path("/empty"))));
    for (const auto& photo : roll->photos()) photo->setLabelsAnalyzed(true);
    EXPECT_FALSE(smartReanalyze(*roll)) << "nothing to do";
    roll->photos()[1]->setLoadState(PhotoItem::LoadState::failed);
    ASSERT_TRUE(smartReanalyze(*roll));
    EXPECT_EQ(pipeline.runs.back().photos, PhotoList{roll->photos()[1]});
    EXPECT_EQ(roll->statusNotification(), StatusNotification::reanalyzing("Re-analyzing 1 photo..."));
    pipeline.runs.back().end();

    ASSERT_TRUE(reanalyzeAllPhotos(*roll));
    EXPECT_EQ(pipeline.runs.back().photos.size(), 3u);
    EXPECT_TRUE(pipeline.runs.back().isReanalysis);
    EXPECT_EQ(roll->statusNotification(), StatusNotification::reanalyzing("Re-analyzing 3 photos..."));
}

}  // namespace
}  // namespace kelvaris

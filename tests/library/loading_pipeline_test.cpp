#include "library/loading_pipeline.h"

#include <gmock/gmock.h>

#include "library/roll_analysis.h"
#include "library/roll_loading.h"
#include "library_world.h"

namespace kelvaris {
namespace {

using ::testing::ElementsAre;
using LoadState = PhotoItem::LoadState;

class LoadingPipelineTest : public ::testing::Test, protected testing::LibraryWorld {
protected:
    RollPointer openRoll(int photoCount, const Path& folder = Path("/home/user/scans/kyoto")) {
        makeRoll(photoCount, folder);
        const auto roll = FilmRoll::make(folder, RollID::random(), loadingServices);
        loadFolder(*roll, false);
        return roll;
    }
    Path cacheFolder(const FilmRoll& roll) const { return cacheBase / roll.id().text(); }

    const Path cacheBase{"/home/user/.cache/Kelvaris/thumbnails"};
    LoadingPipeline loading{thumbnailTools(), machine.queues, cacheBase, machine.places.home};
    LibraryServices loadingServices = servicesWith(loading);
};

TEST_F(LoadingPipelineTest, OneOpenedSourceGivesPlaceholderThumbnailAndBitmap) {
    FakePicture picture{.upright = solidBitmap(1200, 800, 1, 2, 3)};
    picture.thumbnail = solidBitmap(160, 120, 1, 2, 3);
    machine.images.setDefaultPicture(picture);
    const auto roll = openRoll(1);
    const auto photo = roll->photos()[0];
    const auto outcome = loadThumbnail(ThumbnailRequest(photo), cacheFolder(*roll), thumbnailTools());
    EXPECT_EQ(outcome.kind, ThumbnailOutcome::Kind::fromSource);
    EXPECT_EQ(outcome.analysisBitmap->longSide(), 800);
    EXPECT_EQ(machine.images.openCount(photo->sourceURL()), 1) << "a far file is read once";
    EXPECT_EQ(machine.images.decodeCount(photo->sourceURL()), 1)
        << "the small picture comes from the large one";

    std::vector<std::string> steps;
    const auto watching = photo->observe([&](PhotoField field) {
        if (field == PhotoField::thumbnail) {
            steps.push_back(fmt::format("{}{}", photo->thumbnail()->longSide(),
                                        photo->thumbnailIsPlaceholder() ? " placeholder" : ""));
        }
    });
    machine.settle();
    EXPECT_EQ(steps.size(), 2u);
    EXPECT_EQ(steps[0], "160 placeholder");
    EXPECT_EQ(photo->thumbnail()->longSide(), 300);
    EXPECT_FALSE(photo->thumbnailIsPlaceholder());
    EXPECT_EQ(photo->loadState(), LoadState::loaded);
    EXPECT_EQ(loadThumbnail(ThumbnailRequest(photo), cacheFolder(*roll), thumbnailTools()).kind,
              ThumbnailOutcome::Kind::alreadyLoaded);
}

TEST_F(LoadingPipelineTest, ASecondRunReadsTheCacheAndNotTheScan) {
    const auto roll = openRoll(2);
    startAnalysisPipeline(*roll, false);
    machine.settle();
    ASSERT_TRUE(machine.files.exists(cacheFolder(*roll) / "001.jpg"));

    const auto again = FilmRoll::make(roll->sourceFolder(), roll->id(), loadingServices);
    loadFolder(*again, false);
    again->photos()[0]->setFileCreationDate(std::nullopt);
    const auto outcome =
        loadThumbnail(ThumbnailRequest(again->photos()[0]), cacheFolder(*roll), thumbnailTools());
    machine.settle();
    EXPECT_EQ(outcome.kind, ThumbnailOutcome::Kind::fromCache);
    EXPECT_TRUE(again->photos()[0]->thumbnail());
    EXPECT_EQ(again->photos()[0]->captureDate(), std::nullopt) << "no EXIF is read on this path";
}

TEST_F(LoadingPipelineTest, ADamagedOrUnwritableCacheOnlyCostsTime) {
    const auto roll = openRoll(1);
    const Path cached = cacheFolder(*roll) / "001.jpg";
    machine.files.addFile(cached, "garbage");
    FakePicture damaged{.upright = solidBitmap(1, 1, 0, 0, 0)};
    damaged.openError = ImageError{ImageError::Code::notAnImage, "not an image"};
    machine.images.setPicture(cached, damaged);
    machine.files.setReadOnly(cacheFolder(*roll));
    EXPECT_EQ(loadThumbnail(ThumbnailRequest(roll->photos()[0]), cacheFolder(*roll), thumbnailTools()).kind,
              ThumbnailOutcome::Kind::fromSource);
    machine.settle();
    EXPECT_EQ(roll->photos()[0]->loadState(), LoadState::loaded);
}

TEST_F(LoadingPipelineTest, AFileThatCannotBeReadFailsAloneAndTheRunEnds) {
    const auto roll = openRoll(3, Path("/home/user/Dropbox/scans"));
    machine.files.erase(roll->photos()[1]->sourceURL());
    FakePicture damaged{.upright = solidBitmap(10, 10, 0, 0, 0)};
    damaged.thumbnail = solidBitmap(5, 5, 0, 0, 0);
    damaged.decodeError = ImageError{ImageError::Code::failed, "damaged"};
    machine.images.setPicture(roll->photos()[2]->sourceURL(), damaged);
    int done = 0;
    startAnalysisPipeline(*roll, false, {.onEnd = [&](RunEnd) { ++done; }});
    EXPECT_EQ(machine.queues.queue("com.kelvaris.thumbnails.cloud")->waitingCount(), 3u)
        << "cloud folders have their own narrow queue";
    machine.settle();
    EXPECT_EQ(done, 1);
    EXPECT_FALSE(roll->isAnalyzing());
    EXPECT_EQ(roll->cloudAvailability(), FilmRoll::CloudAvailability::available);
    EXPECT_EQ(roll->photos()[0]->loadState(), LoadState::loaded);
    EXPECT_EQ(roll->photos()[1]->loadState(), LoadState::failed);
    EXPECT_TRUE(roll->photos()[1]->labelsAnalyzed()) << "there is nothing to wait for";
    EXPECT_EQ(roll->photos()[2]->loadState(), LoadState::failed);
    EXPECT_TRUE(roll->photos()[2]->thumbnailIsPlaceholder()) << "the stop-gap stays";
    EXPECT_TRUE(roll->photos()[2]->thumbnail());
}

TEST_F(LoadingPipelineTest, EveryRunTellsItsOwnEndOnce) {
    const auto roll = openRoll(2);
    std::vector<RunEnd> ends;
    const auto run = [&](AnalysisPipeline& pipeline, const RollPointer& of) {
        const RunEnding ending(machine.main, std::weak_ptr(of), [&](RunEnd end) { ends.push_back(end); });
        pipeline.reanalyze(of->photos(), of->photos(), false, {.ending = ending});
    };
    const auto told = [&] {
        machine.settle();
        return std::exchange(ends, {});
    };

    run(loading, roll);
    run(loading, roll);
    EXPECT_THAT(told(), ElementsAre(RunEnd::cancelled, RunEnd::completed));

    auto own =
        std::make_unique<LoadingPipeline>(thumbnailTools(), machine.queues, cacheBase, machine.places.home);
    run(*own, roll);
    own.reset();
    EXPECT_TRUE(ends.empty());
    EXPECT_THAT(told(), ElementsAre(RunEnd::cancelled));

    auto closed = openRoll(2, Path("/home/user/scans/osaka"));
    run(loading, closed);
    closed.reset();
    EXPECT_THAT(told(), ElementsAre(RunEnd::subjectGone));

    const auto unreadable = openRoll(2, Path("/home/user/scans/nara"));
    for (const auto& photo : unreadable->photos()) machine.files.erase(photo->sourceURL());
    run(loading, unreadable);
    EXPECT_THAT(told(), ElementsAre(RunEnd::failed));

    for (const auto& photo : roll->photos()) photo->setIsMissing(true);
    run(loading, roll);
    EXPECT_THAT(told(), ElementsAre(RunEnd::completed));
}

TEST_F(LoadingPipelineTest, AMissingPhotoIsShownFromTheCacheAlone) {
    const auto roll = openRoll(2);
    startAnalysisPipeline(*roll, false);
    machine.settle();
    const auto again = FilmRoll::make(roll->sourceFolder(), roll->id(), loadingServices);
    loadFolder(*again, false);
    machine.settle();
    machine.files.erase(cacheFolder(*roll) / "002.jpg");
    for (const auto& photo : again->photos()) photo->setIsMissing(true);
    const int opened = machine.images.openCount(again->photos()[1]->sourceURL());
    startAnalysisPipeline(*again, false);
    loading.loadSidebarThumbnails(again->photos(), again->id(), 2, false);
    machine.settle();
    EXPECT_TRUE(again->photos()[0]->thumbnail());
    EXPECT_FALSE(again->photos()[1]->thumbnail());
    EXPECT_EQ(machine.images.openCount(again->photos()[1]->sourceURL()), opened);
    EXPECT_EQ(again->photos()[1]->loadState(), LoadState::pending) << "nobody tried to read it";
    EXPECT_FALSE(again->photos()[1]->labelsAnalyzed());
}

TEST_F(LoadingPipelineTest, TheSidebarLoadsOnlyTheFirstAndKeepsNoBitmap) {
    const auto roll = openRoll(8);
    loading.loadSidebarThumbnails(roll->photos(), roll->id(), 6, false);
    machine.settle();
    EXPECT_TRUE(roll->photos()[5]->thumbnail());
    EXPECT_FALSE(roll->photos()[5]->thumbnailCGImage());
    EXPECT_FALSE(roll->photos()[6]->thumbnail());
}

/// Queues of threads that the test can wait for.
class WaitingFactory final : public OperationQueueFactory {
public:
    std::unique_ptr<OperationQueue> makeQueue(std::string name, int width) override {
        auto queue = std::make_unique<ThreadedOperationQueue>(std::move(name), width);
        queues_.push_back(queue.get());
        return queue;
    }
    void waitUntilIdle() {
        for (ThreadedOperationQueue* queue : queues_) queue->waitUntilIdle();
    }

private:
    std::vector<ThreadedOperationQueue*> queues_;
};

TEST_F(LoadingPipelineTest, OnRealThreadsEditsRunsAndRemovalsMeetWithoutHarm) {
    WaitingFactory threads;
    LoadingPipeline threaded(thumbnailTools(), threads, cacheBase, machine.places.home);
    const LibraryServices threadedServices = servicesWith(threaded);
    makeRoll(60);
    auto roll = FilmRoll::make(Path("/home/user/scans/kyoto"), RollID::random(), threadedServices);
    int done = 0;
    loadFolder(*roll, true);
    startAnalysisPipeline(*roll, false, {.onEnd = [&](RunEnd) { ++done; }});
    for (const auto& photo : roll->photos()) {
        photo->setRotation(RotationAngle::clockwise90);
        photo->setSourceURL(roll->sourceFolder() / ("moved" + photo->filename()));
        machine.main.drain();
    }
    threads.waitUntilIdle();
    machine.main.drain();
    EXPECT_EQ(done, 1);
    EXPECT_EQ(roll->photos()[59]->loadState(), LoadState::loaded) << "the run has the places of its start";

    std::optional<RunEnd> end;
    startAnalysisPipeline(*roll, true, {.onEnd = [&](RunEnd told) { end = told; }});
    roll.reset();
    threads.waitUntilIdle();
    machine.main.drain();
    EXPECT_EQ(end, RunEnd::subjectGone);
}

}  // namespace
}  // namespace kelvaris

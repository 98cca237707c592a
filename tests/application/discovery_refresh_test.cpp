#include "application/discovery_refresh.h"

#include <gtest/gtest.h>

#include "app_world.h"
#include "platform_fake/fake_limited_waits.h"
#include "platform_fake/fake_vision.h"

namespace kelvaris {
namespace {

class DiscoveryRefreshTest : public ::testing::Test, protected testing::AppWorld {
protected:
    int refreshedPhotos(const FilmRoll& roll) {
        return static_cast<int>(std::ranges::count_if(
            roll.photos(), [](const PhotoPointer& photo) { return photo->discoveryRevision().has_value(); }));
    }
    bool hasRevisionOnDisk(const FilmRoll& roll) {
        return rollFile(roll).find("discoveryRevision") != std::string::npos;
    }
    FakeOperationQueue& analysisQueue() { return *machine.queues.queue("com.kelvaris.analysis"); }

    std::shared_ptr<FakeVision> vision = std::make_shared<FakeVision>();
    FakeLimitedWaits waits;
    ImageLoading loading{machine.images};
    PhotoAnalysisService service{vision, loading, waits, nullptr, nullptr};
    AnalysisOrchestrator orchestrator{
        {.thumbnails = {machine.main, machine.files, machine.images, program->exif},
         .loading = loading,
         .analysis = service,
         .preferences = program->preferences,
         .shell = machine.shell,
         .animator = program->animator,
         .queues = machine.queues,
         .thumbnailCacheBase = machine.places.caches / "thumbnails",
         .home = machine.places.home}};
    DiscoveryRefresh refresh{app(), orchestrator};
    int completed = 0;
};

TEST_F(DiscoveryRefreshTest, RollsAreBroughtUpOneAfterTheOtherAndSaved) {
    const RollPointer tokyo = openedRoll("tokyo", 3);
    finishLatestRun();
    const RollPointer kyoto = openedRoll("kyoto", 2);
    finishLatestRun();
    const RollPointer busy = openedRoll("busy", 2);
    ASSERT_TRUE(busy->isAnalyzing());

    ASSERT_TRUE(refresh.start({tokyo, kyoto, busy}, [this] { ++completed; }));
    EXPECT_FALSE(refresh.start({tokyo}, [this] { ++completed; }));
    machine.advance(std::chrono::seconds(3));
    EXPECT_EQ(completed, 1);
    EXPECT_FALSE(refresh.isRunning());
    EXPECT_EQ(refresh.progress(), (DiscoveryProgress{.processed = 5, .total = 5}));
    EXPECT_TRUE(hasRevisionOnDisk(*tokyo));
    EXPECT_TRUE(hasRevisionOnDisk(*kyoto));
    EXPECT_EQ(refreshedPhotos(*busy), 0);

    ASSERT_TRUE(refresh.start({tokyo, kyoto}, [this] { ++completed; }));
    EXPECT_EQ(completed, 2) << "nothing is behind";
    EXPECT_EQ(refresh.progress().total, 0);
}

TEST_F(DiscoveryRefreshTest, WhatWasFoundBeforeACancellationIsKept) {
    const RollPointer tokyo = openedRoll("tokyo", 3);
    finishLatestRun();
    const RollPointer kyoto = openedRoll("kyoto", 2);
    finishLatestRun();
    refresh.start({tokyo, kyoto}, [this] { ++completed; });
    while (refreshedPhotos(*tokyo) < 3) {
        analysisQueue().runNext();
        machine.main.drain();
    }
    refresh.cancel();
    machine.advance(std::chrono::seconds(3));
    EXPECT_EQ(completed, 0);
    EXPECT_EQ(refreshedPhotos(*kyoto), 0);
    EXPECT_TRUE(hasRevisionOnDisk(*tokyo));
    EXPECT_TRUE(refresh.start({kyoto}, [this] { ++completed; }));
    machine.settle();
    EXPECT_EQ(completed, 1);
    EXPECT_EQ(refreshedPhotos(*kyoto), 2);
}

}  // namespace
}  // namespace kelvaris

#include "library/roll_loading.h"

#include <gmock/gmock.h>

#include "library/fingerprint.h"
#include "library/roll_analysis.h"
#include "library/roll_selection.h"
#include "library_world.h"
#include "log_capture.h"

namespace kelvaris {
namespace {

using namespace std::chrono_literals;
using ::testing::ElementsAre;

class RollLoadingTest : public ::testing::Test, protected testing::LibraryWorld {
protected:
    static std::vector<std::string> names(const PhotoList& photos) {
        std::vector<std::string> names;
        for (const auto& photo : photos) names.push_back(photo->filename());
        return names;
    }
    int visibleCount(const FilmRoll& roll) {
        return static_cast<int>(std::count_if(roll.photos().begin(), roll.photos().end(),
                                              [](const auto& photo) { return photo->isVisible(); }));
    }
};

TEST_F(RollLoadingTest, ListsPicturesInNaturalOrderAndLeavesTheRestOut) {
    const Path folder("/home/user/scans/kyoto");
    const auto roll = makeRoll(0, folder);
    for (const char* name :
         {"scan10.JPG", "scan2.tif", "Scan1.jpeg", "notes.txt", "moving.gif", ".hidden.jpg"}) {
        machine.files.addFile(folder / name, "x");
    }
    machine.files.addFolder(folder / "x.jpg");
    machine.files.addLink(folder / "scan3.png", Path("/nowhere"));
    machine.files.setTimes(folder / "scan10.JPG", Instant::fromSeconds(500), Instant::fromSeconds(900));
    machine.files.setTimes(folder / "scan2.tif", Instant::fromSeconds(400), Instant::fromSeconds(900));
    roll->setSortOption(SortOption::custom);
    int listWrites = 0;
    const auto watching = roll->observe([&](RollField field) { listWrites += field == RollField::photos; });

    loadFolder(*roll, true);

    EXPECT_THAT(names(roll->photos()), ElementsAre("Scan1.jpeg", "scan2.tif", "scan3.png", "scan10.JPG"));
    EXPECT_EQ(roll->photos()[3]->sortIndex(), 3);
    EXPECT_EQ(roll->photos()[2]->fileCreationDate(), std::nullopt) << "a dangling link stays in the list";
    EXPECT_EQ(roll->photos()[3]->fileModificationDate(), Instant::fromSeconds(900));
    EXPECT_EQ(roll->baseDate(), Instant::fromSeconds(400));
    EXPECT_EQ(roll->sortOption(), SortOption::filename);
    EXPECT_EQ(roll->selectedPhoto(), roll->photos()[0]);
    EXPECT_EQ(roll->statusNotification(), StatusNotification::opened(4));
    EXPECT_EQ(listWrites, 1);
}

TEST_F(RollLoadingTest, AFolderThatCannotBeListedKeepsTheOldPhotos) {
    const auto roll = makeRoll(2);
    loadFolder(*roll, true);
    machine.files.erase(roll->sourceFolder());
    loadFolder(*roll, true);
    EXPECT_EQ(roll->photos().size(), 2u);
    EXPECT_EQ(roll->statusNotification(), StatusNotification::error("Could not read folder"));
    EXPECT_EQ(pipeline.runs.size(), 1u);
}

TEST_F(RollLoadingTest, AnEmptyFolderIsOpenedAndNeverAnalysing) {
    const auto roll = makeRoll(0);
    loadFolder(*roll, true);
    EXPECT_EQ(roll->statusNotification(), StatusNotification::opened(0));
    EXPECT_EQ(roll->selectedPhoto(), nullptr);
    EXPECT_FALSE(roll->isAnalyzing());
}

TEST_F(RollLoadingTest, ARestoredRollReadsNoPixelUntilItIsActivated) {
    const auto roll = makeRoll(3);
    loadFolder(*roll, false);
    machine.advance(5s);
    EXPECT_EQ(machine.images.openCount(), 0);
    EXPECT_EQ(visibleCount(*roll), 0);
    EXPECT_TRUE(roll->needsFullActivation());
    EXPECT_EQ(roll->selectedPhoto(), roll->photos()[0]);
    EXPECT_TRUE(pipeline.runs.empty());

    activateAnalysis(*roll);
    machine.advance(5s);
    EXPECT_FALSE(roll->needsFullActivation());
    EXPECT_EQ(pipeline.runs.size(), 1u);
    EXPECT_EQ(visibleCount(*roll), 3);
    EXPECT_TRUE(roll->selectedPhoto()->previewImage()) << "the selection of before gets its preview now";
}

TEST_F(RollLoadingTest, DisconnectedRollsAreNotActivated) {
    const auto roll = makeRoll(3);
    loadFolder(*roll, false);
    roll->setIsDisconnected(true);
    activateAnalysis(*roll);
    EXPECT_TRUE(pipeline.runs.empty());
}

TEST_F(RollLoadingTest, TheFirstFortyAreDealtOneByOneAndTheRestLiesAtOnce) {
    const auto roll = makeRoll(45);
    loadFolder(*roll, false);
    staggerVisibility(*roll);
    EXPECT_EQ(visibleCount(*roll), 5);
    EXPECT_TRUE(roll->photos()[40]->isVisible());
    machine.settle();
    EXPECT_EQ(visibleCount(*roll), 6);
    machine.advance(60ms);
    EXPECT_EQ(visibleCount(*roll), 8);
    EXPECT_FALSE(roll->photos()[3]->isVisible());
    machine.advance(1110ms);
    EXPECT_EQ(visibleCount(*roll), 45) << "the fortieth comes after 39 steps";
}

TEST_F(RollLoadingTest, ReducedMotionWritesWithoutTheAnimator) {
    struct Counting final : Animator {
        void animate(const Spring&, const std::function<void()>& writes) override {
            ++count;
            writes();
        }
        int count = 0;
    } counting;
    const LibraryServices counted{.main = services.main,
                                  .userQueue = services.userQueue,
                                  .files = services.files,
                                  .images = services.images,
                                  .imageCache = services.imageCache,
                                  .language = services.language,
                                  .clock = services.clock,
                                  .shell = services.shell,
                                  .animator = counting,
                                  .geocoder = services.geocoder,
                                  .preferences = services.preferences,
                                  .exif = services.exif,
                                  .analysis = services.analysis,
                                  .home = services.home};
    makeRoll(2, Path("/scans"));
    const auto roll = FilmRoll::make(Path("/scans"), RollID::random(), counted);
    loadFolder(*roll, true);
    machine.advance(1s);
    EXPECT_EQ(counting.count, 2);
    machine.shell.motionIsReduced = true;
    loadFolder(*roll, true);
    machine.advance(1s);
    EXPECT_EQ(counting.count, 2);
    EXPECT_EQ(visibleCount(*roll), 2);
}

TEST_F(RollLoadingTest, SelectionCallsOffThePreviewThatIsNoLongerWanted) {
    const auto roll = makeRoll(3);
    loadFolder(*roll, true);
    const auto first = roll->photos()[0];
    const auto second = roll->photos()[1];
    selectPhoto(*roll, second);
    machine.settle();
    EXPECT_EQ(machine.images.decodeCount(first->sourceURL()), 0) << "called off before it began";
    EXPECT_FALSE(first->previewImage());
    ASSERT_TRUE(second->previewImage());
    EXPECT_EQ(second->previewImage()->width, 12) << "previews have full size";
    EXPECT_EQ(second->loadState(), PhotoItem::LoadState::loaded);

    selectPhoto(*roll, second);
    machine.settle();
    EXPECT_EQ(machine.images.decodeCount(second->sourceURL()), 1);

    selectPhoto(*roll, first);
    EXPECT_FALSE(second->previewImage());
    machine.settle();
    selectPhoto(*roll, second);
    EXPECT_TRUE(second->previewImage()) << "from the cache, at once";
    EXPECT_EQ(machine.images.decodeCount(second->sourceURL()), 1);
}

TEST_F(RollLoadingTest, APreviewThatCannotBeReadFailsThePhotoOnlyWhileItIsSelected) {
    testing::LogCapture log;
    const auto roll = makeRoll(2);
    loadFolder(*roll, true);
    machine.files.erase(roll->photos()[0]->sourceURL());
    machine.files.erase(roll->photos()[1]->sourceURL());
    machine.queues.runAll();  // the first load has failed, its answer waits
    selectPhoto(*roll, roll->photos()[1]);
    machine.settle();
    EXPECT_EQ(roll->photos()[0]->loadState(), PhotoItem::LoadState::pending);
    EXPECT_EQ(roll->photos()[1]->loadState(), PhotoItem::LoadState::failed);
    EXPECT_TRUE(log.contains("002.jpg"));
}

TEST_F(RollLoadingTest, APreviewForARollThatIsGoneDoesNothing) {
    auto roll = makeRoll(1);
    loadFolder(*roll, true);
    const auto photo = roll->photos()[0];
    roll.reset();
    machine.settle();
    EXPECT_FALSE(photo->previewImage());
}

TEST_F(RollLoadingTest, StepsMoveAmongThePhotosThatAreShown) {
    const auto roll = makeRoll(4);
    loadFolder(*roll, true);
    roll->photos()[1]->setLabels({PhotoLabel::blur});
    roll->photos()[2]->setLabels({PhotoLabel::gem});
    selectPrevious(*roll);
    EXPECT_EQ(roll->selectedPhoto(), roll->photos()[0]);
    selectNext(*roll);
    EXPECT_EQ(roll->selectedPhoto(), roll->photos()[1]);
    EXPECT_EQ(roll->flaggedCount(), 1) << "a gem is no flaw";

    roll->setHideFlagged(true);
    EXPECT_THAT(names(roll->displayPhotos()), ElementsAre("001.jpg", "003.jpg", "004.jpg"));
    selectNext(*roll);
    EXPECT_EQ(roll->selectedPhoto(), roll->photos()[2]) << "also from a photo that is hidden now";
    selectPrevious(*roll);
    EXPECT_EQ(roll->selectedPhoto(), roll->photos()[0]);
    selectPhotoByDisplayNumber(*roll, 3);
    EXPECT_EQ(roll->selectedPhoto(), roll->photos()[3]);
    selectNext(*roll);
    selectPhotoByDisplayNumber(*roll, 0);
    selectPhotoByDisplayNumber(*roll, 4);
    EXPECT_EQ(roll->selectedPhoto(), roll->photos()[3]);
}

TEST_F(RollLoadingTest, LeavingARollKeepsItsFirstThumbnailsAlone) {
    const auto roll = makeRoll(5);
    loadFolder(*roll, true);
    machine.settle();
    const Image image = std::make_shared<Bitmap>(solidBitmap(3, 2, 1, 2, 3));
    for (const auto& photo : roll->photos()) {
        photo->setThumbnail(image);
        photo->setThumbnailIsPlaceholder(true);
    }
    unloadThumbnails(*roll, sidebarKeepCount);
    EXPECT_TRUE(roll->photos()[2]->thumbnail());
    EXPECT_FALSE(roll->photos()[3]->thumbnail());
    EXPECT_FALSE(roll->photos()[3]->thumbnailIsPlaceholder());
    EXPECT_FALSE(roll->photos()[0]->previewImage());
    EXPECT_TRUE(roll->needsFullActivation());
}

TEST_F(RollLoadingTest, RemovalWarnsOfTheFirstThingThatWouldBeLost) {
    const auto roll = makeRoll(0);
    EXPECT_FALSE(roll->hasMetadataAtRisk());
    roll->setNotes("first roll");
    EXPECT_THAT(*roll->removalWarning(), ::testing::HasSubstr("camera and film metadata"));
    roll->setWorkflowState(WorkflowState::exported);
    roll->setExportDirty(false);
    EXPECT_THAT(*roll->removalWarning(), ::testing::HasSubstr("camera and film metadata"));
    roll->setExportDirty(true);
    EXPECT_THAT(*roll->removalWarning(), ::testing::HasSubstr("since its last export"));
    roll->setWorkflowState(WorkflowState::metadataAssigned);
    EXPECT_THAT(*roll->removalWarning(), ::testing::HasSubstr("dates assigned"));
}

TEST_F(RollLoadingTest, DisplayTextsReadLikeTheUsersOwn) {
    const auto roll = makeRoll(3);
    loadFolder(*roll, false);
    EXPECT_EQ(roll->dateRange(), "");
    roll->photos()[2]->setCaptureDate(*parseTimestamp("2026-03-14T09:30:00Z"));
    EXPECT_EQ(roll->dateRange(), "14 Mar 2026");
    roll->photos()[0]->setCaptureDate(*parseTimestamp("2026-03-16"));
    EXPECT_EQ(roll->dateRange(), "14 Mar 2026 – 16 Mar 2026");
    EXPECT_EQ(roll->sourceFolderBreadcrumb(), "~ › scans › kyoto");
    EXPECT_EQ(makeRoll(0, Path("/home/username/a"))->sourceFolderBreadcrumb(), "home › username › a");
}

TEST_F(RollLoadingTest, FingerprintsNameRegularPicturesByTheirBytes) {
    const Path folder("/scans");
    const auto roll = makeRoll(0, folder);
    machine.files.addFile(folder / "b.JPG", "12345");
    machine.files.addFile(folder / "B.jpg", "1");
    machine.files.addFile(folder / "a.txt", "1");
    machine.files.addFolder(folder / "c.jpg");
    machine.files.addLink(folder / "d.jpg", Path("/nowhere"));
    EXPECT_THAT(computeFingerprint(machine.files, folder),
                ElementsAre(FileFingerprint{"B.jpg", 1}, FileFingerprint{"b.JPG", 5}));
    EXPECT_TRUE(computeFingerprint(machine.files, Path("/gone")).empty());
}

}  // namespace
}  // namespace kelvaris

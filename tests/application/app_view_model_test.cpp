#include "application/app_view_model.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "app_world.h"
#include "application/roll_sorting.h"
#include "library/roll_analysis.h"
#include "library/roll_editing.h"
#include "library/roll_selection.h"

namespace kelvaris {
namespace {

using namespace std::chrono_literals;
using testing::AppWorld;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::Not;
using testing::ScriptedPipeline;

class AppViewModelTest : public ::testing::Test {
protected:
    AppWorld world;
    AppViewModel& app() { return world.app(); }

    std::vector<std::string> names() {
        std::vector<std::string> result;
        for (const RollPointer& roll : app().rolls()) result.push_back(roll->name());
        return result;
    }
};

// --- Opening ---------------------------------------------------------------------------------------------

TEST_F(AppViewModelTest, ARollComesBackAfterARestartWithAllThatWasSaidOfIt) {
    const RollPointer roll = world.openedRoll("kyoto");
    const RollID id = roll->id();
    roll->setFilmName("Portra 400");
    roll->setFilmISO(400);
    roll->setNotes("rain\n--- and more rain");
    roll->photos()[1]->setManualLabel(PhotoLabel::gem, true, nullptr, nullptr);
    app().scheduleSave(roll);
    world.restart();
    ASSERT_THAT(names(), ElementsAre("kyoto"));
    const RollPointer back = app().rolls()[0];
    EXPECT_EQ(back->id(), id);
    EXPECT_EQ(back->filmName(), "Portra 400");
    EXPECT_EQ(back->filmISO(), 400);
    EXPECT_EQ(back->notes(), "rain\n--- and more rain");
    EXPECT_TRUE(back->photos()[1]->labels().contains(PhotoLabel::gem));
    EXPECT_EQ(app().activeRoll(), nullptr);
}

TEST_F(AppViewModelTest, OpeningAFolderAgainKeepsOneRollAndInABatchLeavesTheOpenOneAlone) {
    const RollPointer kyoto = world.openedRoll("kyoto");
    world.openedRoll("osaka");
    app().addRoll(kyoto->sourceFolder(), true);
    EXPECT_EQ(app().activeRoll()->name(), "osaka");
    app().addRoll(kyoto->sourceFolder(), false);
    EXPECT_EQ(app().activeRoll(), kyoto);
    EXPECT_EQ(app().rolls().size(), 2u);
}

TEST_F(AppViewModelTest, DroppedPicturesOpenTheirFolderOnceAndForeignFilesNothing) {
    const Path folder = world.folder("kyoto");
    world.machine.files.addFile(folder / "notes.txt", "x");
    app().handleDrop({folder / "notes.txt", Path("/nowhere")});
    EXPECT_TRUE(app().rolls().empty());
    app().handleDrop({folder / "001.jpg", folder / "002.jpg", folder});
    EXPECT_EQ(app().rolls().size(), 1u);
    app().handleOpenURLs({world.folder("osaka") / "001.jpg"});
    EXPECT_EQ(app().rolls().size(), 1u);
}

TEST_F(AppViewModelTest, ABatchIsAnalysedInTheBackgroundOneRollAfterTheOther) {
    const Path outer = world.folder("trip", 2);
    world.folder("trip/a", 2);
    world.folder("trip/b", 3);
    world.folder("trip/single", 1);
    app().openFolders({outer});
    EXPECT_EQ(app().rolls().size(), 3u);
    EXPECT_EQ(app().activeRoll(), nullptr);
    ASSERT_EQ(world.pipeline().runs.size(), 1u);
    EXPECT_TRUE(world.pipeline().runs[0].isBackground);
    EXPECT_EQ(app().backgroundAnalysisQueue().size(), 2u);
    world.finishLatestRun();
    world.finishLatestRun();
    world.finishLatestRun();
    EXPECT_EQ(world.pipeline().runs.size(), 3u);
    EXPECT_FALSE(app().isAnalysisPending());
    for (const RollPointer& roll : app().rolls()) {
        EXPECT_TRUE(roll->needsFullActivation());
        EXPECT_THAT(world.rollFile(*roll), HasSubstr("analysisVersion: 12"));
    }
}

TEST_F(AppViewModelTest, TheUserOvertakesTheBackgroundQueue) {
    app().openFolders({world.folder("trip", 2), world.folder("x", 2), world.folder("y", 2)});
    const RollPointer running = app().roll(*app().backgroundAnalyzingRollID());
    const RollPointer waiting = app().roll(app().backgroundAnalysisQueue().front());
    app().navigateToRoll(waiting);
    EXPECT_EQ(app().backgroundAnalysisQueue().size(), 1u);
    EXPECT_EQ(world.pipeline().runs.size(), 2u);
    EXPECT_FALSE(world.pipeline().runs[1].isBackground);
    app().navigateToRoll(running);  // its run goes on under the user's eyes
    EXPECT_EQ(world.pipeline().runs.size(), 2u);
    EXPECT_FALSE(running->needsFullActivation());
    world.pipeline().runs[0].end();
    EXPECT_FALSE(running->needsFullActivation()) << "the open roll keeps its thumbnails";
}

TEST_F(AppViewModelTest, RemovingTheRollUnderBackgroundAnalysisLetsTheQueueGoOn) {
    app().openFolders({world.folder("a", 2), world.folder("b", 2), world.folder("c", 2)});
    const RollPointer removed = app().roll(*app().backgroundAnalyzingRollID());
    ASSERT_EQ(world.pipeline().runs.size(), 1u);
    const ScriptedPipeline::Run old = world.pipeline().runs[0];
    ASSERT_TRUE(app().removeRoll(removed));
    ASSERT_EQ(world.pipeline().runs.size(), 2u);
    EXPECT_NE(app().backgroundAnalyzingRollID(), removed->id());
    EXPECT_FALSE(removed->isAnalyzing());
    EXPECT_TRUE(removed->needsFullActivation()) << "it can be queued again if it comes back";
    old.end(RunEnd::cancelled);
    EXPECT_EQ(world.pipeline().runs.size(), 2u) << "the end of the old run is none of the new one's";
    EXPECT_EQ(world.rollFile(*removed), "");
    world.finishLatestRun();
    world.finishLatestRun();
    EXPECT_EQ(world.pipeline().runs.size(), 3u);
    EXPECT_FALSE(app().isAnalysisPending());
}

TEST_F(AppViewModelTest, ARollThatWasCalledOffIsQueuedAgainOnce) {
    app().openFolders({world.folder("a", 2), world.folder("b", 2)});
    const RollPointer roll = app().roll(*app().backgroundAnalyzingRollID());
    const ScriptedPipeline::Run old = world.pipeline().runs[0];
    app().callOffAnalysis(roll);
    app().enqueueBackgroundAnalysis({roll, roll});
    app().enqueueBackgroundAnalysis({roll});
    EXPECT_EQ(app().backgroundAnalysisQueue().size(), 1u);
    world.finishLatestRun();
    EXPECT_EQ(app().backgroundAnalyzingRollID(), roll->id());
    old.end(RunEnd::cancelled);
    EXPECT_EQ(app().backgroundAnalyzingRollID(), roll->id());
    EXPECT_FALSE(roll->needsFullActivation());
    world.finishLatestRun();
    EXPECT_FALSE(app().isAnalysisPending());
}

TEST_F(AppViewModelTest, AStuckRollDelaysTheQueueByAMinuteAndIsStillTakenWhenItComes) {
    app().openFolders({world.folder("a", 2), world.folder("b", 2)});
    const RollPointer stuck = app().roll(*app().backgroundAnalyzingRollID());
    const ScriptedPipeline::Run run = world.pipeline().runs[0];
    for (int photo = 0; photo < 10; ++photo) {
        world.machine.advance(50s);
        run.finishPhoto();
    }
    EXPECT_EQ(world.pipeline().runs.size(), 1u) << "no clock ends a run whose photos come";
    world.machine.advance(60s);
    EXPECT_EQ(world.pipeline().runs.size(), 2u);
    EXPECT_NE(app().backgroundAnalyzingRollID(), stuck->id());
    EXPECT_TRUE(stuck->needsFullActivation());
    world.finishLatestRun();
    EXPECT_FALSE(app().isAnalysisPending());

    AnalysisResult late;
    late.qualityScore = 0.625;
    run.callbacks.onPhotoAnalyzed(stuck->photos()[0], late);
    stuck->photos()[0]->setPreviewImage(std::make_shared<Bitmap>());
    run.end();
    EXPECT_THAT(world.rollFile(*stuck), HasSubstr("qualityScore: 6.25e-1"));
    EXPECT_EQ(stuck->photos()[0]->previewImage(), nullptr) << "its pictures go again";
}

TEST_F(AppViewModelTest, TheQueueStandsStillWhileTheOpenRollGoesFirst) {
    app().openFolders({world.folder("a", 2), world.folder("b", 2), world.folder("c", 2)});
    const RollPointer open = app().roll(app().backgroundAnalysisQueue().front());
    app().navigateToRoll(open);
    ASSERT_EQ(world.pipeline().runs.size(), 2u);
    for (int photo = 0; photo < 20; ++photo) {
        world.machine.advance(20s);
        world.pipeline().runs[1].finishPhoto();
    }
    EXPECT_EQ(world.pipeline().runs.size(), 2u) << "what waits behind other photos is not stuck";
    world.pipeline().runs[1].end();
    world.machine.advance(54s);
    EXPECT_EQ(world.pipeline().runs.size(), 2u) << "it has its own minute from then on";
    world.machine.advance(60s);
    EXPECT_EQ(world.pipeline().runs.size(), 3u);
}

TEST_F(AppViewModelTest, NewRollsTakeTheDefaultsOnlyWhereNothingIsKnown) {
    world.program->preferences.addFavoriteCamera({"Leica", "M6"});
    world.program->preferences.addFavoriteFilmStock({"HP5 Plus", 400});
    const RollPointer roll = world.openedRoll("kyoto");
    EXPECT_EQ(roll->cameraDisplayName(), "Leica M6");
    EXPECT_EQ(roll->filmISO(), 400);
    roll->setCameraMake("");
    roll->setCameraModel("Holga");
    app().applyDefaults(*roll);
    EXPECT_EQ(roll->cameraDisplayName(), "Holga");
}

// --- Saving ----------------------------------------------------------------------------------------------

TEST_F(AppViewModelTest, EditsAreSavedOnceAfterTheyHaveCome) {
    const RollPointer roll = world.openedRoll("kyoto");
    world.machine.advance(10s);
    world.machine.files.resetSteps();
    for (int i = 0; i < 10; ++i) {
        roll->setNotes(fmt::format("take {}", i));
        world.machine.advance(100ms);
    }
    EXPECT_THAT(world.rollFile(*roll), Not(HasSubstr("take")));
    world.machine.advance(1500ms);
    EXPECT_THAT(world.rollFile(*roll), HasSubstr("notes: take 9"));
    const std::size_t oneSave = world.machine.files.stepCount();
    world.machine.files.resetSteps();
    roll->setNotes("once");
    world.machine.advance(10s);
    EXPECT_LE(world.machine.files.stepCount(), oneSave + 1) << "one more backup moves";
}

TEST_F(AppViewModelTest, EveryRollIsSavedWhetherItIsOpenOrNot) {
    const RollPointer kyoto = world.openedRoll("kyoto");
    const RollPointer osaka = world.openedRoll("osaka");
    world.machine.advance(10s);
    selectPhoto(*osaka, osaka->photos()[2]);
    osaka->photos()[0]->setLatitude(35.5);
    osaka->photos()[0]->setLongitude(139.5);
    kyoto->setNotes("not open");
    EXPECT_EQ(app().unsavedRolls().size(), 2u);
    world.machine.advance(2s);
    EXPECT_TRUE(app().unsavedRolls().empty());
    EXPECT_THAT(world.rollFile(*osaka), HasSubstr("latitude: 3.55e+1"));
    EXPECT_THAT(world.rollFile(*kyoto), HasSubstr("not open"));
}

TEST_F(AppViewModelTest, TheLastSecondOfEditsSurvivesANormalEnd) {
    const RollPointer roll = world.openedRoll("kyoto");
    world.machine.advance(10s);
    roll->setNotes("just now");
    world.program->preferences.setArtistName("Ana");
    world.program->favorites.toggleFavoriteCamera("leica-m6");
    world.machine.advance(300ms);
    world.restart();
    EXPECT_EQ(app().rolls()[0]->notes(), "just now");
    EXPECT_EQ(world.program->vault.loadPreferences()->artistName, "Ana");
    EXPECT_THAT(world.program->favorites.favoriteCameraSlugs(), ElementsAre("leica-m6"));
}

TEST_F(AppViewModelTest, ARollThatWasRemovedIsNotSavedAgain) {
    const RollPointer roll = world.openedRoll("kyoto");
    roll->setNotes("gone");
    ASSERT_TRUE(app().removeRoll(roll));
    app().scheduleSave(roll);
    world.machine.advance(10s);
    world.restart();
    EXPECT_TRUE(app().rolls().empty());
    EXPECT_TRUE(world.machine.files.exists(roll->sourceFolder() / "001.jpg"));
    EXPECT_EQ(app().activeRoll(), nullptr);
}

// --- Navigation ------------------------------------------------------------------------------------------

TEST_F(AppViewModelTest, BackAndForwardRetraceTheWayAndForgetRemovedRolls) {
    const RollPointer kyoto = world.openedRoll("kyoto");
    const RollPointer osaka = world.openedRoll("osaka");
    app().navigateBack();
    app().navigateToRoll(kyoto);
    app().navigateToRoll(osaka);
    app().goBackInHistory();
    EXPECT_EQ(app().activeRoll(), kyoto);
    app().goBackInHistory();
    EXPECT_EQ(app().activeRoll(), nullptr) << "the list of rolls is a place too";
    app().goForwardInHistory();
    app().goForwardInHistory();
    EXPECT_EQ(app().activeRoll(), osaka);
    ASSERT_TRUE(app().removeRoll(kyoto));
    app().goBackInHistory();
    EXPECT_EQ(app().activeRoll(), nullptr);
}

TEST_F(AppViewModelTest, LeavingARollFreesItsPicturesAndItsUndo) {
    const RollPointer kyoto = world.openedRoll("kyoto", 6);
    const RollPointer osaka = world.openedRoll("osaka");
    app().navigateToRoll(kyoto);
    for (const PhotoPointer& photo : kyoto->photos()) photo->setThumbnail(std::make_shared<Bitmap>());
    rotateSelectedClockwise(*kyoto, &app().undoStack());
    EXPECT_TRUE(app().undoStack().canUndo());
    app().navigateToRoll(osaka);
    EXPECT_FALSE(app().undoStack().canUndo());
    EXPECT_NE(kyoto->photos()[2]->thumbnail(), nullptr);
    EXPECT_EQ(kyoto->photos()[3]->thumbnail(), nullptr);
    EXPECT_TRUE(kyoto->needsFullActivation());
}

// --- Renaming and sorting --------------------------------------------------------------------------------

TEST_F(AppViewModelTest, RenamingARollRenamesItsFolderAndSurvivesARestart) {
    const RollPointer roll = world.openedRoll("kyoto");
    EXPECT_EQ(app().renameRoll(roll, "  kyoto in spring "), std::nullopt);
    EXPECT_TRUE(world.machine.files.exists(world.machine.places.home / "scans/kyoto in spring/002.jpg"));
    EXPECT_EQ(roll->photos()[1]->sourceURL().parent().filename(), "kyoto in spring");
    world.restart();
    ASSERT_THAT(names(), ElementsAre("kyoto in spring"));
    EXPECT_FALSE(app().rolls()[0]->isDisconnected());
}

TEST_F(AppViewModelTest, ARefusedRenameChangesNothing) {
    const RollPointer roll = world.openedRoll("kyoto");
    world.folder("taken");
    const std::string before = world.rollFile(*roll);
    EXPECT_EQ(app().renameRoll(roll, "taken")->kind, RenameError::Kind::nameConflict);
    EXPECT_EQ(app().renameRoll(roll, "   ")->kind, RenameError::Kind::emptyName);
    world.machine.files.setReadOnly(roll->sourceFolder().parent());
    EXPECT_EQ(app().renameRoll(roll, "osaka")->kind, RenameError::Kind::fileSystemError);
    world.machine.files.setReadOnly(roll->sourceFolder().parent(), false);
    world.machine.files.erase(roll->sourceFolder());
    EXPECT_EQ(app().renameRoll(roll, "osaka")->kind, RenameError::Kind::fileSystemError);
    EXPECT_EQ(roll->name(), "kyoto");
    EXPECT_EQ(world.rollFile(*roll), before);
}

TEST_F(AppViewModelTest, RollsSortAsPeopleReadAndDatelessOnesCountAsLatest) {
    const RollPointer second = world.openedRoll("roll 2");
    const RollPointer tenth = world.openedRoll("roll 10");
    const RollPointer first = world.openedRoll("roll 1");
    world.program->preferences.setRollSortOption(RollSortOption::name);
    world.program->preferences.set(settings::rollSortAscending, true);
    app().sortRolls();
    EXPECT_THAT(names(), ElementsAre("roll 1", "roll 2", "roll 10"));
    second->photos()[0]->setCaptureDate(instantFromUtc({2026, 3, 1}));
    first->photos()[0]->setCaptureDate(instantFromUtc({2026, 3, 2}));
    tenth->photos()[0]->setCaptureDate(std::nullopt);
    world.program->preferences.setRollSortOption(RollSortOption::dateRange);
    app().sortRolls();
    EXPECT_THAT(names(), ElementsAre("roll 2", "roll 1", "roll 10"));
    world.program->preferences.set(settings::rollSortAscending, false);
    app().sortRolls();
    EXPECT_THAT(names(), ElementsAre("roll 10", "roll 1", "roll 2"));
}

// --- Relocation ------------------------------------------------------------------------------------------

TEST_F(AppViewModelTest, AFolderRenamedBesideItsOldPlaceIsFollowedAndTheVaultHeals) {
    const RollPointer roll = world.openedRoll("kyoto");
    world.machine.files.rename(roll->sourceFolder(), roll->sourceFolder().parent() / "kyoto-2026");
    world.restart();
    world.machine.advance(2s);
    ASSERT_THAT(names(), ElementsAre("kyoto-2026"));
    EXPECT_FALSE(app().rolls()[0]->isDisconnected());
    EXPECT_THAT(world.rollFile(*app().rolls()[0]), HasSubstr("scans/kyoto-2026"));
}

TEST_F(AppViewModelTest, AMovedFolderIsFoundByItsFilesAndAnotherOfItsNameIsNot) {
    RollPointer roll = world.openedRoll("kyoto", 10);
    roll->setNotes("kept");
    const Path old = roll->sourceFolder();
    const Path moved("/media/disk/kyoto");
    const Path stranger("/media/other/kyoto");
    world.machine.files.addFolder(moved.parent());
    world.machine.files.rename(old, moved);
    world.machine.files.erase(world.openedRoll("osaka", 2)->sourceFolder());
    world.machine.files.addFile(stranger / "001.jpg", "something else");
    world.folderSearch.answers["kyoto"] = {stranger, moved};
    world.restart();
    ASSERT_EQ(app().rolls().size(), 2u);
    roll = app().rolls()[app().rolls()[0]->name() == "kyoto" ? 0 : 1];
    EXPECT_FALSE(roll->isDisconnected());
    EXPECT_EQ(roll->sourceFolder(), moved);
    EXPECT_EQ(world.folderSearch.searches, 1) << "one for all lost rolls";
    EXPECT_EQ(roll->notes(), "kept");
    EXPECT_EQ(roll->photos().size(), 10u);
}

TEST_F(AppViewModelTest, AFolderOnAnUnmountedDiskIsDisconnectedAndLosesNothingThroughSaves) {
    RollPointer roll = world.openedRoll("kyoto", 4);
    const std::vector fingerprint = roll->storedFingerprint();
    roll->setNotes("kept");
    world.machine.advance(10s);
    world.machine.files.rename(roll->sourceFolder(), Path("/elsewhere"));
    for (int i = 0; i < 2; ++i) {
        world.restart();
        roll = app().rolls()[0];
        ASSERT_TRUE(roll->isDisconnected());
        EXPECT_TRUE(world.program->vault.save(*roll));
    }
    EXPECT_EQ(roll->notes(), "kept");
    EXPECT_EQ(roll->storedFingerprint().size(), 4u);
    world.machine.files.rename(Path("/elsewhere"), world.machine.places.home / "scans/kyoto");
    world.restart();
    EXPECT_FALSE(app().rolls()[0]->isDisconnected());
    EXPECT_EQ(app().rolls()[0]->photos().size(), 4u);
}

TEST_F(AppViewModelTest, PointingAtAFolderOfOtherFilesAsksFirst) {
    RollPointer roll = world.openedRoll("kyoto", 10);
    const Path old = roll->sourceFolder();
    world.machine.files.rename(old, Path("/media/disk/kyoto"));
    world.restart();
    roll = app().rolls()[0];
    for (int i : {9, 10}) world.machine.files.erase(Path("/media/disk/kyoto") / fmt::format("{:03}.jpg", i));
    world.machine.files.addFile(Path("/media/disk/kyoto/new.jpg"), "new");
    world.machine.shell.choices = {{Path("/media/disk/kyoto")}, {Path("/media/disk/kyoto")}};
    world.machine.shell.buttons = {1, 0};
    app().locateRoll(roll);
    world.machine.settle();
    ASSERT_EQ(world.machine.shell.alerts.size(), 1u);
    EXPECT_EQ(world.machine.shell.alerts[0].text, "Only 73% of files match. Reconnect anyway?");
    EXPECT_TRUE(roll->isDisconnected());
    app().locateRoll(roll);
    world.machine.settle();
    EXPECT_FALSE(roll->isDisconnected());
    EXPECT_EQ(roll->name(), "kyoto");
}

TEST_F(AppViewModelTest, ASyncedFolderWarnsOncePerServiceInARun) {
    const Path drive = world.machine.places.home / "Dropbox";
    for (const char* name : {"a", "b"}) {
        for (int i = 0; i < 2; ++i) world.machine.files.addFile(drive / name / fmt::format("{}.jpg", i), "x");
    }
    app().addRoll(drive / "a", false);
    app().addRoll(drive / "b", false);
    const auto isWarned = [](const RollPointer& roll) {
        return roll->statusNotification() &&
               roll->statusNotification()->kind() == StatusNotification::Kind::cloudWarning;
    };
    EXPECT_TRUE(isWarned(world.rollNamed("a")));
    EXPECT_FALSE(isWarned(world.rollNamed("b")));
    world.restart();
    EXPECT_EQ(isWarned(app().rolls()[0]) + isWarned(app().rolls()[1]), 1);
    EXPECT_THAT(app().rolls()[0]->statusNotification()->message(), HasSubstr("2 rolls live in Dropbox."));
}

}  // namespace
}  // namespace kelvaris

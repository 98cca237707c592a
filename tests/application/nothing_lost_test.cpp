// Disks that go and come, folders that are not what they were, and acts that are taken back.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "app_world.h"
#include "application/app_view_model.h"
#include "library/roll_act.h"
#include "library/roll_dates.h"
#include "library/roll_editing.h"
#include "library/roll_selection.h"
#include "vault/vault_documents.h"

namespace kelvaris {
namespace {

using namespace std::chrono_literals;
using testing::AppWorld;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

class NothingLost : public ::testing::Test {
protected:
    AppWorld world;
    AppViewModel& app() { return world.app(); }
    FakeFiles& files() { return world.machine.files; }

    RollPointer told(const std::string& name, int photoCount = 4) {
        const RollPointer roll = world.openedRoll(name, photoCount);
        roll->setNotes("rain");
        roll->photos()[1]->setManualLabel(PhotoLabel::gem, true, nullptr, nullptr);
        roll->photos()[2]->setRotation(RotationAngle::clockwise90);
        roll->photos()[2]->setRotationSource(MetadataSource::photo);
        roll->photos()[3]->setClipEmbedding(std::vector<float>{1, 2});
        world.machine.advance(10s);
        return roll;
    }
    VaultRollManifest stored(const FilmRoll& roll) { return *decodedRollFile(world.rollFile(roll)); }
    std::vector<PhotoManifestEntry> entries(const FilmRoll& roll) {
        auto photos = stored(roll).photos;
        for (PhotoManifestEntry& photo : photos) photo.isMissing.reset();
        return photos;
    }
    RollPointer only() { return app().rolls().at(0); }
};

TEST_F(NothingLost, WhateverStandsInTheFoldersPlaceTheEntriesStay) {
    const RollPointer roll = told("kyoto");
    const Path folder = roll->sourceFolder();
    const Path away("/elsewhere/kyoto");
    const auto before = entries(*roll);
    const auto fingerprint = stored(*roll).fileFingerprint;
    const auto sidecar = files().contents(world.program->vault.paths().embeddingsFile(roll->id()));
    files().addFolder(away.parent());
    struct Case {
        const char* name;
        std::function<void()> arrange;
        std::function<void()> tidy;
        const char* reason;
    };
    const Case cases[] = {
        {"the disk is away", [] {}, [] {}, "its folder is not there"},
        {"the bare mount point", [&] { files().addFolder(folder); }, [&] { files().erase(folder); }, "empty"},
        {"another card",
         [&] {
             for (int i = 1; i <= 4; ++i) {
                 files().addFile(folder / fmt::format("{:03}.jpg", i), "a scan of another roll");
             }
         },
         [&] { files().erase(folder); }, "other files"},
    };
    for (const Case& each : cases) {
        SCOPED_TRACE(each.name);
        files().rename(folder, away);
        each.arrange();
        world.restart();
        EXPECT_TRUE(only()->isDisconnected());
        EXPECT_NE(only()->awayReason(), "");
        ASSERT_EQ(only()->photos().size(), 4u);
        EXPECT_TRUE(only()->photos()[1]->labels().contains(PhotoLabel::gem));
        only()->setFilmName(each.name);
        world.machine.advance(10s);
        EXPECT_EQ(stored(*only()).filmName, each.name);
        EXPECT_EQ(entries(*only()), before);
        EXPECT_EQ(stored(*only()).fileFingerprint, fingerprint);
        EXPECT_EQ(files().contents(world.program->vault.paths().embeddingsFile(roll->id())), sidecar);
        each.tidy();
        files().rename(away, folder);
        world.restart();
        EXPECT_FALSE(only()->isDisconnected());
        EXPECT_FALSE(only()->photos()[2]->isMissing());
        EXPECT_EQ(only()->photos()[2]->rotation(), RotationAngle::clockwise90);
        EXPECT_EQ(entries(*only()), before);
    }
    files().setUnreadable(folder);
    world.restart();
    EXPECT_TRUE(only()->isDisconnected());
    EXPECT_EQ(only()->photos().size(), 4u);
}

TEST_F(NothingLost, AFileThatIsAwayForAWhileComesBackWithAllThatWasKnown) {
    const RollPointer roll = told("kyoto");
    const auto before = entries(*roll);
    files().rename(roll->sourceFolder() / "002.jpg", Path("/elsewhere.jpg"));
    world.restart();
    EXPECT_TRUE(only()->photos()[1]->isMissing());
    EXPECT_FALSE(only()->isDisconnected());
    only()->setNotes("without one");
    world.machine.advance(10s);
    EXPECT_EQ(entries(*only()), before);
    EXPECT_EQ(stored(*only()).photos[1].isMissing, true);
    EXPECT_EQ(stored(*only()).fileFingerprint.size(), 4u) << "its size is still known";
    files().rename(Path("/elsewhere.jpg"), roll->sourceFolder() / "002.jpg");
    world.restart();
    EXPECT_FALSE(only()->photos()[1]->isMissing());
    EXPECT_TRUE(only()->photos()[1]->labels().contains(PhotoLabel::gem));
}

TEST_F(NothingLost, RelocationKeepsWhatIsNotThereAndWhatWasJustEdited) {
    RollPointer roll = told("kyoto");
    world.finishLatestRun();
    world.machine.advance(10s);
    const Path half("/media/disk/half");
    files().addFolder(half);
    for (const char* name : {"001.jpg", "003.jpg"}) files().rename(roll->sourceFolder() / name, half / name);
    roll->setNotes("just now");
    const std::size_t runs = world.pipeline().runs.size();
    ASSERT_TRUE(app().relocateRoll(roll, half));
    EXPECT_EQ(roll->notes(), "just now");
    EXPECT_EQ(roll->photos().size(), 4u);
    EXPECT_TRUE(roll->photos()[1]->isMissing());
    EXPECT_TRUE(roll->photos()[1]->labels().contains(PhotoLabel::gem));
    for (std::size_t i = runs; i < world.pipeline().runs.size(); ++i) {
        for (const PhotoPointer& photo : world.pipeline().runs[i].photos)
            EXPECT_TRUE(photo->labelsAnalyzed());
    }
    EXPECT_EQ(stored(*roll).photos.size(), 4u);
    EXPECT_EQ(stored(*roll).notes, "just now");

    const RollPointer other = world.openedRoll("osaka");
    const auto refused = app().relocateRoll(roll, other->sourceFolder());
    ASSERT_FALSE(refused);
    EXPECT_THAT(refused.error(), HasSubstr("osaka"));
    EXPECT_EQ(roll->sourceFolder(), half);
}

TEST_F(NothingLost, OpeningTheFolderOfARollThatIsAwayBringsThatRollBack) {
    const RollID id = told("kyoto")->id();
    const Path folder = only()->sourceFolder();
    const Path moved("/media/disk/a new name");
    files().addFolder(moved.parent());
    files().rename(folder, moved);
    world.restart();
    ASSERT_TRUE(only()->isDisconnected());
    app().addRoll(moved, false);
    ASSERT_EQ(app().rolls().size(), 1u);
    EXPECT_EQ(only()->id(), id);
    EXPECT_FALSE(only()->isDisconnected());
    EXPECT_EQ(only()->notes(), "rain");

    files().rename(moved, Path("/elsewhere"));
    files().addFile(moved / "x.jpg", "other");
    files().addFile(moved / "y.jpg", "other");
    world.restart();
    app().addRoll(moved, false);
    EXPECT_EQ(app().rolls().size(), 2u) << "another disk in the same place is a roll of its own";
}

TEST_F(NothingLost, AFolderReachedThroughALinkIsTheSameRoll) {
    const RollPointer roll = told("kyoto");
    files().addLink(Path("/link"), roll->sourceFolder().parent());
    app().addRoll(Path("/link/kyoto"), false);
    EXPECT_EQ(app().rolls().size(), 1u);
    world.folder("osaka");
    app().openFolders({Path("/link/osaka")});
    app().openFolders({roll->sourceFolder().parent()});
    EXPECT_EQ(app().rolls().size(), 2u);
}

TEST_F(NothingLost, ARemovedRollComesBackByUndoAndByOpeningItsFolder) {
    const RollPointer roll = told("kyoto");
    const RollID id = roll->id();
    const auto before = stored(*roll);
    roll->setNotes("the last word");
    ASSERT_TRUE(app().removeRoll(roll));
    EXPECT_THAT(app().rolls(), IsEmpty());
    EXPECT_EQ(world.rollFile(*roll), "");
    EXPECT_EQ(app().undo(), "Remove Roll");
    ASSERT_EQ(app().rolls().size(), 1u);
    world.machine.advance(10s);
    EXPECT_EQ(stored(*only()).notes, "the last word");
    EXPECT_EQ(app().redo(), "Remove Roll");
    world.restart();
    EXPECT_THAT(app().rolls(), IsEmpty());
    app().addRoll(roll->sourceFolder(), false);
    ASSERT_EQ(app().rolls().size(), 1u);
    EXPECT_EQ(only()->id(), id) << "so that corrections of people still hold";
    EXPECT_EQ(stored(*only()).photos, before.photos);
    EXPECT_TRUE(only()->photos()[3]->clipEmbedding());
    world.restart();
    EXPECT_EQ(only()->notes(), "the last word");
}

TEST_F(NothingLost, APhotoTakenOutStaysOutOverRestartsAndComesBackWhole) {
    RollPointer roll = told("kyoto");
    removePhoto(*roll, roll->photos()[1], &app().undoStack());
    world.restart();
    roll = only();
    EXPECT_EQ(roll->photos().size(), 3u);
    bringBackPhoto(*roll, roll->removedPhotos().at(0), &app().undoStack());
    EXPECT_TRUE(roll->photos()[1]->labels().contains(PhotoLabel::gem));
    EXPECT_EQ(app().undo(), "Bring Back Photo");
    EXPECT_EQ(roll->photos().size(), 3u);
    EXPECT_EQ(app().redo(), "Bring Back Photo");
    world.restart();
    EXPECT_EQ(only()->photos().size(), 4u);
    EXPECT_THAT(only()->removedPhotos(), IsEmpty());
}

TEST_F(NothingLost, EachActIsOneStepThatIsTakenBackAndSaved) {
    const RollPointer roll = told("kyoto");
    UndoStack& undo = app().undoStack();
    const VaultRollManifest start = stored(*roll);

    const RollAct act(*roll);
    roll->setCameraMake("Nikon");
    roll->setNotes("sun");
    act.end(&undo, "Edit Roll");
    const auto order = photoOrder(*roll);
    dragPhotoOver(*roll, order[3], order[0], false);
    finishDrag(*roll, order, &undo);
    const auto second = photoOrder(*roll);
    dragPhotoOver(*roll, second[3], second[0], false);
    finishDrag(*roll, second, &undo);
    world.machine.advance(2s);
    EXPECT_EQ(stored(*roll).photos[0].filename, "003.jpg") << "also the second drag";
    assignDates(*roll, 60.0, nullptr, &undo);
    world.machine.advance(10s);
    removePhoto(*roll, roll->photos()[0], &undo);
    ASSERT_EQ(app().renameRoll(roll, "spring"), std::nullopt);
    world.machine.advance(10s);

    std::vector<std::string> labels;
    while (const auto label = app().undo()) labels.push_back(*label);
    EXPECT_THAT(labels, ElementsAre("Rename Roll", "Take Out Photo", "Assign Dates", "Reorder Photos",
                                    "Reorder Photos", "Edit Roll"));
    world.machine.advance(10s);
    VaultRollManifest back = stored(*roll);
    back.folderBookmark = start.folderBookmark;
    EXPECT_TRUE(back == start);
    while (app().redo()) {
    }
    world.machine.advance(10s);
    EXPECT_EQ(stored(*roll).cameraMake, "Nikon");
    EXPECT_EQ(stored(*roll).photos.size(), 3u);
    EXPECT_EQ(roll->name(), "spring");
}

TEST_F(NothingLost, UndoShowsWhatItChangesAndNeverSelectsWhatIsGone) {
    const RollPointer kyoto = told("kyoto");
    const RollPointer osaka = world.openedRoll("osaka");
    const PhotoPointer photo = osaka->photos()[0];
    selectPhoto(*osaka, photo);
    rotateSelectedClockwise(*osaka, &app().undoStack());
    removePhoto(*osaka, photo, nullptr);
    app().undo();
    EXPECT_NE(osaka->selectedPhoto(), photo);
    EXPECT_EQ(photo->rotation(), RotationAngle::none);
    app().navigateToRoll(kyoto);
    EXPECT_FALSE(app().undoStack().canUndo());
    rotateSelectedClockwise(*kyoto, &app().undoStack());
    const auto backStack = app().navigationHistory().backStack();
    app().navigateToRoll(kyoto);
    EXPECT_TRUE(app().undoStack().canUndo()) << "the roll was open already";
    EXPECT_EQ(app().navigationHistory().backStack(), backStack);
}

TEST_F(NothingLost, RenamingAFolderTakesTheRollsInItAlong) {
    const RollPointer outer = told("trip");
    const Path inner = outer->sourceFolder() / "day 2";
    for (const char* name : {"a.jpg", "b.jpg"}) files().addFile(inner / name, name);
    app().addRoll(inner, true);
    const RollPointer roll = world.rollNamed("day 2");
    ASSERT_EQ(app().renameRoll(outer, "journey"), std::nullopt);
    EXPECT_EQ(roll->sourceFolder(), outer->sourceFolder() / "day 2");
    EXPECT_TRUE(files().exists(roll->photos()[0]->sourceURL()));
    world.restart();
    EXPECT_FALSE(world.rollNamed("day 2")->isDisconnected());
    EXPECT_EQ(stored(*world.rollNamed("day 2")).folderPath, roll->sourceFolder().string());
}

TEST_F(NothingLost, AnOrderByFallingFileNamesLastsOverARestart) {
    const RollPointer roll = told("kyoto");
    roll->setSortAscending(false);
    sortPhotos(*roll);
    world.restart();
    EXPECT_EQ(only()->photos()[0]->filename(), "004.jpg");
}

TEST_F(NothingLost, ADamagedFileIsReplacedByItsBackupAndKept) {
    const RollPointer roll = told("kyoto");
    roll->setNotes("newest");
    world.machine.advance(10s);
    app().flushPendingSaves();
    const Path file = world.program->vault.paths().rollFile(roll->id());
    files().addFile(file, "torn");
    world.restart(false);
    EXPECT_EQ(only()->notes(), "rain") << "the newest backup";
    world.machine.advance(2s);
    EXPECT_EQ(stored(*only()).notes, "rain");
    EXPECT_EQ(decodedRollFile(*files().contents(backupPath(file, 1)))->notes, "rain");
    bool isKept = false;
    for (const Path& path : files().allFiles(file.parent())) {
        isKept |= path.filename().find(".damaged-") != std::string::npos && files().contents(path) == "torn";
    }
    EXPECT_TRUE(isKept);
}

TEST_F(NothingLost, ALibraryThatCannotBeListedIsNotAnEmptyOne) {
    told("kyoto");
    app().flushPendingSaves();
    files().setUnreadable(world.program->vault.paths().rolls);
    world.program = std::make_unique<AppWorld::Program>(world.machine, world.folderSearch);
    app().start(StartMode::commands);
    ASSERT_FALSE(world.program->vault.problems().empty());
    EXPECT_EQ(world.program->vault.problems()[0].kind, VaultProblem::Kind::library);
}

}  // namespace
}  // namespace kelvaris

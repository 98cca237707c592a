#include <gmock/gmock.h>

#include "app_world.h"
#include "application/own_places.h"
#include "library/roll_editing.h"
#include "vault/vault_documents.h"

namespace kelvaris {
namespace {

using namespace std::chrono_literals;
using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;

class BackupTest : public ::testing::Test {
protected:
    testing::AppWorld world;
    FakeFiles& files = world.machine.files;
    const Path disk{"/media/backup"};

    BackupTest() { files.addFolder(disk); }
    AppViewModel& app() { return world.app(); }
    UserPreferences& preferences() { return world.program->preferences; }
    const VaultPaths& paths() { return world.program->vault.paths(); }

    MirrorReport backUp() {
        std::optional<MirrorReport> report;
        app().backUpNow([&](const MirrorReport& made) { report = made; });
        world.machine.settle();
        return report.value();
    }
    RestoreReport restore(bool replacesNewer = false) {
        std::optional<RestoreReport> report;
        app().restoreFromMirror(disk, replacesNewer, [&](const RestoreReport& made) { report = made; });
        EXPECT_FALSE(report) << "the answer comes later";
        world.machine.settle();
        return report.value();
    }
    std::string notesIn(const Path& file) {
        const auto manifest = decodedRollFile(files.contents(file).value_or(""));
        return manifest ? manifest->notes.value_or("") : "(none)";
    }
};

// --- Mirror ----------------------------------------------------------------------------------------------

TEST_F(BackupTest, AMirrorStaysOutOfOwnDataAndOfScans) {
    const RollPointer roll = world.openedRoll("kyoto");
    const Places& places = world.machine.places;
    files.addFolder(places.data / "vault/rolls/x");
    files.addFolder(roll->sourceFolder() / "backup");
    files.addLink(Path("/media/link"), places.config);
    files.addLink(Path("/media/scans"), roll->sourceFolder());
    for (const Path& folder :
         {places.data, places.data / "vault/rolls/x", places.data.parent(), places.caches, places.state,
          Path("/media/link"), roll->sourceFolder(), roll->sourceFolder() / "backup",
          Path("/media/scans/backup"), Path("/media/nowhere")}) {
        EXPECT_NE(app().startMirroring(folder), std::nullopt) << folder.string();
    }
    EXPECT_FALSE(preferences().isMirrorEnabled());
    EXPECT_EQ(app().startMirroring(disk), std::nullopt);
    EXPECT_EQ(app().startMirroring(world.machine.places.home), std::nullopt) << "its own folder is beside";
}

TEST_F(BackupTest, ABackupHoldsTheEditsThatWait) {
    const RollPointer roll = world.openedRoll("kyoto");
    ASSERT_EQ(app().startMirroring(disk), std::nullopt);
    roll->setNotes("just now");
    EXPECT_EQ(backUp().rolls, 1);
    EXPECT_EQ(notesIn(MirrorPaths::under(disk).rollFile(roll->id().text())), "just now");
}

// --- Restore ---------------------------------------------------------------------------------------------

TEST_F(BackupTest, ARestoreFlushesFirstAndShowsWhatItTookAtOnce) {
    const RollPointer kyoto = world.openedRoll("kyoto");
    const RollPointer lisbon = world.openedRoll("lisbon");
    ASSERT_EQ(app().startMirroring(disk), std::nullopt);
    kyoto->setNotes("in the mirror");
    app().scheduleSave(kyoto);
    preferences().setArtistName("Ann");
    const FaceGroupingEdits corrections{
        .groups = {}, .separated = {{.rollID = kyoto->id(), .filename = "001.jpg", .x = 0.5, .y = 0.5}}};
    preferences().setFaceGroupingEdits(corrections);
    world.program->favorites.toggleFavoriteFilm("hp5");
    world.machine.advance(10s);
    backUp();
    preferences().stopMirroring();
    world.machine.advance(10s);

    preferences().setArtistName("Ben");
    preferences().setFaceGroupingEdits({});
    preferences().addFavoriteCamera({.make = "Leica", .model = "M6"});
    world.program->favorites.toggleFavoriteFilm("portra-400");
    app().navigateToRoll(kyoto);
    kyoto->setNotes("after it");
    rotateSelectedClockwise(*kyoto, &app().undoStack());
    world.machine.advance(10s);
    lisbon->setNotes("not on the disk yet");
    app().scheduleSave(lisbon);
    ASSERT_TRUE(app().undoStack().canUndo());

    const RestoreReport report = restore(true);
    EXPECT_EQ(report.restored, 2);
    EXPECT_EQ(report.replaced, 2);
    EXPECT_EQ(app().exclusive(), Exclusive::none);
    EXPECT_EQ(notesIn(backupPath(paths().rollFile(lisbon->id()), 1)), "not on the disk yet");
    EXPECT_EQ(world.rollNamed("kyoto")->notes(), "in the mirror");
    EXPECT_EQ(app().activeRoll(), nullptr);
    EXPECT_FALSE(app().undoStack().canUndo());
    EXPECT_EQ(app().navigationHistory().goBack(std::nullopt), std::optional(std::optional(kyoto->id())));
    EXPECT_EQ(preferences().artistName(), "Ann");
    EXPECT_EQ(preferences().faceGroupingEdits(), corrections);
    EXPECT_THAT(preferences().favoriteCameras(), IsEmpty()) << "the mirror has none";
    EXPECT_EQ(preferences().defaultCameraId(), std::nullopt);
    EXPECT_THAT(world.program->favorites.favoriteFilmSlugs(), ElementsAre("hp5"));

    const auto restored = files.contents(paths().rollFile(kyoto->id()));
    const auto restoredPreferences = files.contents(paths().preferencesFile);
    world.machine.advance(1min);
    app().flushPendingSaves();
    EXPECT_EQ(files.contents(paths().rollFile(kyoto->id())), restored);
    EXPECT_EQ(files.contents(paths().preferencesFile), restoredPreferences);
    world.restart();
    EXPECT_EQ(world.rollNamed("kyoto")->notes(), "in the mirror");
    EXPECT_EQ(preferences().artistName(), "Ann");
    EXPECT_EQ(world.machine.folders.surplusEnds(), 0);
}

TEST_F(BackupTest, NothingElseIsWrittenWhileARestoreRuns) {
    const RollPointer roll = world.openedRoll("kyoto");
    ASSERT_EQ(app().startMirroring(disk), std::nullopt);
    roll->setNotes("mirrored");
    world.machine.advance(10s);
    preferences().stopMirroring();
    world.machine.advance(10s);
    roll->setNotes("local");
    world.machine.advance(10s);

    std::optional<RestoreReport> report;
    app().restoreFromMirror(disk, true, [&](const RestoreReport& made) { report = made; });
    EXPECT_EQ(app().exclusive(), Exclusive::restoring);
    EXPECT_FALSE(world.program->vault.save(*roll));
    app().scheduleSave(roll);
    std::optional<RestoreReport> second;
    app().restoreFromMirror(disk, true, [&](const RestoreReport& made) { second = made; });
    EXPECT_THAT(app().resetAllData().refusals, ElementsAre(HasSubstr("restore")));
    world.machine.settle();
    EXPECT_NE(second.value().refusal, "");
    EXPECT_EQ(report.value().replaced, 1);
    world.machine.advance(10s);
    EXPECT_EQ(notesIn(paths().rollFile(roll->id())), "mirrored");
}

TEST_F(BackupTest, ARestoreThatCannotSaveFirstOrFindsNothingNewChangesNothing) {
    const RollPointer roll = world.openedRoll("kyoto");
    ASSERT_EQ(app().startMirroring(disk), std::nullopt);
    backUp();
    app().navigateToRoll(roll);
    EXPECT_EQ(restore().restored, 1);
    EXPECT_EQ(app().activeRoll(), roll) << "all was the same";

    roll->setNotes("cannot be saved");
    files.setReadOnly(paths().rolls);
    const RestoreReport refused = restore(true);
    EXPECT_THAT(refused.refusal, HasSubstr("could not be saved"));
    EXPECT_TRUE(refused.hasFailed());
    EXPECT_EQ(app().activeRoll()->notes(), "cannot be saved");
    EXPECT_EQ(app().exclusive(), Exclusive::none);
}

TEST_F(BackupTest, ALibraryComesBackFromItsMirror) {
    const RollPointer roll = world.openedRoll("kyoto");
    ASSERT_EQ(app().startMirroring(disk), std::nullopt);
    roll->setNotes("precious");
    EXPECT_FALSE(app().resetAllData().hasFailed());
    EXPECT_EQ(world.machine.shell.terminations, 1);
    world.restart();
    EXPECT_TRUE(app().rolls().empty());
    EXPECT_FALSE(preferences().isMirrorEnabled());

    EXPECT_EQ(restore().restored, 1);
    ASSERT_EQ(app().rolls().size(), 1u);
    EXPECT_EQ(app().rolls()[0]->notes(), "precious") << "edits reach the mirror before a reset";
}

// --- Reset -----------------------------------------------------------------------------------------------

TEST_F(BackupTest, AResetRemovesWhatTheProgramMadeAndNothingElse) {
    const RollPointer roll = world.openedRoll("kyoto");
    world.program->favorites.toggleFavoriteFilm("hp5");
    world.machine.advance(10s);
    const Places& places = world.machine.places;
    const std::string id = roll->id().text();
    const std::vector<Path> own{paths().rolls / (id + ".md.damaged-20261123T125930Z"),
                                paths().rolls / ".kelvaris-0123456789abcdef.tmp",
                                paths().vault / ("removed/2026-11-23/" + id + ".bin"),
                                paths().embeddings / (id + ".bin"),
                                paths().vault / "preferences.md.bak2",
                                places.data / "models/registry.json",
                                places.data / "models/nima/NIMA.mlmodelc/model.onnx",
                                paths().thumbnailFolder(roll->id()) / "001.jpg.jpg",
                                places.state / "kelvaris.1.log",
                                places.config / "defaults.json"};
    const std::vector<Path> foreign{
        places.data / "word-vectors.txt",    paths().rolls / "conflicted copy.md",
        paths().vault / "removed/notes.txt", places.data / "models/vision/people.onnx",
        places.caches / "other/file",        places.config / "other.json"};
    for (const Path& path : own) files.addFile(path, "own");
    for (const Path& path : foreign) files.addFile(path, "foreign");
    EXPECT_FALSE(app().resetAllData().hasFailed());
    for (const Path& path : own) EXPECT_FALSE(files.exists(path)) << path.string();
    for (const Path& path : foreign) EXPECT_TRUE(files.exists(path)) << path.string();
    EXPECT_FALSE(files.exists(paths().rollFile(roll->id())));
    EXPECT_FALSE(files.exists(paths().lockFile));
    EXPECT_FALSE(files.exists(places.state)) << "nothing was left in it";
    EXPECT_TRUE(files.exists(roll->sourceFolder() / "001.jpg"));
    EXPECT_TRUE(world.machine.defaults.values.empty());
}

TEST_F(BackupTest, ALibraryRootThatIsSomebodysHomeStays) {
    const Path home("/home/ann");
    Places places = world.machine.places;
    places.data = home;
    places.caches = home / "caches";
    places.config = home / "config";
    places.state = home / "state";
    const VaultPaths vault = VaultPaths::under(home, places.caches / "thumbnails");
    files.addFile(home / "letters/mother.txt", "dear");
    files.addFile(home / "scans/kyoto/001.jpg", "scan");
    files.addFile(home / "config/editor.ini", "mine");
    files.addFile(vault.preferencesFile, "own");
    files.addFile(vault.lockFile, "");
    const auto folders = ownFolders(files, vault, places);
    EXPECT_THAT(resetRefusals(files, folders, std::vector{home / "scans/kyoto"}, home / "backup"), IsEmpty());
    EXPECT_THAT(removeOwn(files, folders), IsEmpty());
    EXPECT_THAT(files.allFiles(home), ElementsAre(home / "config/editor.ini", home / "letters/mother.txt",
                                                  home / "scans/kyoto/001.jpg"));
}

TEST_F(BackupTest, AResetRefusesWhereScansOrTheMirrorWouldGoAlong) {
    const Path scans = world.machine.places.data / "models/nima/scans";
    for (const char* name : {"1.jpg", "2.jpg"}) files.addFile(scans / name, "scan");
    files.addLink(world.machine.places.home / "link", scans);
    app().addRoll(world.machine.places.home / "link", false);
    preferences().setMirrorFolder("", (paths().vault / "mirror").string());
    const auto before = files.allFiles();
    const ResetReport report = app().resetAllData();
    EXPECT_THAT(report.refusals, ElementsAre(HasSubstr("scans"), HasSubstr("mirror")));
    EXPECT_EQ(files.allFiles(), before);
    EXPECT_EQ(app().rolls().size(), 1u);
    EXPECT_EQ(world.machine.shell.terminations, 0);
}

TEST_F(BackupTest, AResetIsAskedForAndTellsWhatStays) {
    const RollPointer roll = world.openedRoll("kyoto");
    auto& shell = world.machine.shell;
    app().requestReset();
    world.machine.settle();
    ASSERT_EQ(shell.alerts.size(), 1u);
    EXPECT_EQ(shell.alerts[0].buttons, (std::vector<std::string>{"Reset", "Cancel"}));
    EXPECT_EQ(app().rolls().size(), 1u) << "cancelled";

    files.setReadOnly(paths().rolls);
    shell.buttons = {0, 0};
    app().requestReset();
    world.machine.settle();
    ASSERT_EQ(shell.alerts.size(), 3u);
    EXPECT_THAT(shell.alerts[2].text, HasSubstr(roll->id().text()));
    EXPECT_EQ(shell.terminations, 1) << "a program without its library ends";
}

TEST_F(BackupTest, NothingIsWrittenDuringAReset) {
    const RollPointer roll = world.openedRoll("kyoto");
    EXPECT_FALSE(app().resetAllData().hasFailed());
    roll->setNotes("too late");
    preferences().setArtistName("Ana");
    world.program->favorites.toggleFavoriteFilm("hp5");
    app().scheduleSave(roll);
    app().flushPendingSaves();
    world.machine.advance(10s);
    EXPECT_THAT(files.allFiles(world.machine.places.data), IsEmpty());
}

}  // namespace
}  // namespace kelvaris

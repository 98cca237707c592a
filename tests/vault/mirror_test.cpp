#include "vault/mirror.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "log_capture.h"
#include "vault/bodies.h"
#include "vault/verification.h"
#include "vault_world.h"

namespace kelvaris {
namespace {

using namespace std::chrono_literals;
using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using testing::LogCapture;
using ::testing::Not;
using ::testing::UnorderedElementsAre;

class MirrorTest : public ::testing::Test, protected testing::VaultWorld {
protected:
    const Path disk{"/media/backup"};
    const MirrorPaths mirrored = MirrorPaths::under(disk);

    MirrorTest() { machine.files.addFolder(disk); }

    void turnOn() { mirror.setTarget({.enabled = true, .bookmark = machine.folders.makeReference(disk)}); }
    Path copyOf(const FilmRoll& roll) { return mirrored.rolls / (roll.id().text() + ".md"); }
    RollPointer savedRoll(const std::string& notes, const std::string& folder = "/scans/a") {
        auto roll = loadedRoll(2, Path(folder));
        roll->setFolderBookmarkData("token");
        roll->setNotes(notes);
        EXPECT_TRUE(vault->save(*roll));
        return roll;
    }
};

TEST_F(MirrorTest, FollowsSavesWithoutWhatIsMachineLocal) {
    const auto before = savedRoll("before the mirror was on", "/scans/before");
    machine.settle();
    turnOn();
    const auto roll = savedRoll("hello");
    vault->savePreferences({.artistName = "Ann", .mirrorEnabled = true, .mirrorFolderPath = "/media/backup"});
    EXPECT_FALSE(machine.files.exists(mirrored.base)) << "a save waits for no mirror";
    machine.settle();

    auto expected = *vault->loadManifest(paths.rollFile(roll->id()));
    EXPECT_NE(expected.folderBookmark, "");
    expected.folderBookmark.clear();
    EXPECT_TRUE(*decodedRollFile(contents(copyOf(*roll))) == expected);
    EXPECT_EQ(*decodedPreferencesFile(contents(mirrored.preferencesFile)),
              (VaultPreferences{.artistName = "Ann"}));
    EXPECT_FALSE(machine.files.exists(copyOf(*before)));
    EXPECT_EQ(mirror.lastDate(), machine.clock.now());
    EXPECT_EQ(machine.folders.openCount(), 0);

    mirror.setTarget({});
    savedRoll("off again", "/scans/off");
    machine.settle();
    EXPECT_EQ(machine.files.allFiles(mirrored.rolls).size(), 1u);
}

TEST_F(MirrorTest, AFailingDiskCostsNoSaveAndIsTriedAgain) {
    turnOn();
    const auto roll = savedRoll("one");
    machine.settle();
    const LogCapture log;
    machine.files.setReadOnly(mirrored.rolls);
    roll->setNotes("two");
    EXPECT_TRUE(vault->save(*roll));
    machine.settle();
    EXPECT_EQ(notesIn(copyOf(*roll)), "one");
    EXPECT_NE(mirror.lastError(), std::nullopt);
    EXPECT_THAT(log.errors(),
                ElementsAre(HasSubstr("Mirror write failed for " + roll->id().text() + ".md: ")));

    machine.files.setReadOnly(mirrored.rolls, false);
    machine.files.rename(disk, Path("/elsewhere/backup"));  // unmounted,
    machine.advance(std::chrono::seconds(1));
    machine.files.addFolder(disk);  // and its bare mount point stays
    EXPECT_TRUE(vault->save(*roll));
    machine.settle();
    EXPECT_THAT(log.errors(), Contains("Mirror bookmark could not be resolved"));
    EXPECT_EQ(mirror.lastError(), "Mirror bookmark could not be resolved");
    EXPECT_FALSE(machine.files.exists(mirrored.base));

    machine.files.erase(disk);
    machine.files.rename(Path("/elsewhere/backup"), disk);
    EXPECT_TRUE(vault->save(*roll));
    machine.settle();
    EXPECT_EQ(notesIn(copyOf(*roll)), "two");
    EXPECT_EQ(mirror.lastError(), std::nullopt);
}

TEST_F(MirrorTest, MirrorsEverythingAndOnlyGrows) {
    EXPECT_EQ(vault->mirror().mirrorAll(), 0);
    const auto first = savedRoll("first", "/scans/first");
    const auto second = savedRoll("second", "/scans/second");
    second->setNotes("second, later");
    vault->save(*second);
    machine.files.addFile(paths.rollFile(second->id()), "damaged");
    vault->savePreferences({.artistName = "Ann"});
    turnOn();
    const LogCapture log;
    EXPECT_EQ(vault->mirror().mirrorAll(), 2);
    EXPECT_EQ(notesIn(copyOf(*second)), "second") << "from the backup";
    EXPECT_EQ(contents(mirrored.schemaFile), schemaText());
    EXPECT_TRUE(log.contains("Mirrored 2 rolls to backup folder"));
    ASSERT_TRUE(vault->deleteRoll(first->id()));
    EXPECT_EQ(vault->mirror().mirrorAll(), 1);
    EXPECT_EQ(notesIn(copyOf(*first)), "first");
    EXPECT_EQ(vault->mirror().restoreFromMirror(disk), 2);
    EXPECT_EQ(notesIn(paths.rollFile(first->id())), "first");
}

TEST_F(MirrorTest, ADamagedMirrorReplacesNothingGood) {
    turnOn();
    const auto good = savedRoll("good", "/scans/good");
    const auto torn = savedRoll("torn", "/scans/torn");
    const auto invalid = savedRoll("invalid", "/scans/invalid");
    vault->savePreferences({.artistName = "Ann"});
    machine.settle();
    const std::string whole = contents(copyOf(*torn));
    machine.files.addFile(copyOf(*torn), whole.substr(0, whole.find("photos:")));
    std::string outOfRange = contents(copyOf(*invalid));
    outOfRange.replace(outOfRange.find("sortIndex: 0"), 12, "sortIndex: -1");
    machine.files.addFile(copyOf(*invalid), outOfRange);
    machine.files.addFile(mirrored.preferencesFile, "---\nexportQuality: 7\n---\n");
    machine.files.addFile(mirrored.rolls / "old.bak.md", whole);
    for (const auto& roll : {good, torn, invalid}) {
        roll->setNotes("local");
        vault->save(*roll);
    }
    const std::string localTorn = fileOf(*torn);
    mirror.setTarget({});
    machine.settle();

    EXPECT_EQ(vault->mirror().restoreFromMirror(disk), 1);
    EXPECT_EQ(fileOf(*good), contents(copyOf(*good)));
    EXPECT_EQ(fileOf(*torn), localTorn);
    EXPECT_EQ(notesIn(paths.rollFile(invalid->id())), "local");
    EXPECT_EQ(vault->loadPreferences()->artistName, "Ann");
    EXPECT_FALSE(machine.files.exists(paths.rolls / "old.bak.md"));
}

TEST_F(MirrorTest, PreferencesComeBackAlsoWithoutRolls) {
    machine.files.addFile(mirrored.preferencesFile, "---\nartistName: Ben\n---\n");
    EXPECT_EQ(vault->mirror().restoreFromMirror(disk), std::nullopt);
    EXPECT_EQ(vault->loadPreferences()->artistName, "Ben");
}

TEST_F(MirrorTest, ARestoreThatFailsKeepsTheLocalFiles) {
    turnOn();
    const auto roll = savedRoll("mirrored");
    machine.settle();
    mirror.setTarget({});
    roll->setNotes("local");
    vault->save(*roll);
    for (std::size_t step = 1;; ++step) {
        const LogCapture log;
        machine.files.failAtStep(step);
        const auto count = vault->mirror().restoreFromMirror(disk);
        machine.files.clearFaults();
        const std::string notes = notesIn(paths.rollFile(roll->id()));
        if (count == 1) {
            EXPECT_EQ(notes, "mirrored");
            break;
        }
        EXPECT_THAT(notes, ::testing::AnyOf("local", "mirrored"));
        EXPECT_TRUE(log.contains("Restore failed for"));
    }
}

TEST_F(MirrorTest, AResetLeavesMirrorAndPhotosAlone) {
    turnOn();
    const auto roll = savedRoll("kept in the mirror");
    machine.settle();
    machine.files.addFile(paths.thumbnailFolder(roll->id()) / "001.jpg", "small");
    vault.reset();
    const LogCapture log;
    resetAllData(machine.files, paths);
    EXPECT_TRUE(log.contains("All persistent data deleted"));
    EXPECT_FALSE(machine.files.exists(machine.places.data));
    EXPECT_FALSE(machine.files.exists(machine.places.caches));
    EXPECT_TRUE(machine.files.exists(copyOf(*roll)));
    EXPECT_TRUE(machine.files.exists(roll->sourceFolder() / "001.jpg"));
    openVault();
    EXPECT_THAT(vault->loadAllManifests(), IsEmpty());
    EXPECT_TRUE(vault->canWrite());
}

TEST_F(MirrorTest, VerificationTellsWhatDisagreesAndChangesNothing) {
    turnOn();
    const auto clean = savedRoll("clean", "/scans/clean");
    clean->photos()[0]->setClipEmbedding(std::vector<float>{1.0f});
    vault->save(*clean);
    machine.settle();
    EXPECT_TRUE(verifyVault(machine.files, paths, disk).isClean());

    const auto torn = savedRoll("torn", "/scans/torn");
    torn->setNotes("torn once more");
    vault->save(*torn);
    const auto lost = savedRoll("lost", "/scans/lost");
    const auto away = savedRoll("away", "/scans/away");
    machine.settle();
    machine.files.addFile(paths.rollFile(torn->id()), "---\nid: 1\n---\n");
    machine.files.addFile(paths.rollFile(lost->id()), "");
    machine.files.erase(Path("/scans/away"));
    machine.files.addFile(Path("/scans/torn/002.jpg"), "another size");
    machine.files.addFile(Path("/scans/torn/003.jpg"), "new");
    machine.files.addFile(paths.embeddingsFile(away->id()), "KVEM");
    machine.files.addFile(paths.embeddings / "STRAY.bin", "KVEM");
    machine.files.addFile(paths.rolls / "ORPHAN.md.bak1", "");
    machine.files.addFile(paths.preferencesFile, "---\nexportQuality: 9\n");
    machine.files.addFile(copyOf(*away), "---\n");
    machine.files.addFile(mirrored.rolls / "ELSEWHERE.md", contents(copyOf(*torn)));
    clean->setNotes("changed while the disk was away");
    mirror.setTarget({});
    vault->save(*clean);
    machine.settle();

    const auto filesBefore = machine.files.allFiles();
    machine.files.resetSteps();
    const VaultReport report = verifyVault(machine.files, paths, disk);
    EXPECT_EQ(machine.files.stepCount(), 0u);
    EXPECT_EQ(machine.files.allFiles(), filesBefore);
    EXPECT_FALSE(report.isClean());
    std::map<Path, const RollCheck*> checks;
    for (const RollCheck& check : report.rolls) checks[check.file.file] = &check;
    ASSERT_EQ(checks.size(), 4u);

    const RollCheck& cleanCheck = *checks[paths.rollFile(clean->id())];
    EXPECT_EQ(cleanCheck.file.state, FileCheck::State::intact);
    EXPECT_EQ(cleanCheck.sidecar, RollCheck::Sidecar::agrees);
    EXPECT_EQ(cleanCheck.folder, RollCheck::Folder::agrees);
    EXPECT_EQ(cleanCheck.mirror, RollCheck::Mirror::differs);
    const RollCheck& tornCheck = *checks[paths.rollFile(torn->id())];
    EXPECT_EQ(tornCheck.file.state, FileCheck::State::fromBackup);
    EXPECT_EQ(tornCheck.file.backup, 1);
    EXPECT_THAT(tornCheck.file.reason, HasSubstr("missing"));
    EXPECT_THAT(tornCheck.fingerprintDifferences, ElementsAre("002.jpg", "003.jpg"));
    EXPECT_EQ(checks[paths.rollFile(lost->id())]->file.state, FileCheck::State::unreadable);
    const RollCheck& awayCheck = *checks[paths.rollFile(away->id())];
    EXPECT_EQ(awayCheck.folder, RollCheck::Folder::unreadable);
    EXPECT_EQ(awayCheck.sidecar, RollCheck::Sidecar::unusable);
    EXPECT_EQ(awayCheck.mirror, RollCheck::Mirror::unreadable);
    EXPECT_EQ(report.preferences.state, FileCheck::State::unreadable);
    EXPECT_THAT(report.sidecarsWithoutRoll, ElementsAre(paths.embeddings / "STRAY.bin"));
    EXPECT_THAT(report.backupsWithoutRoll, ElementsAre(paths.rolls / "ORPHAN.md.bak1"));
    EXPECT_THAT(report.mirrorOnly, ElementsAre(mirrored.rolls / "ELSEWHERE.md"));
    EXPECT_THAT(report.mirrorUnreadable, IsEmpty());
}

}  // namespace
}  // namespace kelvaris

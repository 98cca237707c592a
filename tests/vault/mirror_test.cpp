#include "vault/mirror.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "log_capture.h"
#include "mirror_world.h"
#include "vault/bodies.h"
#include "vault/verification.h"

namespace kelvaris {
namespace {

using namespace std::chrono_literals;
using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using testing::LogCapture;

class MirrorTest : public ::testing::Test, protected testing::MirrorWorld {
protected:
    MirrorBacklog backlog() { return vault->mirror().waitUntilWritten(0ms); }
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

TEST_F(MirrorTest, WritesOfOneRollBecomeOneAndEqualOnesNone) {
    turnOn();
    const auto roll = savedRoll("one");
    const auto other = savedRoll("other", "/scans/b");
    for (const char* notes : {"two", "three", "four"}) save(*roll, notes);
    EXPECT_EQ(machine.queues.queue(VaultMirror::queueName)->waitingCount(), 1u);
    EXPECT_EQ(backlog().files.size(), 2u) << "what waits at the end of a program is told";
    machine.files.resetSteps();
    machine.settle();
    EXPECT_EQ(writtenFiles(), 2u);
    EXPECT_EQ(notesIn(copyOf(*roll)), "four");
    EXPECT_THAT(backlog().files, IsEmpty());

    vault->savePreferences({.artistName = "Ann"});
    machine.settle();
    machine.clock.advance(48h);  // the body of the preferences names the day
    vault->mirror().follow(VaultPreferences{.artistName = "Ann"});
    roll->setFolderBookmarkData("another token");
    save(*roll, "four");
    machine.files.resetSteps();
    machine.settle();
    EXPECT_EQ(writtenFiles(), 0u);
}

TEST_F(MirrorTest, AFailingDiskCostsNoSaveIsToldAndTriedAgain) {
    turnOn();
    const auto roll = savedRoll("one");
    const auto other = savedRoll("other", "/scans/b");
    machine.settle();
    const LogCapture log;
    machine.files.setReadOnly(mirrored.rolls);
    save(*roll, "two");
    machine.settle();
    EXPECT_EQ(notesIn(copyOf(*roll)), "one");
    EXPECT_NE(mirror.lastError(), std::nullopt);
    EXPECT_THAT(log.errors(),
                ElementsAre(HasSubstr("Mirror write failed for " + roll->id().text() + ".md: ")));
    ASSERT_EQ(backlog().files.size(), 1u);
    EXPECT_EQ(backlog().files[0].name, "a");
    EXPECT_FALSE(backlog().isAway);

    machine.files.setReadOnly(mirrored.rolls, false);
    save(*other, "other, later");
    machine.settle();
    EXPECT_EQ(notesIn(copyOf(*roll)), "two") << "the next save takes along what failed";
    EXPECT_EQ(mirror.lastError(), std::nullopt);

    pullDisk();
    save(*roll, "three");
    machine.settle();
    EXPECT_THAT(log.errors(), Contains("Mirror bookmark could not be resolved"));
    EXPECT_EQ(mirror.lastError(), "Mirror bookmark could not be resolved");
    EXPECT_FALSE(machine.files.exists(mirrored.base));
    EXPECT_TRUE(backlog().isAway);
    EXPECT_EQ(backlog().files.size(), 1u);

    returnDisk();
    save(*other, "other, at last");
    machine.settle();
    EXPECT_EQ(notesIn(copyOf(*roll)), "three");
    EXPECT_EQ(mirror.lastError(), std::nullopt);
    EXPECT_THAT(backlog().files, IsEmpty());
}

TEST_F(MirrorTest, MirrorsEverythingAndOnlyGrows) {
    EXPECT_EQ(vault->mirror().mirrorAll().rolls, 0);
    const auto first = savedRoll("first", "/scans/first");
    const auto second = savedRoll("second", "/scans/second");
    save(*second, "second, later");
    const std::string whole = fileOf(*second);
    machine.files.addFile(paths.rolls / "second (conflicted copy).md", whole);
    machine.files.addFile(paths.rollFile(second->id()), "damaged");
    vault->savePreferences({.artistName = "Ann"});
    turnOn();
    const LogCapture log;
    const MirrorReport report = vault->mirror().mirrorAll();
    EXPECT_EQ(report.rolls, 2);
    EXPECT_EQ(report.written, 2);
    EXPECT_TRUE(report.preferencesWritten && !report.hasFailed());
    EXPECT_EQ(notesIn(copyOf(*second)), "second") << "from the backup";
    EXPECT_EQ(contents(mirrored.schemaFile), schemaText());
    EXPECT_TRUE(log.contains("Mirrored 2 rolls to backup folder"));

    machine.files.addFile(paths.rollFile(second->id()), whole);
    EXPECT_EQ(vault->mirror().mirrorAll().written, 1);
    machine.files.addFile(paths.rollFile(second->id()), "damaged again");
    ASSERT_TRUE(vault->deleteRoll(first->id()));
    const MirrorReport again = vault->mirror().mirrorAll();
    EXPECT_EQ(again.rolls, 0);
    EXPECT_THAT(failureText(again.failures), HasSubstr("second: The file is damaged"));
    EXPECT_EQ(notesIn(copyOf(*second)), "second, later") << "a backup is older than the copy";
    EXPECT_EQ(notesIn(copyOf(*first)), "first");
}

TEST_F(MirrorTest, ARunOntoAFullDiskNamesWhatIsMissing) {
    for (const char* name : {"a", "b", "c"}) savedRoll(name, std::string("/scans/") + name);
    turnOn();
    machine.files.setFreeSpace(100);
    const MirrorReport report = vault->mirror().mirrorAll();
    EXPECT_EQ(report.rolls, 0);
    ASSERT_EQ(report.failures.size(), 4u) << "three rolls and the schema";
    EXPECT_THAT(failureText(report.failures), ::testing::EndsWith("SCHEMA.md: No space left on device"));
    for (const char* name : {"a", "b", "c"}) {
        EXPECT_THAT(report.failures, Contains(::testing::Field(&MirrorFailure::name, name)));
    }
    machine.files.setFreeSpace(1'000'000);
    EXPECT_FALSE(vault->mirror().mirrorAll().hasFailed());
    EXPECT_EQ(mirror.lastError(), std::nullopt);

    pullDisk();
    const MirrorReport away = vault->mirror().mirrorAll();
    EXPECT_TRUE(away.hasFailed());
    EXPECT_EQ(failureText(away.failures), "Mirror bookmark could not be resolved");
    machine.files.setUnreadable(paths.rolls);
    returnDisk();
    EXPECT_TRUE(vault->mirror().mirrorAll().hasFailed()) << "an unreadable library is not an empty one";
}

/// A clock at whose first question, after the first file of a run, the disk is pulled out.
class PullingClock final : public Clock {
public:
    explicit PullingClock(std::function<void()> pull) : pull_(std::move(pull)) {}
    Instant now() const override {
        if (pull_) std::exchange(pull_, nullptr)();
        return {};
    }

private:
    mutable std::function<void()> pull_;
};

TEST_F(MirrorTest, ADiskThatGoesAwayHalfWayLeavesItsMountPointBare) {
    for (const char* name : {"a", "b", "c"}) savedRoll(name, std::string("/scans/") + name);
    turnOn();
    const PullingClock clock([this] { pullDisk(); });
    VaultStore store(machine.files, machine.clock.wall(), paths);
    VaultMirror pulled(store, machine.files, machine.folders, machine.language, clock, machine.queues,
                       mirror);
    const MirrorReport report = pulled.mirrorAll();
    EXPECT_EQ(report.rolls, 1);
    EXPECT_EQ(report.failures.size(), 3u) << "two rolls and the schema";
    EXPECT_THAT(machine.files.allFiles(disk), IsEmpty());
    EXPECT_FALSE(machine.files.exists(mirrored.base)) << "or else it would pass for the mirror";
    returnDisk();
    EXPECT_EQ(pulled.mirrorAll().rolls, 3);
}

TEST_F(MirrorTest, WhatAProgramCouldNotMirrorGoesOnAtTheNextStart) {
    turnOn();
    const auto slow = savedRoll("slow", "/scans/slow");
    const auto whole = savedRoll("whole", "/scans/whole");
    machine.settle();
    machine.clock.advance(1min);
    save(*slow, "slow, later");
    vault->savePreferences({.artistName = "Ann"});
    EXPECT_EQ(vault->mirror().status().behind, std::vector<std::string>{"slow"});
    openVault();  // before the mirror's queue had its turn

    machine.files.resetSteps();
    vault->mirror().catchUp();
    machine.settle();
    EXPECT_EQ(notesIn(copyOf(*slow)), "slow, later");
    EXPECT_EQ(decodedPreferencesFile(contents(mirrored.preferencesFile))->artistName, "Ann");
    EXPECT_EQ(writtenFiles(), 2u);

    machine.clock.advance(1min);
    vault->mirror().catchUp();
    save(*slow, "newest");
    machine.settle();
    EXPECT_EQ(notesIn(copyOf(*slow)), "newest") << "a record that waits is newer than its file";
    const MirrorStatus status = vault->mirror().status();
    EXPECT_TRUE(status.isOn && status.folder);
    EXPECT_EQ(status.rolls, 2);
    EXPECT_THAT(status.behind, IsEmpty());
    EXPECT_EQ(status.lastCopy, machine.clock.now());

    machine.clock.advance(1min);
    save(*slow, "kept for the restore");
    openVault();
    vault->mirror().restoreFromMirror(disk, false);
    vault->mirror().catchUp();
    machine.settle();
    EXPECT_EQ(notesIn(copyOf(*slow)), "newest") << "the user may want the mirror's still";
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

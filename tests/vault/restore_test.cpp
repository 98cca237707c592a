#include "vault/restore.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "mirror_world.h"

namespace kelvaris {
namespace {

using namespace std::chrono_literals;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;
using Act = RestoreDecision::Act;

constexpr const char* id = "0A1B2C3D-0000-4000-8000-000000000001";

/// A roll file as a hand may write it.
std::string rollFile(const std::string& notes, const std::string& bookmark = "''",
                     const std::string& folder = "/scans/kyoto") {
    return fmt::format(
        "---\nversion: 3\nid: {}\nfolderPath: {}\nfolderBookmark: {}\nfileFingerprint: []\nnotes: {}\n"
        "aKeyOfTomorrow: 7\nphotos: []\n---\n\nbody\n",
        id, folder, bookmark, notes);
}

const Instant noon = Instant(std::chrono::hours(12));
const Instant night = Instant(std::chrono::hours(24));

TEST(RestoreDecision, TheNewerWorkStaysUnlessTheUserSaysOtherwise) {
    const FileVersion mirrored{rollFile("mirror"), noon};
    struct Row {
        const char* what;
        std::optional<FileVersion> local;
        bool replacesNewer;
        Act act;
    };
    const Row rows[] = {
        {"absent", std::nullopt, false, Act::take},
        {"damaged", FileVersion{"---\nid: 1\n---\n", night}, false, Act::take},
        {"equal", FileVersion{rollFile("mirror", "dG9rZW4="), night}, true, Act::leave},
        {"older", FileVersion{rollFile("local"), Instant()}, false, Act::replace},
        {"as old", FileVersion{rollFile("local"), noon}, false, Act::replace},
        {"newer", FileVersion{rollFile("local"), night}, false, Act::keepNewer},
        {"newer, replaced", FileVersion{rollFile("local"), night}, true, Act::replace},
        {"of no known time", FileVersion{rollFile("local"), std::nullopt}, false, Act::keepNewer},
    };
    for (const Row& row : rows) {
        const auto decision = decidedRoll(id, mirrored, row.local, row.replacesNewer);
        EXPECT_EQ(decision.act, row.act) << row.what;
        EXPECT_EQ(decision.name, "kyoto");
    }
    EXPECT_EQ(decidedRoll("another", mirrored, {}, true).act, Act::skip);
    EXPECT_EQ(decidedRoll("0a1b2c3d-0000-4000-8000-000000000001", mirrored, {}, true).act, Act::take);
    const auto torn = decidedRoll(id, {"---\nversion: 3\n", noon}, {}, true);
    EXPECT_EQ(torn.act, Act::skip);
    EXPECT_NE(torn.reason, "");
}

TEST(RestoreDecision, AReplacedRollKeepsTheWayToItsFolderAndEveryOtherByteOfTheMirror) {
    const FileVersion mirrored{rollFile("mirror"), noon};
    const auto bytes = [&](const std::string& local) {
        return decidedRoll(id, mirrored, FileVersion{local, Instant()}, false).bytes;
    };
    EXPECT_EQ(bytes(rollFile("local", "dG9rZW4=")), rollFile("mirror", "'dG9rZW4='"));
    EXPECT_EQ(bytes(rollFile("local", "dG9rZW4=", "/elsewhere")), mirrored.bytes) << "of another folder";
    EXPECT_EQ(bytes(rollFile("local")), mirrored.bytes);
    const FileVersion folded{rollFile("mirror", ">-\n  abc"), noon};
    const auto decision =
        decidedRoll(id, folded, FileVersion{rollFile("local", "dG9rZW4="), Instant()}, false);
    EXPECT_TRUE(decodedRollFile(decision.bytes)) << "a hand may have written that line otherwise";
    EXPECT_EQ(decision.bytes, folded.bytes);
}

class RestoreTest : public ::testing::Test, protected testing::MirrorWorld {
protected:
    RestoreTest() { turnOn(); }
    RestoreReport restore(bool replacesNewer = false) {
        return vault->mirror().restoreFromMirror(disk, replacesNewer);
    }
    std::string notesIn(const FilmRoll& roll) { return VaultWorld::notesIn(paths.rollFile(roll.id())); }
    std::string backupNotes(const FilmRoll& roll) {
        return VaultWorld::notesIn(backupPath(paths.rollFile(roll.id()), 1));
    }
    /// Lets the mirror stay behind from here on.
    void freezeMirror() {
        machine.settle();
        mirror.setTarget({});
        machine.clock.advance(1min);
    }
};

TEST_F(RestoreTest, TakesWhatIsMissingAndNeverWhatIsNewerHere) {
    const auto newer = savedRoll("mirrored", "/scans/newer");
    const auto equal = savedRoll("equal", "/scans/equal");
    const auto gone = savedRoll("gone", "/scans/gone");
    const auto damaged = savedRoll("damaged", "/scans/damaged");
    const auto older = savedRoll("old", "/scans/older");
    freezeMirror();
    const std::string olderFile = fileOf(*older);
    machine.files.addFile(copyOf(*older), [&] {
        std::string later = contents(copyOf(*older));
        return later.replace(later.find("notes: old"), 10, "notes: new");
    }());
    machine.clock.advance(1min);
    save(*newer, "edited here");
    const std::string equalFile = fileOf(*equal);
    machine.files.erase(paths.rollFile(gone->id()));
    machine.files.addFile(paths.rollFile(damaged->id()), "---\nid: 1\n---\n");
    machine.files.addFile(mirrored.rolls / "0A1B2C3D-0000-4000-8000-00000000000F.md", "---\n---\n");
    machine.files.addFile(mirrored.rolls / "conflicted copy.md", contents(copyOf(*equal)));
    machine.files.addFile(mirrored.rolls / "notes.txt", "foreign");

    const RestoreReport report = restore();
    EXPECT_EQ(report.restored, 4);
    EXPECT_EQ(report.replaced, 1);
    EXPECT_EQ(report.unchanged, 1);
    EXPECT_THAT(report.kept, ElementsAre(RestoreNote{"newer", ""}));
    EXPECT_EQ(report.skipped.size(), 2u);
    EXPECT_FALSE(report.hasFailed());
    EXPECT_THAT(restoreText(report), HasSubstr("Restored 4 rolls from backup folder: 1 differed"));
    EXPECT_THAT(restoreText(report), HasSubstr("Kept 1 that changed here after the mirror did: newer"));
    EXPECT_EQ(notesIn(*newer), "edited here");
    EXPECT_EQ(fileOf(*equal), equalFile) << "with its way to the folder, and no backup turned";
    EXPECT_EQ(notesIn(*gone), "gone");
    EXPECT_EQ(notesIn(*damaged), "damaged");
    EXPECT_EQ(notesIn(*older), "new");
    EXPECT_EQ(contents(backupPath(paths.rollFile(older->id()), 1)), olderFile);
    EXPECT_FALSE(machine.files.exists(paths.rolls / "conflicted copy.md"));

    const RestoreReport again = restore(true);
    EXPECT_EQ(again.restored, 5);
    EXPECT_EQ(again.replaced, 1);
    EXPECT_EQ(notesIn(*newer), "mirrored");
    EXPECT_EQ(backupNotes(*newer), "edited here");
    EXPECT_FALSE(restore(true).hasChangedAnything());
}

TEST_F(RestoreTest, ARollThatWasRemovedComesBackWithWhatWasPutAside) {
    const auto roll = savedRoll("mirrored");
    roll->photos()[0]->setClipEmbedding(std::vector<float>{1.0f});
    vault->save(*roll);
    freezeMirror();
    save(*roll, "edited before it was removed");
    VaultStore store(machine.files, machine.clock.wall(), paths);
    ASSERT_TRUE(store.putAside(roll->id(), paths.rollFile(roll->id())));
    ASSERT_FALSE(store.loadEmbeddings(roll->id()));
    const RestoreReport report = restore();
    EXPECT_TRUE(report.hasChangedAnything());
    EXPECT_EQ(report.kept.size(), 1u);
    EXPECT_EQ(notesIn(*roll), "edited before it was removed");
    EXPECT_TRUE(store.loadEmbeddings(roll->id()));
    EXPECT_EQ(backupNotes(*roll), "mirrored");

    machine.files.addFile(copyOf(*roll), "torn");
    ASSERT_TRUE(store.putAside(roll->id(), paths.rollFile(roll->id())));
    EXPECT_EQ(restore().takenBack, 0);
    EXPECT_EQ(store.asideRolls().size(), 1u) << "only the mirror brings it back";
}

TEST_F(RestoreTest, PreferencesFollowTheSameRuleAndKeepTheMirrorOfThisMachine) {
    vault->savePreferences({.artistName = "Ann", .mirrorEnabled = true, .mirrorFolderPath = "/media/backup"});
    freezeMirror();
    EXPECT_EQ(restore().preferences, Act::leave);
    vault->savePreferences({.artistName = "Ben", .mirrorEnabled = true, .mirrorFolderPath = "/media/other"});
    const RestoreReport kept = restore();
    EXPECT_THAT(kept.kept, ElementsAre(RestoreNote{"preferences.md", ""}));
    EXPECT_EQ(vault->loadPreferences()->artistName, "Ben");
    EXPECT_EQ(restore(true).preferences, Act::replace);
    EXPECT_EQ(
        *vault->loadPreferences(),
        (VaultPreferences{.artistName = "Ann", .mirrorEnabled = true, .mirrorFolderPath = "/media/other"}));
    machine.files.addFile(mirrored.preferencesFile, "---\nexportQuality: 7\n---\n");
    EXPECT_EQ(restore(true).skipped.size(), 1u);
    EXPECT_EQ(vault->loadPreferences()->artistName, "Ann");
}

TEST_F(RestoreTest, WithoutAMirrorThatCanBeReadItFailsAndChangesNothing) {
    const auto roll = savedRoll("local");
    freezeMirror();
    const std::string before = fileOf(*roll);
    machine.files.addFile(copyOf(*roll), "torn");
    const RestoreReport damaged = restore(true);
    EXPECT_TRUE(damaged.hasFailed());
    EXPECT_FALSE(damaged.hasChangedAnything());
    EXPECT_EQ(damaged.skipped.size(), 1u);
    machine.files.erase(mirrored.rolls);
    const RestoreReport empty = restore(true);
    EXPECT_TRUE(empty.hasFailed());
    EXPECT_THAT(restoreText(empty), HasSubstr("The folder holds no backup of rolls"));
    EXPECT_EQ(fileOf(*roll), before);

    machine.files.addFile(mirrored.preferencesFile, "---\nartistName: Ben\n---\n");
    EXPECT_EQ(restore().preferences, Act::take) << "preferences come back also without rolls";
}

TEST_F(RestoreTest, AFaultLeavesTheOldFileOrTheNewOneAndIsTold) {
    const auto roll = savedRoll("mirrored");
    const auto hidden = savedRoll("hidden", "/scans/hidden");
    freezeMirror();
    save(*roll, "local");
    save(*hidden, "cannot be read now");
    machine.files.setUnreadable(paths.rollFile(hidden->id()));
    for (std::size_t step = 1; notesIn(*roll) != "mirrored"; ++step) {
        machine.files.failAtStep(step, FileError::Code::noSpace);
        const RestoreReport report = restore(true);
        machine.files.clearFaults();
        const bool isNew = notesIn(*roll) == "mirrored";
        EXPECT_EQ(report.failures.size(), isNew ? 1u : 2u);
        EXPECT_TRUE(report.hasFailed());
        EXPECT_EQ(isNew ? backupNotes(*roll) : notesIn(*roll), "local");
        ASSERT_LT(step, 50u);
    }
    machine.files.setUnreadable(paths.rollFile(hidden->id()), false);
    EXPECT_EQ(notesIn(*hidden), "cannot be read now") << "unreadable is not absent";
}

}  // namespace
}  // namespace kelvaris

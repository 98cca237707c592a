#include "vault/vault_service.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "log_capture.h"
#include "vault/bodies.h"
#include "vault/embedding_sidecar.h"
#include "vault_world.h"

namespace kelvaris {
namespace {

using namespace std::chrono_literals;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using testing::LogCapture;

class VaultServiceTest : public ::testing::Test, protected testing::VaultWorld {
protected:
    Path file(const FilmRoll& roll) { return paths.rollFile(roll.id()); }
    bool saveWithNotes(FilmRoll& roll, const std::string& notes) {
        roll.setNotes(notes);
        return vault->save(roll);
    }
    void giveVector(FilmRoll& roll, float value) {
        roll.photos()[0]->setClipEmbedding(std::vector<float>(4, value));
    }
};

TEST_F(VaultServiceTest, AStartMakesTheFoldersAndRestoresTheSchemaText) {
    for (const Path& folder : {paths.rolls, paths.embeddings, paths.thumbnailCacheBase}) {
        EXPECT_TRUE(machine.files.isDirectory(folder)) << folder.string();
    }
    machine.files.addFile(paths.schemaFile, "edited");
    openVault();
    EXPECT_EQ(contents(paths.schemaFile), schemaText());
    machine.files.erase(paths.schemaFile);
    openVault();
    EXPECT_EQ(contents(paths.schemaFile), schemaText());
}

TEST_F(VaultServiceTest, AWriterClearsAwayWhatKilledProgramsHadBegunAndNothingElse) {
    const Path abandoned = paths.rolls / ".kelvaris-0123456789abcdef.tmp";
    const Path foreign = paths.rolls / ".kelvaris-notes";
    for (const Path& path : {abandoned, foreign}) machine.files.addFile(path, "half a roll");
    const auto reader = makeVault(VaultService::Access::readOnly);
    EXPECT_TRUE(machine.files.exists(abandoned)) << "it may be another program's, at work";
    openVault();
    EXPECT_FALSE(machine.files.exists(abandoned));
    EXPECT_TRUE(machine.files.exists(foreign));
}

TEST_F(VaultServiceTest, FourSavesLeaveThreeBackupsTheLatestFirst) {
    const auto roll = loadedRoll(1);
    for (const char* notes : {"one", "two", "three", "four", "five"})
        ASSERT_TRUE(saveWithNotes(*roll, notes));
    EXPECT_EQ(notesIn(file(*roll)), "five");
    EXPECT_EQ(notesIn(backupPath(file(*roll), 1)), "four");
    EXPECT_EQ(notesIn(backupPath(file(*roll), 2)), "three");
    EXPECT_EQ(notesIn(backupPath(file(*roll), 3)), "two");
    EXPECT_EQ(machine.files.allFiles(paths.rolls).size(), 4u);
}

TEST_F(VaultServiceTest, ARestartBringsTheRollBackAndAResaveTheSameBytes) {
    const auto roll = loadedRoll(3);
    roll->photos()[1]->setLatitude(1.0 / 3);
    giveVector(*roll, 0.5f);
    ASSERT_TRUE(saveWithNotes(*roll, "line\n---\nline"));
    const std::string saved = fileOf(*roll);

    openVault();
    auto stored = vault->loadManifestByFolderPath(roll->sourceFolder().string());
    ASSERT_TRUE(stored);
    const auto again = reopened(*roll);
    vault->applyManifest(*stored, *again);
    EXPECT_EQ(again->notes(), "line\n---\nline");
    EXPECT_EQ(*again->photos()[0]->clipEmbedding(), std::vector<float>(4, 0.5f));
    const std::string sidecar = contents(paths.embeddingsFile(roll->id()));
    ASSERT_TRUE(vault->save(*again));
    EXPECT_EQ(fileOf(*roll), saved);
    EXPECT_EQ(contents(paths.embeddingsFile(roll->id())), sidecar);

    again->photos()[0]->setClipEmbedding({});
    ASSERT_TRUE(vault->save(*again));
    EXPECT_FALSE(machine.files.exists(paths.embeddingsFile(roll->id()))) << "nothing to keep, no file";
    EXPECT_FALSE(vault->loadManifestByFolderPath("/home/user/scans"));
}

TEST_F(VaultServiceTest, InvalidValuesTouchNothing) {
    const auto roll = loadedRoll(1);
    saveWithNotes(*roll, "one");
    saveWithNotes(*roll, "two");
    const std::string before = fileOf(*roll);
    const LogCapture log;
    roll->photos()[0]->setLongitude(180.5);
    EXPECT_FALSE(saveWithNotes(*roll, "three"));
    roll->photos()[0]->setLongitude({});
    roll->setBaseDate(instantFromUtc({.year = 12000, .month = 1, .day = 1}));
    EXPECT_FALSE(vault->save(*roll));
    EXPECT_FALSE(vault->savePreferences({.exportQuality = 2.0}));
    EXPECT_EQ(fileOf(*roll), before);
    EXPECT_EQ(notesIn(backupPath(file(*roll), 1)), "one");
    EXPECT_FALSE(machine.files.exists(paths.preferencesFile));
    EXPECT_THAT(log.errors(), ElementsAre("Refusing to save invalid roll metadata",
                                          HasSubstr("Failed to encode roll " + roll->id().text() + ": "),
                                          "Refusing to save invalid preferences"));
}

// Every step of a save fails in turn, once as an error and once as the end of the process with a power
// cut. What stands afterwards is the old roll or the new one.
TEST_F(VaultServiceTest, AFaultAtAnyStepLeavesTheOldOrTheNewRoll) {
    for (const bool isCrash : {false, true}) {
        int outcomes[2] = {};
        for (std::size_t step = 1;; ++step) {
            const auto roll = loadedRoll(1, Path(fmt::format("/scans/{}-{}", isCrash, step)));
            giveVector(*roll, 1.0f);
            for (const char* notes : {"a", "b", "c", "old"}) ASSERT_TRUE(saveWithNotes(*roll, notes));
            const std::string oldFile = fileOf(*roll);
            giveVector(*roll, 2.0f);
            machine.files.resetSteps();
            isCrash ? machine.files.crashAtStep(step) : machine.files.failAtStep(step);
            const bool isSaved = saveWithNotes(*roll, "new");
            const bool isOver = machine.files.stepCount() < step;
            isCrash ? machine.files.restart() : machine.files.clearFaults();

            const std::string notes = notesIn(file(*roll));
            ASSERT_TRUE(notes == "old" || notes == "new") << "step " << step << ": " << notes;
            ASSERT_TRUE(notes == "new" || fileOf(*roll) == oldFile) << "step " << step;
            EXPECT_TRUE(notes == "new" || !isSaved) << "step " << step;
            ++outcomes[notes == "new"];
            openVault();  // also frees the lock of the dead process
            const auto loaded = vault->loadManifest(file(*roll));
            ASSERT_TRUE(loaded);
            EXPECT_EQ(loaded->notes, notes);
            const auto vectors = vault->store().loadEmbeddings(roll->id());
            if (vectors) {
                const float first = vectors->at("001.jpg").clip->at(0);
                EXPECT_TRUE(first == 1.0f || first == 2.0f);
            }
            if (isOver) break;
        }
        EXPECT_GE(outcomes[0], 3);
        EXPECT_GE(outcomes[1], 3);
    }
}

TEST_F(VaultServiceTest, SavesOntoAFullDiskCostNoBackup) {
    const auto roll = loadedRoll(1);
    for (const char* notes : {"a", "b", "c", "d"}) saveWithNotes(*roll, notes);
    machine.files.setFreeSpace(0);
    const LogCapture log;
    for (int i = 0; i < 5; ++i) EXPECT_FALSE(saveWithNotes(*roll, std::string(5000, 'x')));
    EXPECT_EQ(notesIn(file(*roll)), "d");
    EXPECT_EQ(notesIn(backupPath(file(*roll), 1)), "c");
    EXPECT_EQ(notesIn(backupPath(file(*roll), 3)), "a");
    EXPECT_THAT(log.errors()[0], HasSubstr("Failed to write vault file " + roll->id().text() + ".md: "));
    machine.files.setFreeSpace(1'000'000);
    EXPECT_TRUE(saveWithNotes(*roll, "e"));
    EXPECT_EQ(notesIn(file(*roll)), "e");
}

TEST_F(VaultServiceTest, AFailingSidecarCostsVectorsOnly) {
    const auto roll = loadedRoll(1);
    giveVector(*roll, 1.0f);
    machine.files.erase(paths.embeddings);
    const LogCapture log;
    EXPECT_TRUE(saveWithNotes(*roll, "kept"));
    EXPECT_THAT(log.errors(),
                ElementsAre(HasSubstr("Failed to write embeddings sidecar for " + roll->id().text())));

    machine.files.addFile(paths.embeddingsFile(roll->id()), "KVEM but damaged");
    const auto again = reopened(*roll);
    vault->applyManifest(*vault->loadManifest(file(*roll)), *again);
    EXPECT_EQ(again->notes(), "kept");
    EXPECT_FALSE(again->photos()[0]->clipEmbedding());
}

TEST_F(VaultServiceTest, ADamagedFileFallsBackAndIsLeftInPlace) {
    const auto roll = loadedRoll(1);
    for (const char* notes : {"one", "two", "three"}) saveWithNotes(*roll, notes);
    machine.files.addFile(file(*roll), "---\nhalf a file");
    machine.files.addFile(backupPath(file(*roll), 1), "");
    machine.files.addFile(paths.rolls / "x.bak.md", contents(backupPath(file(*roll), 2)));
    machine.files.addFile(paths.rolls / ".hidden.md", contents(backupPath(file(*roll), 2)));
    machine.files.addFile(paths.rolls / "ORPHAN.md.bak1", contents(backupPath(file(*roll), 2)));
    machine.files.addFile(paths.rolls / "broken.md", "no fence");
    machine.files.addFolder(paths.rolls / "folder.md");
    const auto manifests = vault->loadAllManifests();
    ASSERT_EQ(manifests.size(), 1u);
    EXPECT_EQ(manifests[0].notes, "one");
    EXPECT_EQ(vault->loadManifestByFolderPath(roll->sourceFolder().string())->notes, "one");
    EXPECT_EQ(contents(file(*roll)), "---\nhalf a file");
    machine.files.erase(paths.rolls);
    EXPECT_THAT(vault->loadAllManifests(), IsEmpty());
}

TEST_F(VaultServiceTest, ManyRollsAreReadTogetherWithTheirVectors) {
    std::vector<RollPointer> rolls;
    for (int i = 0; i < 60; ++i) {  // more than are read ahead
        rolls.push_back(loadedRoll(1, Path(fmt::format("/scans/{}", i))));
        giveVector(*rolls.back(), static_cast<float>(i));
        saveWithNotes(*rolls.back(), fmt::format("roll {}", i));
    }
    machine.files.addFile(file(*rolls[3]), "damaged");
    ThreadedOperationQueue threads("reading", 4);
    FakeOperationQueue late("late", 4);
    for (OperationQueue* queue : std::initializer_list<OperationQueue*>{&threads, &late}) {
        std::vector<StoredRoll> stored;
        vault->store().forEachRoll(*queue, [&](StoredRoll roll) { stored.push_back(std::move(roll)); });
        ASSERT_EQ(stored.size(), 59u);
        for (const StoredRoll& each : stored) {
            const int number = std::stoi(each.manifest.folderPath.substr(7));
            EXPECT_EQ(each.embeddings.at("001.jpg").clip->at(0), static_cast<float>(number));
        }
        const auto expected = vault->loadAllManifests();
        for (std::size_t i = 0; i < stored.size(); ++i) EXPECT_TRUE(stored[i].manifest == expected[i]);
    }
    late.runAll();  // finds nothing left to do
}

TEST_F(VaultServiceTest, ADeletedRollIsPutAsideWithEverythingThatWasItsOwn) {
    const auto roll = loadedRoll(1);
    const auto other = loadedRoll(1, Path("/scans/other"));
    giveVector(*roll, 1.0f);
    for (const char* notes : {"a", "b", "c", "d"}) saveWithNotes(*roll, notes);
    ASSERT_TRUE(vault->save(*other));
    machine.files.addFile(paths.thumbnailFolder(roll->id()) / "001.jpg", "small");
    ASSERT_TRUE(vault->deleteRoll(roll->id()));
    machine.advance(2s);
    EXPECT_THAT(machine.files.allFiles(paths.rolls), ElementsAre(file(*other)));
    EXPECT_THAT(machine.files.allFiles(paths.embeddings), IsEmpty());
    EXPECT_EQ(machine.files.allFiles(paths.vault / "removed").size(), 5u) << "it may be wanted again";
    EXPECT_THAT(machine.files.allFiles(machine.places.caches), IsEmpty());
    EXPECT_TRUE(machine.files.exists(roll->sourceFolder() / "001.jpg"));
}

TEST_F(VaultServiceTest, AFolderThatIsAwayKeepsItsStoredFingerprint) {
    const auto roll = loadedRoll(2);
    vault->save(*roll);
    const auto stored = vault->loadManifest(file(*roll))->fileFingerprint;
    EXPECT_THAT(stored, ElementsAre(FileFingerprint{"001.jpg", 6}, FileFingerprint{"002.jpg", 6}));
    machine.files.addFile(roll->sourceFolder() / "003.jpg", "new");
    roll->setIsDisconnected(true);
    vault->save(*roll);
    vault->save(*roll);
    EXPECT_EQ(vault->loadManifest(file(*roll))->fileFingerprint, stored);
    roll->setIsDisconnected(false);
    vault->save(*roll);
    EXPECT_EQ(vault->loadManifest(file(*roll))->fileFingerprint.size(), 3u);
    machine.files.erase(roll->sourceFolder());  // the disk goes away before anyone noticed
    vault->save(*roll);
    EXPECT_EQ(vault->loadManifest(file(*roll))->fileFingerprint.size(), 3u);
}

TEST_F(VaultServiceTest, AReaderNeitherSavesNorComplains) {
    const auto roll = loadedRoll(1);
    const auto lost = loadedRoll(1, Path("/home/user/scans/osaka"));
    saveWithNotes(*roll, "mine");
    saveWithNotes(*lost, "lost");
    machine.files.addFile(file(*roll), "damaged");
    machine.files.addFile(paths.embeddingsFile(lost->id()), "damaged");
    machine.files.addFile(paths.rolls / "my list.md", "foreign");
    machine.files.addFile(paths.preferencesFile, "damaged");
    for (const auto access : {VaultService::Access::readOnly, VaultService::Access::readWriteIfFree}) {
        const auto reader = makeVault(access);
        reader->watch({lost});
        const LogCapture log;
        lost->setNotes(lost->notes() + "!");
        machine.advance(std::chrono::minutes(1));
        EXPECT_THAT(log.errors(), ::testing::IsEmpty());
        EXPECT_EQ(notesIn(file(*lost)), "lost");

        const auto workers = machine.queues.makeQueue("readers", 1);
        reader->tell(reader->store().forEachRoll(*workers, [](const StoredRoll&) {}));
        (void)reader->loadPreferences();
        EXPECT_EQ(reader->problems().size(), 4u);
        EXPECT_EQ(log.errors().size(), 4u) << "each is told, and told once";
    }
}

TEST_F(VaultServiceTest, ASecondProgramReadsAndIsRefusedToWrite) {
    const auto roll = loadedRoll(1);
    saveWithNotes(*roll, "mine");
    const LogCapture log;
    const auto second = makeVault();
    EXPECT_FALSE(second->canWrite());
    EXPECT_EQ(second->writeRefusal(), "Another Kelvaris is using this library");
    roll->setNotes("theirs");
    EXPECT_FALSE(second->save(*roll));
    EXPECT_FALSE(second->savePreferences({}));
    EXPECT_FALSE(second->deleteRoll(roll->id()));
    EXPECT_EQ(second->loadAllManifests().size(), 1u);
    EXPECT_EQ(notesIn(file(*roll)), "mine");
    EXPECT_THAT(log.errors(), ::testing::Contains("Not saved: Another Kelvaris is using this library"));
    vault.reset();
    EXPECT_TRUE(makeVault(VaultService::Access::readOnly)->writeRefusal() != "");
    EXPECT_TRUE(makeVault()->canWrite()) << "a reader keeps no writer out";
}

TEST_F(VaultServiceTest, PreferencesRotateTheirBackupsAndAreReadFromThem) {
    for (const char* name : {"a", "b", "c", "d"}) ASSERT_TRUE(vault->savePreferences({.artistName = name}));
    EXPECT_EQ(vault->loadPreferences()->artistName, "d");
    EXPECT_THAT(contents(backupPath(paths.preferencesFile, 3)), HasSubstr("artistName: a"));
    machine.files.addFile(paths.preferencesFile, "---\nexportQuality: 2.0\nartistName: e\n---\n");
    EXPECT_EQ(vault->loadPreferences(), VaultPreferences{.artistName = "e"});
    machine.files.addFile(paths.preferencesFile, "---\nartistName: f\n");
    EXPECT_EQ(vault->loadPreferences()->artistName, "c");
}

}  // namespace
}  // namespace kelvaris

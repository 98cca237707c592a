#include "vault/save_schedule.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <any>

#include "log_capture.h"
#include "random_records.h"
#include "vault/manifest_exchange.h"
#include "vault_world.h"

namespace kelvaris {
namespace {

using namespace std::chrono_literals;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using testing::LogCapture;
using ::testing::SizeIs;

class SaveScheduleTest : public ::testing::Test, protected testing::VaultWorld {
protected:
    Path file(const FilmRoll& roll) { return paths.rollFile(roll.id()); }
    /// A roll of the library that nobody looks at.
    RollPointer watchedRoll(int photoCount, const Path& folder = Path("/home/user/scans/kyoto")) {
        auto roll = loadedRoll(photoCount, folder);
        rolls.push_back(roll);
        vault->watch(rolls);
        EXPECT_TRUE(vault->save(*roll));
        return roll;
    }
    std::vector<RollPointer> rolls;
};

/// Reads or writes the value under one key of a described record.
class OneKey {
public:
    explicit OneKey(std::size_t index) : wanted_(index) {}
    template <class T>
    void required(std::string_view key, T& member, const char*) {
        visit(key, member);
    }
    template <class T>
    void optional(std::string_view key, std::optional<T>& member, const char*) {
        visit(key, member);
    }
    template <class T>
    void visit(std::string_view key, T& member) {
        if (index_++ != wanted_) return;
        name = key;
        if (value.has_value()) {
            member = std::any_cast<T>(value);
        } else {
            value = member;
        }
    }
    void rewind() { index_ = 0; }

    std::string name;
    std::any value;

private:
    std::size_t wanted_;
    std::size_t index_ = 0;
};

template <class Record>
std::string copyKey(std::size_t index, Record from, Record& to) {
    OneKey key(index);
    describe(key, from);
    key.rewind();
    if (!key.name.empty()) describe(key, to);
    return key.name;
}

TEST_F(SaveScheduleTest, EveryStoredValueReachesTheFileByItselfWhoeverSetsIt) {
    const auto roll = watchedRoll(2);
    const auto unseen = watchedRoll(1, Path("/home/user/scans/other"));
    int differing = 0;
    const auto expectInFile = [&](const VaultRollManifest& wanted, const std::string& key) {
        const auto before = buildManifest(*roll, {});
        takeInManifest(wanted, *roll);
        machine.advance(2s);
        auto stored = decodedRollFile(fileOf(*roll));
        ASSERT_TRUE(stored) << key;
        stored->fileFingerprint.clear();
        const auto live = buildManifest(*roll, {});
        EXPECT_TRUE(*stored == live) << key << " did not reach the file";
        differing += !(live == before);
    };
    for (std::uint64_t seed = 1; seed <= 6; ++seed) {
        auto other = testing::RandomRecords(seed).manifest(2);
        other.id = roll->id().text();
        for (std::size_t i = 0; i < 2; ++i) {
            other.photos[i].filename = roll->photos()[i]->filename();
            other.photos[i].sortIndex = static_cast<std::int64_t>(seed * 10 + i);
            other.photos[i].analysisVersion = VaultRollManifest::currentAnalysisVersion;
            if (!other.photos[i].labels) other.photos[i].labels.emplace();
        }
        for (std::size_t index = 0;; ++index) {
            auto wanted = buildManifest(*roll, {});
            const std::string key = copyKey(index, other, wanted);
            if (key.empty()) break;
            if (key == "photos" || key == "removedPhotos" || key == "folderPath") continue;
            expectInFile(wanted, key);
        }
        for (std::size_t index = 0;; ++index) {
            auto wanted = buildManifest(*roll, {});
            const auto named = std::find_if(other.photos.begin(), other.photos.end(), [&](const auto& entry) {
                return entry.filename == wanted.photos[1].filename;
            });
            const std::string key = copyKey(index, *named, wanted.photos[1]);
            if (key.empty()) break;
            expectInFile(wanted, key);
        }
    }
    EXPECT_GT(differing, 90) << "the values were really others";
    EXPECT_THAT(vault->schedule().unsavedRolls(), IsEmpty());
    EXPECT_FALSE(machine.files.exists(backupPath(file(*unseen), 1))) << "nobody touched the other roll";
}

TEST_F(SaveScheduleTest, AStreamOfEditsIsOneSaveAfterTheLastButNoneWaitsForever) {
    const auto roll = watchedRoll(1);
    for (int i = 0; i < 4; ++i) {
        roll->setNotes(fmt::format("edit {}", i));
        machine.advance(1s);
    }
    EXPECT_EQ(notesIn(file(*roll)), "");
    ASSERT_THAT(vault->schedule().unsavedRolls(), SizeIs(1));
    machine.advance(499ms);
    EXPECT_EQ(notesIn(file(*roll)), "");
    machine.advance(1ms);
    EXPECT_EQ(notesIn(file(*roll)), "edit 3");
    EXPECT_THAT(vault->schedule().unsavedRolls(), IsEmpty());
    EXPECT_FALSE(machine.files.exists(backupPath(file(*roll), 2)));
    for (int i = 0; i < 100; ++i) {
        roll->setNotes(fmt::format("stream {}", i));
        machine.advance(100ms);
    }
    EXPECT_NE(notesIn(file(*roll)), "edit 3") << "an analysis may go on for hours";
}

TEST_F(SaveScheduleTest, WithoutAChangeOfBytesNothingIsWrittenAndNoBackupTurns) {
    const auto roll = watchedRoll(1);
    roll->setNotes("once");
    machine.advance(2s);
    machine.files.resetSteps();
    roll->setNotes("twice");
    roll->setNotes("once");
    vault->scheduleSave(roll);
    machine.advance(2s);
    EXPECT_EQ(machine.files.stepCount(), 0u);
    EXPECT_THAT(vault->schedule().unsavedRolls(), IsEmpty());
    EXPECT_EQ(notesIn(backupPath(file(*roll), 1)), "");
}

TEST_F(SaveScheduleTest, ASaveThatFailsIsToldOnceAndTriedAgainUntilItWorks) {
    const auto roll = watchedRoll(1);
    const LogCapture log;
    machine.files.setFreeSpace(0);
    roll->setNotes(std::string(5000, 'x'));
    machine.advance(1500ms);
    ASSERT_THAT(vault->schedule().unsavedRolls(), SizeIs(1));
    EXPECT_THAT(vault->schedule().unsavedRolls()[0].reason, HasSubstr("No space left"));
    EXPECT_THAT(roll->statusNotification()->message(), HasSubstr("Could not save kyoto: No space left"));
    roll->setStatusNotification(std::nullopt);
    const auto tries = [&log] {
        const auto errors = log.errors();
        return std::count_if(errors.begin(), errors.end(), [](const std::string& line) {
            return line.starts_with("Failed to write vault file");
        });
    };
    EXPECT_EQ(tries(), 1);
    machine.advance(2s);
    EXPECT_EQ(tries(), 2);
    machine.advance(10s);
    EXPECT_EQ(tries(), 3);
    machine.advance(120s);
    EXPECT_EQ(tries(), 5);
    EXPECT_EQ(roll->statusNotification(), std::nullopt) << "told once";
    EXPECT_FALSE(vault->schedule().flush());
    machine.files.setFreeSpace(1'000'000);
    EXPECT_TRUE(vault->schedule().flush());
    EXPECT_THAT(vault->schedule().unsavedRolls(), IsEmpty());
    EXPECT_EQ(notesIn(file(*roll)).size(), 5000u);
    machine.files.resetSteps();
    machine.advance(300s);
    EXPECT_EQ(machine.files.stepCount(), 0u);
}

TEST_F(SaveScheduleTest, NothingIsWrittenWhileHeldNorForRollsThatLeft) {
    const auto roll = watchedRoll(1);
    const auto gone = watchedRoll(1, Path("/home/user/scans/gone"));
    gone->setNotes("late");
    rolls = {roll};
    vault->watch(rolls);
    vault->setHeld(true);
    roll->setNotes("held");
    machine.advance(10s);
    EXPECT_EQ(notesIn(file(*roll)), "");
    EXPECT_FALSE(vault->schedule().flush());
    vault->setHeld(false);
    machine.advance(2s);
    EXPECT_EQ(notesIn(file(*roll)), "held");
    EXPECT_EQ(notesIn(file(*gone)), "");
    roll->setNotes("ends with the service");
    vault.reset();
    machine.advance(10s);
    EXPECT_EQ(notesIn(file(*roll)), "held");
}

TEST_F(SaveScheduleTest, ASaveThatWouldLoseAnEntryIsRefusedAndKept) {
    const auto roll = watchedRoll(3);
    const std::string before = fileOf(*roll);
    PhotoList photos = roll->photos();
    photos.pop_back();
    roll->setPhotos(photos);  // no act of the user does this
    EXPECT_FALSE(vault->save(*roll));
    EXPECT_EQ(fileOf(*roll), before);
    ASSERT_THAT(vault->problems(), SizeIs(1));
    EXPECT_EQ(vault->problems()[0].kind, VaultProblem::Kind::refused);
    EXPECT_THAT(vault->problems()[0].text, HasSubstr("003.jpg"));
    bool isKept = false;
    for (const Path& path : machine.files.allFiles(paths.rolls)) {
        isKept |= path.filename().find(".md.refused-") != std::string::npos;
    }
    EXPECT_TRUE(isKept);
    openVault();
    EXPECT_FALSE(vault->save(*roll)) << "also by a program that never read the file";
}

TEST_F(SaveScheduleTest, AHandEditIsTakenInOrKeptBesideTheFile) {
    const auto roll = watchedRoll(2);
    roll->setNotes("mine");
    roll->photos()[0]->setPlaceName("Kyoto");
    machine.advance(2s);
    auto theirs = *decodedRollFile(fileOf(*roll));
    theirs.notes.reset();
    theirs.photos[1].placeName = "Nara";
    const auto edit = [&] {
        machine.advance(1s);
        machine.files.addFile(file(*roll), *encodedRollFile(theirs, machine.language));
    };
    EXPECT_THAT(vault->changedOutside(), IsEmpty());
    edit();
    EXPECT_THAT(vault->changedOutside(), ::testing::ElementsAre(roll->id()));
    EXPECT_TRUE(vault->takeInHandEdit(*roll));
    EXPECT_THAT(vault->changedOutside(), IsEmpty());
    EXPECT_EQ(roll->notes(), "");
    EXPECT_EQ(roll->photos()[1]->placeName(), "Nara");
    machine.files.resetSteps();
    machine.advance(5s);
    EXPECT_EQ(machine.files.stepCount(), 0u);

    theirs.notes = "by hand";
    roll->setNotes("at the same time");
    edit();
    EXPECT_FALSE(vault->takeInHandEdit(*roll));
    machine.advance(2s);
    EXPECT_EQ(notesIn(file(*roll)), "at the same time");
    ASSERT_THAT(vault->problems(), SizeIs(1));
    EXPECT_EQ(vault->problems()[0].kind, VaultProblem::Kind::theirs);
}

TEST_F(SaveScheduleTest, WhatAnOlderAnalysisFoundStaysUntilANewerOneHasItsResult) {
    const auto roll = watchedRoll(1);
    auto older = *decodedRollFile(fileOf(*roll));
    older.photos[0].labels = {"gem"};
    older.photos[0].qualityScore = 0.75;
    older.photos[0].analysisVersion = 11;
    machine.files.addFile(file(*roll), *encodedRollFile(older, machine.language));
    ASSERT_TRUE(vault->takeInHandEdit(*roll));
    EXPECT_FALSE(roll->photos()[0]->labelsAnalyzed());
    roll->setNotes("edited");
    machine.advance(2s);
    EXPECT_EQ(decodedRollFile(fileOf(*roll))->photos[0].qualityScore, 0.75);
    roll->photos()[0]->setQualityScore(0.5);
    roll->photos()[0]->setLabelsAnalyzed(true);
    machine.advance(2s);
    EXPECT_EQ(decodedRollFile(fileOf(*roll))->photos[0].qualityScore, 0.5);
    EXPECT_EQ(decodedRollFile(fileOf(*roll))->photos[0].analysisVersion, 12);
}

}  // namespace
}  // namespace kelvaris

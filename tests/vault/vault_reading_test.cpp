#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "base/text.h"
#include "log_capture.h"
#include "platform_fake/fake_clock.h"
#include "platform_fake/fake_files.h"
#include "platform_fake/fake_language.h"
#include "platform_fake/fake_operation_queue.h"
#include "vault/vault_documents.h"
#include "vault/vault_store.h"

namespace kelvaris {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::UnorderedElementsAre;
using Kind = VaultProblem::Kind;

class VaultReadingTest : public ::testing::Test {
protected:
    VaultReadingTest() { store.ensureDirectoriesExist(); }

    RollID id(int number) const {
        return *RollID::parse(fmt::format("0A1B2C3D-0000-4000-8000-00000000000{:X}", number));
    }
    Path file(int number) const { return store.paths().rollFile(id(number)); }
    std::string bytes(int number, const std::string& notes) const {
        VaultRollManifest manifest;
        manifest.id = id(number).text();
        manifest.folderPath = fmt::format("/scans/{}", number);
        manifest.notes = notes;
        manifest.photos.push_back({.filename = "a.jpg", .sortIndex = 0, .placeName = "Kyoto"});
        return *encodedRollFile(manifest, FakeLanguage());
    }
    static std::string replaced(std::string text, std::string_view what, std::string_view by) {
        return text.replace(text.find(what), what.size(), by);
    }
    /// A place that no file has, as a value of the wrong type.
    static std::string withBadValue(const std::string& file) {
        return replaced(file, "placeName: Kyoto", "rotation: 45");
    }
    void add(const Path& path, const std::string& text) { files.addFile(path, text); }

    /// Reads everything, and sees that nothing is written meanwhile.
    void readAll() {
        rolls.clear();
        files.resetSteps();
        FakeOperationQueue workers("readers", 2);
        problems = store.forEachRoll(workers, [&](StoredRoll roll) { rolls.push_back(std::move(roll)); });
        workers.runAll();
        EXPECT_EQ(files.stepCount(), 0u);
    }
    std::vector<std::string> notes() const {
        std::vector<std::string> all;
        for (const StoredRoll& roll : rolls) all.push_back(roll.manifest.notes.value_or(""));
        return all;
    }
    std::vector<std::pair<Kind, std::string>> told() const {
        std::vector<std::pair<Kind, std::string>> all;
        for (const VaultProblem& problem : problems) all.emplace_back(problem.kind, problem.file.filename());
        return all;
    }

    FakeClock clock;
    FakeFiles files{clock.wall()};
    VaultStore store{files, clock.wall(), VaultPaths::under(Path("/k"), Path("/c"))};
    std::vector<StoredRoll> rolls;
    std::vector<VaultProblem> problems;
};

TEST_F(VaultReadingTest, ADamagedFileGivesTheMostThatItOrItsBackupsHold) {
    const std::string good = bytes(1, "live");
    const std::string cut = good.substr(0, 90);
    struct Case {
        std::string live, first, second, third;
        const char* notes;
        Kind kind;
        const char* text;
    };
    const Case cases[] = {
        {withBadValue(good), bytes(1, "one"), "", "", "live", Kind::salvaged, "(rotation)"},
        {"\xEF\xBB\xBF" + good, bytes(1, "one"), "", "", "live", Kind::salvaged, "everything in it"},
        {cut, bytes(1, "one"), bytes(1, "two"), "", "one", Kind::fromBackup, "backup 1 is used, 2 days old"},
        {"", cut, bytes(1, "two"), "", "two", Kind::fromBackup, "backup 2 is used"},
        {cut, withBadValue(bytes(1, "one")), "", bytes(1, "three"), "three", Kind::fromBackup, "backup 3"},
        {cut, "", withBadValue(bytes(1, "two")), "", "two", Kind::fromBackup, "left out of it: Line "},
        {bytes(2, "another"), bytes(1, "one"), "", "", "one", Kind::fromBackup, "holds another roll"},
        {cut, bytes(2, "another"), "", bytes(1, "three"), "three", Kind::fromBackup, "backup 3"},
    };
    for (const Case& each : cases) {
        SCOPED_TRACE(each.text);
        add(backupPath(file(1), 1), each.first);
        add(backupPath(file(1), 2), each.second);
        add(backupPath(file(1), 3), each.third);
        clock.advance(std::chrono::hours(50));
        add(file(1), each.live);
        const testing::LogCapture log;
        readAll();
        EXPECT_THAT(notes(), ElementsAre(each.notes));
        ASSERT_FALSE(problems.empty());
        EXPECT_EQ(problems.back().kind, each.kind);
        EXPECT_THAT(problems.back().text, HasSubstr(each.text));
        EXPECT_THAT(problems.back().text, HasSubstr(file(1).string()));
        EXPECT_EQ(rolls[0].stamp, FileStamp::of(each.live));
        EXPECT_EQ(rolls[0].problems, problems);
        EXPECT_TRUE(log.contains(problems.back().text));
    }
}

TEST_F(VaultReadingTest, WhatCannotBeReadIsToldAndIsNoEmptyLibrary) {
    add(file(1), bytes(1, "one"));
    add(file(2), "damaged");
    add(file(3), bytes(3, "three"));
    files.setUnreadable(file(3));
    readAll();
    EXPECT_THAT(notes(), ElementsAre("one"));
    EXPECT_THAT(told(), UnorderedElementsAre(std::pair(Kind::unreadable, file(2).filename()),
                                             std::pair(Kind::unreadable, file(3).filename())));
    files.setUnreadable(store.paths().rolls);
    readAll();
    EXPECT_THAT(rolls, IsEmpty());
    EXPECT_THAT(told(), ElementsAre(std::pair(Kind::library, std::string("rolls"))));
    files.erase(store.paths().rolls);
    readAll();
    EXPECT_THAT(problems, IsEmpty()) << "a library before its first roll";
}

TEST_F(VaultReadingTest, ARollIsTheFileThatIsNamedAfterIt) {
    const auto lower = [&](int number) {
        return store.paths().rolls / (asciiLowercased(id(number).text()) + ".md");
    };
    add(lower(1), bytes(1, "lower"));
    add(backupPath(lower(1), 1), bytes(1, "older"));
    add(file(2), bytes(2, "upper"));
    clock.advance(std::chrono::hours(1));
    add(lower(2), bytes(2, "newer, but not the canonical name"));
    const Path copy = store.paths().rolls / (id(2).text() + " (conflicted copy).md");
    add(copy, bytes(2, "conflict"));
    add(file(3), bytes(2, "another roll's"));
    add(file(4), "damaged");
    add(lower(4), bytes(4, "the one that can be read"));
    add(backupPath(file(5), 2), bytes(5, "gone"));
    readAll();
    EXPECT_THAT(notes(), UnorderedElementsAre("lower", "upper", "the one that can be read"));
    EXPECT_THAT(told(),
                UnorderedElementsAre(std::pair(Kind::duplicate, lower(2).filename()),
                                     std::pair(Kind::foreign, copy.filename()),
                                     std::pair(Kind::foreign, file(3).filename()),
                                     std::pair(Kind::duplicate, lower(4).filename()),
                                     std::pair(Kind::unreadable, file(4).filename()),
                                     std::pair(Kind::backupsOnly, backupPath(file(5), 2).filename())));
    const auto found = store.loadRollByFolderPath("/scans/1");
    ASSERT_TRUE(found);
    EXPECT_EQ(found->file, lower(1));
    EXPECT_EQ(store.loadRollByFolderPath("/scans/2")->manifest.notes, "upper");
}

TEST_F(VaultReadingTest, VectorsThatCannotBeReadAreTold) {
    add(file(1), bytes(1, "one"));
    const Path sidecar = store.paths().embeddingsFile(id(1));
    for (const char* text : {"KVEM and more", ""}) {  // an empty one is a write that a power cut took back
        add(sidecar, text);
        readAll();
        EXPECT_EQ(rolls[0].sidecarIsUnusable, *text != '\0');
        EXPECT_EQ(problems.size(), *text ? 1u : 0u);
    }
    store.writeEmbeddings(id(1), {{"a.jpg", {std::vector<float>{1.0f}, {}}}});
    files.setUnreadable(sidecar);
    readAll();
    EXPECT_TRUE(rolls[0].sidecarIsUnusable);
    files.setUnreadable(sidecar, false);
    readAll();
    EXPECT_FALSE(rolls[0].sidecarIsUnusable);
    EXPECT_EQ(rolls[0].embeddings.size(), 1u);
}

TEST_F(VaultReadingTest, DamagedPreferencesGiveWhatTheyHold) {
    const Path path = store.paths().preferencesFile;
    EXPECT_FALSE(store.readPreferences().record);
    EXPECT_THAT(store.readPreferences().problems, IsEmpty());
    add(backupPath(path, 1), "---\nartistName: older\n---\n");
    for (const auto& [text, artist, kind] :
         {std::tuple("---\nartistName: Ann\nlocationMaxGapHours: 200\n---\n", "Ann", Kind::salvaged),
          std::tuple("---\nartistName: A", "older", Kind::fromBackup)}) {
        add(path, text);
        const auto reading = store.readPreferences();
        EXPECT_EQ(reading.record, VaultPreferences{.artistName = artist});
        EXPECT_EQ(reading.problems.at(0).kind, kind);
        EXPECT_EQ(reading.stamp, FileStamp::of(text));
    }
    files.erase(path);
    EXPECT_EQ(store.loadPreferences()->artistName, "older");
}

}  // namespace
}  // namespace kelvaris

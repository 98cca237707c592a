#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <set>

#include "platform_fake/fake_clock.h"
#include "platform_fake/fake_files.h"
#include "platform_fake/fake_language.h"
#include "vault/embedding_sidecar.h"
#include "vault/vault_documents.h"
#include "vault/vault_store.h"

namespace kelvaris {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using Kind = Replacement::Kind;

const RollID rollID = *RollID::parse("0A1B2C3D-0000-4000-8000-00000000000F");

class VaultWritingTest : public ::testing::Test {
protected:
    VaultWritingTest() { makeWorld(); }

    /// A new disk with an empty vault.
    void makeWorld() {
        store.reset();
        files = std::make_unique<FakeFiles>(clock.wall());
        store = std::make_unique<VaultStore>(*files, clock.wall(), VaultPaths::under(Path("/k"), Path("/c")));
        store->ensureDirectoriesExist();
    }

    std::string bytes(const std::string& notes, RollID id = rollID) const {
        VaultRollManifest manifest;
        manifest.id = id.text();
        manifest.folderPath = "/scans";
        manifest.notes = notes;
        return *encodedRollFile(manifest, FakeLanguage());
    }
    Path file() const { return store->paths().rollFile(rollID); }
    Path vectors() const { return store->paths().embeddingsFile(rollID); }
    std::string contents(const Path& path) const { return files->contents(path).value_or("(none)"); }
    Kind save(const std::string& notes, const std::optional<FileStamp>& lastKnown = {}) {
        last = store->replaceWithBackups(file(), bytes(notes), lastKnown);
        return last.kind;
    }
    /// A save whose step of that number, the rename of the new file, fails.
    void saveInVain(std::size_t step, const std::string& notes,
                    const std::optional<FileStamp>& lastKnown = {}) {
        files->failAtStep(step);
        EXPECT_EQ(save(notes, lastKnown), Kind::failed);
        EXPECT_EQ(files->steps().size(), step);
        EXPECT_EQ(files->steps().back(), FakeFiles::Step::rename);
    }
    /// What every file in the folder holds.
    std::multiset<std::string> everything(const Path& folder) const {
        std::multiset<std::string> all;
        for (const Path& each : files->allFiles(folder)) all.insert(contents(each));
        return all;
    }
    std::vector<std::string> names(const Path& folder) const {
        std::vector<std::string> all;
        for (const Path& each : files->allFiles(folder)) all.push_back(each.filename());
        return all;
    }

    FakeClock clock;
    std::unique_ptr<FakeFiles> files;
    std::unique_ptr<VaultStore> store;
    Replacement last;
};

TEST_F(VaultWritingTest, EqualBytesTouchNothing) {
    for (const char* notes : {"a", "b", "c", "d"}) ASSERT_EQ(save(notes), Kind::written);
    const auto before = everything(Path("/k"));
    files->resetSteps();
    for (int i = 0; i < 4; ++i) EXPECT_EQ(save("d"), Kind::unchanged);
    EXPECT_EQ(files->stepCount(), 0u);
    EXPECT_EQ(everything(Path("/k")), before);
    EXPECT_EQ(last.stamp, FileStamp::of(bytes("d")));
}

TEST_F(VaultWritingTest, WhatDoesNotDecodeIsKeptAndBecomesNoBackup) {
    save("a");
    save("b");
    // Cut short, a value out of its range, and nothing at all.
    const std::string good = bytes("b");
    std::string outOfRange = good;
    outOfRange.replace(outOfRange.find("photos: []"), 10,
                       "photos:\n- filename: a.jpg\n  sortIndex: 0\n  latitude: 91.0");
    for (const std::string& damaged : {good.substr(0, 40), outOfRange, std::string()}) {
        files->addFile(file(), damaged);
        ASSERT_EQ(save("new " + damaged, FileStamp::of(damaged)), Kind::written);
        ASSERT_EQ(last.problems.size(), 1u);
        EXPECT_EQ(last.problems[0].kind, VaultProblem::Kind::damaged);
        EXPECT_THAT(last.problems[0].text, HasSubstr(rollID.text() + ".md.damaged-20260314T080000Z"));
        EXPECT_EQ(contents(file()), bytes("new " + damaged));
        EXPECT_EQ(contents(backupPath(file(), 1)), bytes("a"));
        EXPECT_FALSE(files->exists(backupPath(file(), 2)));
    }
    EXPECT_EQ(contents(Path(file().string() + ".damaged-20260314T080000Z-2")), outOfRange);
}

TEST_F(VaultWritingTest, AFileThatCannotBeReadIsKeptToo) {
    save("a");
    save("b");
    files->setUnreadable(file());
    EXPECT_EQ(save("c"), Kind::written);
    EXPECT_EQ(contents(file()), bytes("c"));
    EXPECT_EQ(contents(Path(file().string() + ".damaged-20260314T080000Z")), bytes("b"));
    EXPECT_EQ(contents(backupPath(file(), 1)), bytes("a"));
    EXPECT_THAT(last.problems[0].text, HasSubstr("Permission denied"));
}

TEST_F(VaultWritingTest, WhatAnotherProgramWroteIsKeptOnce) {
    save("a");
    save("b");
    const FileStamp known = last.stamp;
    files->addFile(file(), bytes("theirs"));
    saveInVain(9, "mine", known);
    EXPECT_EQ(contents(file()), bytes("theirs"));
    clock.advance(std::chrono::seconds(2));
    ASSERT_EQ(save("mine", known), Kind::written);
    EXPECT_EQ(last.problems[0].kind, VaultProblem::Kind::theirs);
    EXPECT_EQ(contents(file()), bytes("mine"));
    EXPECT_EQ(contents(Path(file().string() + ".theirs-20260314T080000Z")), bytes("theirs"));
    EXPECT_EQ(names(store->paths().rolls).size(), 3u) << "kept once";
    EXPECT_EQ(contents(backupPath(file(), 1)), bytes("a"));

    // The file of another roll in this one's place is nobody's older work, known or not.
    files->addFile(file(), bytes("other", RollID::random()));
    save("again", FileStamp::of(contents(file())));
    EXPECT_EQ(last.problems[0].kind, VaultProblem::Kind::theirs);
    EXPECT_EQ(contents(backupPath(file(), 1)), bytes("a"));
}

TEST_F(VaultWritingTest, PreferencesAreKeptTheSameWay) {
    const Path preferences = store->paths().preferencesFile;
    const auto written = [&](const std::string& artist) {
        return *encodedPreferencesFile({.artistName = artist}, FakeLanguage(), clock.wall());
    };
    store->replaceWithBackups(preferences, written("a"), {});
    store->replaceWithBackups(preferences, written("b"), {});
    files->addFile(preferences, "---\nexportQuality: 9\n---\n");
    last = store->replaceWithBackups(preferences, written("c"), {});
    EXPECT_EQ(last.problems.size(), 1u);
    EXPECT_EQ(contents(preferences), written("c"));
    EXPECT_EQ(contents(backupPath(preferences, 1)), written("a"));
    EXPECT_EQ(contents(Path(preferences.string() + ".damaged-20260314T080000Z")),
              "---\nexportQuality: 9\n---\n");
}

TEST_F(VaultWritingTest, ASaveThatIsTriedAgainPushesNoBackupOut) {
    for (const char* notes : {"a", "b", "c", "d"}) save(notes);
    saveInVain(9, "e");
    for (int i = 0; i < 4; ++i) saveInVain(4, "e");  // no backup turns any more
    EXPECT_EQ(contents(file()), bytes("d"));
    EXPECT_EQ(contents(backupPath(file(), 2)), bytes("c"));
    EXPECT_EQ(contents(backupPath(file(), 3)), bytes("b"));
    EXPECT_EQ(save("e"), Kind::written);
    EXPECT_EQ(contents(backupPath(file(), 1)), bytes("d"));
    EXPECT_EQ(contents(backupPath(file(), 3)), bytes("b"));

    files->erase(backupPath(file(), 1));  // an empty place is filled before the oldest is given up
    EXPECT_EQ(save("f"), Kind::written);
    EXPECT_EQ(contents(backupPath(file(), 3)), bytes("b"));
}

// Whatever lay there, and whichever step fails or is the last one of a program: afterwards the old bytes or
// the new ones stand in the file, nothing is nowhere, and the next save succeeds.
TEST_F(VaultWritingTest, AFaultAtAnyStepLosesNothing) {
    enum class World { older, damaged, unreadable, theirs };
    for (const World world : {World::older, World::damaged, World::unreadable, World::theirs}) {
        for (const bool isCrash : {false, true}) {
            int failures = 0;
            for (std::size_t step = 1;; ++step) {
                SCOPED_TRACE(
                    fmt::format("world {}, crash {}, step {}", static_cast<int>(world), isCrash, step));
                makeWorld();
                files->addFile(backupPath(file(), 1), bytes("a"));
                files->addFile(file(), bytes("b"));
                const FileStamp known = FileStamp::of(bytes("b"));
                if (world == World::damaged) files->addFile(file(), "---\nhalf");
                if (world == World::unreadable) files->setUnreadable(file());
                if (world == World::theirs) files->addFile(file(), bytes("theirs"));
                const std::string old = contents(file());
                files->resetSteps();
                isCrash ? files->crashAtStep(step) : files->failAtStep(step);
                const Kind kind = save("new", known);
                const bool isOver = files->stepCount() < step;
                isCrash ? files->restart() : files->clearFaults();
                failures += kind == Kind::failed;

                const std::string now = contents(file());
                ASSERT_TRUE(now == old || now == bytes("new")) << now;
                ASSERT_TRUE(kind == Kind::failed || now == bytes("new"));
                // Older work of ours may fail to become a backup, and costs the save nothing.
                const bool isKept = world != World::older || kind == Kind::failed;
                ASSERT_TRUE(!isKept || everything(store->paths().rolls).contains(old));
                ASSERT_TRUE(world == World::older || everything(store->paths().rolls).contains(bytes("a")));
                ASSERT_NE(save("newer"), Kind::failed);
                ASSERT_TRUE(!isKept || everything(store->paths().rolls).contains(old));
                if (isOver) break;
            }
            EXPECT_GE(failures, 3);
        }
    }
}

TEST_F(VaultWritingTest, VectorsThatCannotBeReadAreNeitherRemovedNorReplaced) {
    const EmbeddingsByFilename one{{"a.jpg", {std::vector<float>{1.0f}, {}}}};
    const EmbeddingsByFilename two{{"a.jpg", {std::vector<float>{2.0f}, {}}}};
    EXPECT_EQ(store->writeEmbeddings(rollID, one).kind, Kind::written);
    files->resetSteps();
    EXPECT_EQ(store->writeEmbeddings(rollID, one).kind, Kind::unchanged);
    EXPECT_EQ(files->stepCount(), 0u);

    const std::string readable = contents(vectors());
    for (const bool isUnreadable : {false, true}) {
        files->addFile(vectors(), isUnreadable ? readable : "KVEM of a later version");
        files->setUnreadable(vectors(), isUnreadable);
        const std::string old = contents(vectors());
        EXPECT_EQ(store->writeEmbeddings(rollID, {}).kind, Kind::unchanged);
        EXPECT_EQ(contents(vectors()), old);
        last = store->writeEmbeddings(rollID, two);
        EXPECT_EQ(last.problems[0].kind, VaultProblem::Kind::unusableVectors);
        EXPECT_EQ(store->loadEmbeddings(rollID), two);
        EXPECT_TRUE(everything(store->paths().embeddings).contains(old));
        EXPECT_THAT(store->writeEmbeddings(rollID, one).problems, IsEmpty());
    }

    // A caller that could not read them when it loaded the roll does not know what it would replace.
    EXPECT_EQ(store->writeEmbeddings(rollID, {}, false).kind, Kind::unchanged);
    EXPECT_EQ(store->loadEmbeddings(rollID), one);
    EXPECT_EQ(store->writeEmbeddings(rollID, two, false).problems.size(), 1u);
    EXPECT_TRUE(everything(store->paths().embeddings).contains(readable));
    EXPECT_EQ(store->writeEmbeddings(rollID, {}).kind, Kind::written);
    EXPECT_FALSE(files->exists(vectors()));
}

}  // namespace
}  // namespace kelvaris

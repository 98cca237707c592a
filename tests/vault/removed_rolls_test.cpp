#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <set>

#include "base/text.h"
#include "platform_fake/fake_clock.h"
#include "platform_fake/fake_files.h"
#include "platform_fake/fake_language.h"
#include "platform_fake/fake_operation_queue.h"
#include "vault/vault_documents.h"
#include "vault/vault_store.h"

namespace kelvaris {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::SizeIs;

const RollID rollID = *RollID::parse("0A1B2C3D-0000-4000-8000-00000000000F");
constexpr auto day = std::chrono::hours(24);

class RemovedRollsTest : public ::testing::Test {
protected:
    RemovedRollsTest() { makeWorld(); }

    void makeWorld() {
        files = std::make_unique<FakeFiles>(clock.wall());
        store = std::make_unique<VaultStore>(*files, clock.wall(), VaultPaths::under(Path("/k"), Path("/c")));
        store->ensureDirectoriesExist();
        home = store->paths().rollFile(rollID);
    }
    void addRoll(const std::string& notes) {
        VaultRollManifest manifest;
        manifest.id = rollID.text();
        manifest.folderPath = "/scans/kyoto";
        manifest.notes = notes;
        manifest.photos.push_back({.filename = "a.jpg", .sortIndex = 0});
        files->addFile(home, *encodedRollFile(manifest, FakeLanguage()));
        for (int number = 1; number <= backupCount; ++number) {
            manifest.notes = fmt::format("{}, backup {}", notes, number);
            files->addFile(backupPath(home, number), *encodedRollFile(manifest, FakeLanguage()));
        }
        files->addFile(store->paths().embeddingsFile(rollID), "vectors of " + notes);
        files->addFile(store->paths().thumbnailFolder(rollID) / "1.jpg", "small");
    }
    std::multiset<std::string> everything() const {
        std::multiset<std::string> all;
        for (const Path& each : files->allFiles(Path("/k"))) all.insert(*files->contents(each));
        return all;
    }
    std::string notes() const {
        const auto roll = store->loadRoll(home);
        return roll ? roll->manifest.notes.value_or("") : "(none)";
    }

    FakeClock clock;
    std::unique_ptr<FakeFiles> files;
    std::unique_ptr<VaultStore> store;
    Path home;
};

TEST_F(RemovedRollsTest, ARollComesBackAsItWas) {
    addRoll("one");
    const auto before = files->allFiles(Path("/k"));
    ASSERT_TRUE(store->putAside(rollID, home));
    EXPECT_THAT(store->loadAllManifests(), IsEmpty());
    EXPECT_THAT(files->allFiles(store->paths().rolls), IsEmpty());
    EXPECT_THAT(files->allFiles(Path("/c")), IsEmpty());
    const auto aside = store->asideRolls();
    ASSERT_THAT(aside, SizeIs(1));
    EXPECT_EQ(aside[0].id, rollID);
    EXPECT_EQ(aside[0].folderPath, "/scans/kyoto");
    EXPECT_EQ(aside[0].photoCount, 1u);
    EXPECT_EQ(timestampText(aside[0].when), "2026-03-14T00:00:00Z");
    EXPECT_EQ(aside[0].file, store->paths().removed / "2026-03-14" / home.filename());

    const auto back = store->takeBack(rollID);
    ASSERT_TRUE(back);
    EXPECT_EQ(*back, home);
    EXPECT_EQ(files->allFiles(Path("/k")), before);
    EXPECT_THAT(store->asideRolls(), IsEmpty());
    EXPECT_FALSE(files->exists(store->paths().removed / "2026-03-14"));
    EXPECT_FALSE(store->takeBack(rollID));
}

TEST_F(RemovedRollsTest, ARollRemovedTwiceWaitsTwiceAndTheLatestComesBack) {
    for (const char* text : {"one", "two"}) {
        addRoll(text);
        ASSERT_TRUE(store->putAside(rollID, home));
    }
    addRoll("three");
    EXPECT_EQ(store->takeBack(rollID).error().code, FileError::Code::alreadyExists);
    EXPECT_EQ(notes(), "three");
    ASSERT_TRUE(store->putAside(rollID, home));
    EXPECT_EQ(store->asideRolls()[0].file.parent().filename(), "2026-03-14-3");
    for (const char* text : {"three", "two", "one"}) {
        ASSERT_TRUE(store->takeBack(rollID));
        EXPECT_EQ(notes(), text);
        EXPECT_EQ(files->contents(store->paths().embeddingsFile(rollID)), std::string("vectors of ") + text);
        if (*text != 'o') store->removeRoll(rollID);
    }
    // A file in lower case keeps its name on the way.
    const Path lower = store->paths().rolls / asciiLowercased(home.filename());
    files->rename(home, lower);
    ASSERT_TRUE(store->putAside(rollID, lower));
    EXPECT_EQ(*store->takeBack(rollID), lower);
}

// The roll is in one place, with all that belongs to it within reach, wherever a step fails or the program
// ends; and the same act done again succeeds.
TEST_F(RemovedRollsTest, AFaultAtAnyStepLosesNothing) {
    for (const bool isBack : {false, true}) {
        for (const bool isCrash : {false, true}) {
            int failures = 0;
            for (std::size_t step = 1;; ++step) {
                SCOPED_TRACE(fmt::format("back {}, crash {}, step {}", isBack, isCrash, step));
                makeWorld();
                addRoll("one");
                const auto before = everything();
                ASSERT_TRUE(!isBack || store->putAside(rollID, home));
                files->resetSteps();
                isCrash ? files->crashAtStep(step) : files->failAtStep(step);
                const bool isDone =
                    isBack ? bool(store->takeBack(rollID)) : bool(store->putAside(rollID, home));
                const bool isOver = files->stepCount() < step;
                isCrash ? files->restart() : files->clearFaults();
                failures += !isDone;

                ASSERT_EQ(everything(), before);
                const bool isHome = files->exists(home);
                ASSERT_EQ(isHome, store->asideRolls().empty());
                ASSERT_TRUE(!isDone || isHome == isBack);
                ASSERT_TRUE(!isHome || store->putAside(rollID, home));
                store->emptyAside(90);  // a start ends what was left half done
                ASSERT_TRUE(files->allFiles(store->paths().rolls).empty());
                ASSERT_TRUE(store->takeBack(rollID));
                ASSERT_EQ(notes(), "one");
                ASSERT_EQ(everything(), before);
                if (isOver) break;
            }
            EXPECT_GE(failures, 1);
        }
    }
}

TEST_F(RemovedRollsTest, WhatWaitedLongIsForgottenByName) {
    addRoll("one");
    ASSERT_TRUE(store->putAside(rollID, home));
    const Path mine = store->paths().removed / "2026-03-14/notes of mine.txt";
    const Path elsewhere = store->paths().removed / "my folder" / home.filename();
    files->addFile(mine, "text");
    files->addFile(elsewhere, "text");
    clock.advance(89 * day);
    EXPECT_THAT(store->emptyAside(90), IsEmpty());
    EXPECT_THAT(store->asideRolls(), SizeIs(1));
    addRoll("opened anew");
    clock.advance(day);
    EXPECT_THAT(store->emptyAside(90), IsEmpty()) << "the roll is in the library";
    EXPECT_THAT(store->asideRolls(), IsEmpty());
    EXPECT_EQ(notes(), "opened anew");

    ASSERT_TRUE(store->putAside(rollID, home));
    addRoll("again");
    ASSERT_TRUE(store->putAside(rollID, home));
    EXPECT_THAT(store->emptyAside({}), ElementsAre(rollID));
    EXPECT_THAT(files->allFiles(store->paths().removed), ElementsAre(mine, elsewhere));
    EXPECT_TRUE(store->putAside(rollID, home)) << "never saved";
    EXPECT_THAT(files->allFiles(store->paths().removed), SizeIs(2));
}

TEST_F(RemovedRollsTest, WhatIsKeptBesideIsKnownByItsName) {
    const Path rolls = store->paths().rolls;
    const std::string id = rollID.text();
    const std::vector<Path> kept = {
        store->paths().embeddings / (id + ".bin.damaged-20260314T080000Z"),
        store->paths().vault / "preferences.md.theirs-20260314T080000Z",
        rolls / (id + ".md.damaged-20260314T080000Z-12"),
        rolls / (id + ".md.refused-20260314T080000Z"),
    };
    for (const Path& each : kept) files->addFile(each, "");
    for (const char* name :
         {".md.damaged-2026", ".md.damaged-20260314T080000Z-", ".md.damaged-20260314T080000Z.txt",
          ".md.mine-20260314T080000Z", ".md", ".md.bak1"}) {
        files->addFile(rolls / (id + name), "");
    }
    files->addFile(rolls / "letter.md.damaged-20260314T080000Z", "");
    EXPECT_EQ(store->keptBeside(), kept);
}

}  // namespace
}  // namespace kelvaris

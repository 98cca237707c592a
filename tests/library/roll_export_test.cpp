#include "library/roll_export.h"

#include <gmock/gmock.h>

#include "library/fingerprint.h"
#include "library/roll_loading.h"
#include "library_world.h"

namespace kelvaris {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;

class RollExportTest : public ::testing::Test, protected testing::LibraryWorld {
protected:
    RollPointer datedRoll(int photoCount) {
        const auto roll = makeRoll(photoCount);
        loadFolder(*roll, false);
        for (const auto& photo : roll->photos()) photo->setCaptureDate(*parseTimestamp("1994-03-02"));
        return roll;
    }
    /// What an export that came to nothing must not have touched.
    static auto facts(const FilmRoll& roll) {
        return std::tuple(roll.workflowState(), roll.lastExported(), roll.exportDirty(),
                          roll.storedFingerprint(), roll.contentRevision());
    }
    std::vector<std::string> exportedNames() const {
        std::vector<std::string> names;
        for (const Path& path : machine.files.allFiles(folder / "Kelvaris_Export")) {
            names.push_back(path.filename());
        }
        return names;
    }
    const Path folder{"/home/user/scans/kyoto"};
};

TEST_F(RollExportTest, NothingHappensWithoutADate) {
    const auto roll = makeRoll(2);
    loadFolder(*roll, false);
    exportAll(*roll);
    EXPECT_EQ(roll->statusNotification(), StatusNotification::warning("Assign dates before exporting"));
    EXPECT_FALSE(roll->isExporting());
    EXPECT_EQ(roll->workflowState(), std::nullopt);
    EXPECT_FALSE(machine.files.exists(folder / "Kelvaris_Export"));
}

TEST_F(RollExportTest, DatedPhotosAreWrittenUprightOneAtATime) {
    preferences.set(settings::exportQuality, 0.0);
    const auto roll = datedRoll(4);
    roll->photos()[1]->setCaptureDate(std::nullopt);
    roll->photos()[2]->setRotation(RotationAngle::clockwise90);
    roll->photos()[3]->setSortIndex(999);
    std::vector<double> progress;
    const auto watching = roll->observe([&](RollField field) {
        if (field == RollField::exportProgress) progress.push_back(roll->exportProgress());
    });
    exportAll(*roll);
    EXPECT_TRUE(roll->isExporting());
    EXPECT_EQ(machine.queues.queue("user")->waitingCount(), 1u) << "one full picture in memory at a time";
    machine.settle();

    EXPECT_THAT(exportedNames(), ElementsAre("roll_001-1994-03-02.jpg", "roll_003-1994-03-02.jpg",
                                             "roll_1000-1994-03-02.jpg"));
    EXPECT_THAT(*machine.files.contents(folder / "Kelvaris_Export/roll_003-1994-03-02.jpg"),
                HasSubstr("orientation=6 q=0"));
    EXPECT_THAT(progress, ElementsAre(0.25, 0.5, 0.75, 1.0)) << "only the end is whole";
    EXPECT_FALSE(roll->isExporting());
    EXPECT_EQ(roll->statusNotification()->message(), "Exported 3 photos to Kelvaris_Export/");
    EXPECT_EQ(roll->workflowState(), WorkflowState::exported);
    EXPECT_EQ(roll->lastExported(), machine.clock.now());
    EXPECT_EQ(roll->exportDirty(), false);
    EXPECT_THAT(machine.shell.revealed, ElementsAre(folder / "Kelvaris_Export"));
    EXPECT_EQ(*machine.files.contents(folder / "001.jpg"), "scan 1") << "the scans are never changed";
}

TEST_F(RollExportTest, ASourceThatIsGoneIsCountedAndTheOthersAreExported) {
    const auto roll = datedRoll(3);
    machine.files.erase(folder / "002.jpg");
    exportAll(*roll);
    machine.settle();
    EXPECT_EQ(roll->statusNotification()->message(), "Exported 2 photos, 1 error");
    EXPECT_EQ(exportedNames().size(), 2u);
    EXPECT_EQ(roll->workflowState(), WorkflowState::exported);
}

TEST_F(RollExportTest, AFolderThatIsNotTheRollsOwnGetsNoCopies) {
    const struct {
        std::function<void(FilmRoll&)> happens;
        std::string reason;
    } cases[] = {
        {[](FilmRoll&) {}, "its folder is not there"},
        {[&](FilmRoll&) { machine.files.addFolder(folder); }, "its folder is empty"},
        {[&](FilmRoll&) { machine.files.addFile(folder / "001.jpg", "another picture"); }, "other files"},
        {[&](FilmRoll& roll) { leaveFolder(roll, "its folder is lent"); }, "its folder is lent"},
    };
    const auto roll = datedRoll(2);
    roll->setStoredFingerprint(computeFingerprint(machine.files, folder));
    machine.files.rename(folder, Path("/elsewhere"));
    for (const auto& each : cases) {
        each.happens(*roll);
        const std::size_t files = machine.files.allFiles(Path("/home")).size();
        const bool isThere = machine.files.exists(folder);
        const auto before = facts(*roll);
        exportAll(*roll);
        machine.settle();
        EXPECT_EQ(roll->statusNotification()->kind(), StatusNotification::Kind::error);
        EXPECT_THAT(roll->statusNotification()->message(), HasSubstr("Could not export kyoto: "));
        EXPECT_THAT(roll->statusNotification()->message(), HasSubstr(each.reason));
        EXPECT_FALSE(roll->isExporting());
        EXPECT_EQ(facts(*roll), before) << each.reason;
        EXPECT_EQ(machine.files.allFiles(Path("/home")).size(), files) << each.reason;
        EXPECT_EQ(machine.files.exists(folder), isThere) << each.reason;
        EXPECT_FALSE(machine.files.exists(folder / "Kelvaris_Export")) << each.reason;
    }
}

TEST_F(RollExportTest, AFolderThatGoesAwayMeanwhileEndsTheExport) {
    const auto roll = datedRoll(3);
    roll->setStoredFingerprint(computeFingerprint(machine.files, folder));
    const auto before = facts(*roll);
    exportAll(*roll);
    machine.queues.queue("user")->runNext();
    machine.main.drain();
    EXPECT_EQ(exportedNames().size(), 1u);
    machine.files.rename(folder, Path("/elsewhere"));
    machine.files.addFolder(folder);
    machine.settle();
    EXPECT_EQ(roll->statusNotification(),
              StatusNotification::error("Could not export kyoto: its folder is empty"));
    EXPECT_FALSE(roll->isExporting());
    EXPECT_EQ(facts(*roll), before);
    EXPECT_THAT(machine.files.allFiles(folder), ::testing::IsEmpty());
}

TEST_F(RollExportTest, PhotosWithoutTheirFilesAreLeftOut) {
    const auto roll = datedRoll(3);
    roll->photos()[1]->setIsMissing(true);
    exportAll(*roll);
    machine.settle();
    EXPECT_EQ(roll->statusNotification(), StatusNotification::exported(2, 0));
    EXPECT_THAT(exportedNames(), ElementsAre("roll_001-1994-03-02.jpg", "roll_003-1994-03-02.jpg"));
    for (const auto& photo : roll->photos()) photo->setIsMissing(true);
    const auto before = facts(*roll);
    exportAll(*roll);
    EXPECT_THAT(roll->statusNotification()->message(), HasSubstr("are missing"));
    EXPECT_EQ(facts(*roll), before);
}

TEST_F(RollExportTest, AFolderThatCannotBeMadeChangesNothingElse) {
    const auto roll = datedRoll(1);
    machine.files.setReadOnly(folder);
    exportAll(*roll);
    machine.settle();
    EXPECT_EQ(roll->statusNotification()->kind(), StatusNotification::Kind::error);
    EXPECT_THAT(roll->statusNotification()->message(), HasSubstr("Failed to create export folder: "));
    EXPECT_FALSE(roll->isExporting());
    EXPECT_EQ(roll->workflowState(), std::nullopt);
}

TEST_F(RollExportTest, WhateverStepFailsNoCopyIsHalfWritten) {
    const auto complete = [] { return std::string("JPEG 12x8 orientation=1 q=1"); };
    for (std::size_t step = 1;; ++step) {
        const auto roll = datedRoll(2);
        machine.files.failAtStep(step, FileError::Code::noSpace);
        exportAll(*roll);
        machine.settle();
        const std::size_t taken = machine.files.stepCount();
        machine.files.clearFaults();
        EXPECT_FALSE(roll->isExporting());
        for (const Path& path : machine.files.allFiles(folder / "Kelvaris_Export")) {
            EXPECT_EQ(machine.files.contents(path), complete()) << "failing step " << step;
        }
        machine.files.erase(folder / "Kelvaris_Export");
        if (taken < step) break;
        ASSERT_LT(step, 100u);
    }
}

TEST_F(RollExportTest, AFullDiskIsToldInTheCount) {
    const auto roll = datedRoll(3);
    exportAll(*roll);
    machine.settle();
    const std::string before = *machine.files.contents(folder / "Kelvaris_Export/roll_001-1994-03-02.jpg");
    machine.files.setFreeSpace(0);
    roll->markExportDirty();
    const auto factsBefore = facts(*roll);
    exportAll(*roll);
    machine.settle();
    EXPECT_EQ(roll->statusNotification(), StatusNotification::error("Exported 0 photos, 3 errors"));
    EXPECT_EQ(facts(*roll), factsBefore);
    EXPECT_EQ(exportedNames().size(), 3u) << "the earlier copies stand";
    EXPECT_EQ(*machine.files.contents(folder / "Kelvaris_Export/roll_001-1994-03-02.jpg"), before);
}

TEST_F(RollExportTest, ArtistAndYearOfTheExportMakeTheCopyright) {
    const auto roll = datedRoll(1);
    roll->setCameraMake("Nikon");
    preferences.setArtistName("Ada");
    exportAll(*roll);
    machine.settle();
    ASSERT_EQ(jpegWriter.segments().size(), 1u);
    const std::string block(asText(jpegWriter.segments()[0].at(0).payload));
    EXPECT_THAT(block, HasSubstr("Nikon"));
    EXPECT_THAT(block, HasSubstr("© 2026 Ada"));
    EXPECT_THAT(block, HasSubstr("1994:03:02 00:00:00"));

    preferences.setArtistName("");
    exportAll(*roll);
    machine.settle();
    const std::string bare(asText(jpegWriter.segments()[1].at(0).payload));
    EXPECT_THAT(bare, ::testing::Not(HasSubstr("©")));
}

TEST_F(RollExportTest, EditsMadeDuringTheExportReachThePhotosThatWait) {
    const auto roll = datedRoll(2);
    exportAll(*roll);
    machine.queues.queue("user")->runNext();
    roll->photos()[1]->setCaptureDate(*parseTimestamp("2001-01-01"));
    machine.settle();
    EXPECT_THAT(exportedNames(), ElementsAre("roll_001-1994-03-02.jpg", "roll_002-2001-01-01.jpg"));
}

}  // namespace
}  // namespace kelvaris

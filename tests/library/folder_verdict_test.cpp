#include "library/folder_verdict.h"

#include <gmock/gmock.h>

#include "library/fingerprint.h"
#include "platform_fake/fake_machine.h"

namespace kelvaris {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using Kind = FolderVerdict::Kind;

class FolderVerdictTest : public ::testing::Test {
protected:
    FolderVerdictTest() {
        for (const char* name : {"001.jpg", "002.jpg", "003.jpg"}) {
            machine.files.addFile(roll / name,
                                  std::string("picture ") + name + std::string(name[2] - '0', '+'));
        }
        known = computeFingerprint(machine.files, roll);
    }
    FolderVerdict verdict() const { return judgeFolder(machine.files, roll, known); }

    FakeMachine machine;
    Path roll{"/media/card/roll"};
    std::vector<FileFingerprint> known;
};

TEST_F(FolderVerdictTest, AFolderWithOneKnownFileIsTheRollsAndTellsWhatIsMissing) {
    EXPECT_TRUE(verdict().isPresent());
    EXPECT_THAT(verdict().missing, IsEmpty());
    EXPECT_EQ(verdict().awayReason(), "");

    machine.files.erase(roll / "003.jpg");
    machine.files.erase(roll / "001.jpg");
    machine.files.addFolder(roll / "001.jpg");
    machine.files.addFile(roll / "new.jpg", "new");
    EXPECT_TRUE(verdict().isPresent());
    EXPECT_THAT(verdict().missing, ElementsAre("001.jpg", "003.jpg")) << "a folder is no picture";

    machine.files.addFile(roll / "003.jpg", "cut anew by another program");
    EXPECT_THAT(verdict().missing, ElementsAre("001.jpg")) << "a file of another size is not missing";
}

TEST_F(FolderVerdictTest, AnythingElseInItsPlaceMakesTheRollAway) {
    const auto expect = [this](Kind kind, std::string_view reason) {
        EXPECT_EQ(verdict().kind, kind);
        EXPECT_EQ(verdict().awayReason(), reason);
        EXPECT_FALSE(verdict().isPresent());
        EXPECT_THAT(verdict().missing, IsEmpty()) << "of a folder that is another's nothing is missing";
    };
    machine.files.setUnreadable(roll);
    expect(Kind::unreadable, "its folder cannot be read");
    machine.files.setUnreadable(roll, false);

    for (const FileFingerprint& file : known) machine.files.addFile(roll / file.filename, "another card's");
    expect(Kind::otherFiles, "its folder holds other files");

    machine.files.erase(roll);
    expect(Kind::gone, "its folder is not there");
    machine.files.addFile(roll, "a file");
    expect(Kind::gone, "its folder is not there");
    machine.files.erase(roll);
    machine.files.addFolder(roll);
    expect(Kind::empty, "its folder is empty");
    machine.files.addFile(roll / "notes.txt", "x");
    expect(Kind::otherFiles, "its folder holds other files");
}

TEST_F(FolderVerdictTest, FilesThatRefuseToBeLookedAtAreNoOtherFiles) {
    std::vector<FolderEntry> listing = *machine.files.list(roll);
    for (FolderEntry& entry : listing) entry.info.reset();
    EXPECT_EQ(judgeFolder(listing, known).kind, Kind::unreadable);
    listing.push_back({roll / "001.jpg", FileInfo{.isRegularFile = true, .size = known[0].size}});
    EXPECT_TRUE(judgeFolder(listing, known).isPresent()) << "one that can be looked at is enough";
}

TEST_F(FolderVerdictTest, ARollThatKnowsNoFileTakesEveryFolderThatCanBeListed) {
    known.clear();
    EXPECT_TRUE(verdict().isPresent());
    machine.files.setUnreadable(roll);
    EXPECT_EQ(verdict().kind, Kind::unreadable);
}

}  // namespace
}  // namespace kelvaris

#include <gmock/gmock.h>

#include "application/cloud_warnings.h"
#include "application/fingerprint_match.h"
#include "application/folder_collection.h"
#include "application/roll_names.h"
#include "platform_fake/fake_machine.h"

namespace kelvaris {
namespace {

using ::testing::ElementsAre;
using ::testing::UnorderedElementsAre;
using Kind = RenameError::Kind;

std::optional<Kind> refusal(std::string_view name, RenameCircumstances circumstances = {}) {
    const auto error = rollNameError(name, circumstances);
    return error ? std::optional(error->kind) : std::nullopt;
}

TEST(RollNameTest, TheFirstReasonWins) {
    const RenameCircumstances everything{true, true, true};
    EXPECT_EQ(refusal("", everything), Kind::emptyName);
    for (const std::string_view name :
         std::initializer_list<std::string_view>{"a/b", "a:b", "a\\b", ".hidden", {"a\0b", 3}}) {
        EXPECT_EQ(refusal(name, everything), Kind::invalidCharacters) << name;
    }
    EXPECT_EQ(refusal(std::string(256, 'x'), everything), Kind::nameTooLong);
    EXPECT_EQ(refusal(std::string(255, 'x'), everything), Kind::disconnected);
    EXPECT_EQ(refusal("kyoto", {false, true, true}), Kind::rollNameConflict);
    EXPECT_EQ(refusal("kyoto", {false, false, true}), Kind::nameConflict);
    EXPECT_EQ(refusal("kyoto"), std::nullopt);
    std::string accented;
    for (int i = 0; i < 255; ++i) accented += "é";
    EXPECT_EQ(refusal(accented), std::nullopt);
}

std::vector<FileFingerprint> numbered(int from, int to) {
    std::vector<FileFingerprint> files;
    for (int i = from; i < to; ++i) files.push_back({std::to_string(i) + ".jpg", 1000 + i});
    return files;
}

TEST(FingerprintMatchTest, CountsCommonFilesOverAllFiles) {
    const auto known = numbered(0, 10);
    EXPECT_DOUBLE_EQ(matchRatio(numbered(0, 8), known), 0.8);
    auto withNewFile = numbered(0, 8);
    withNewFile.push_back({"new.jpg", 1});
    EXPECT_DOUBLE_EQ(matchRatio(withNewFile, known), 8.0 / 11.0);
    auto resized = known;
    for (auto& file : resized) ++file.size;
    EXPECT_EQ(matchRatio(resized, known), 0);
    EXPECT_EQ(matchRatio({}, known), 0);
    EXPECT_EQ(matchRatio({}, {}), 0);
}

TEST(FolderCollectionTest, FoldersOfTwoPicturesAreRollsAndMayHoldRolls) {
    FakeMachine machine;
    for (const char* file : {"/scans/a/1.jpg", "/scans/a/2.TIF", "/scans/a/x/1.png", "/scans/a/x/2.heic",
                             "/scans/a/single/1.jpg", "/scans/a/single/notes.txt", "/scans/a/.hidden/1.jpg",
                             "/scans/a/.hidden/2.jpg", "/scans/a/gifs/1.gif", "/scans/a/gifs/2.gif"}) {
        machine.files.addFile(Path(file), "picture");
    }
    const std::vector expected{Path("/scans/a"), Path("/scans/a/x")};
    EXPECT_EQ(imageFolders(machine.files, {Path("/scans")}), expected);
    EXPECT_EQ(imageFolders(machine.files, {Path("/scans"), Path("/scans/a")}), expected);
    EXPECT_TRUE(imageFolders(machine.files, {Path("/nowhere")}).empty());
}

TEST(FolderCollectionTest, AFolderIsCollectedOnceByItsOwnPathHoweverItIsReached) {
    FakeMachine machine;
    for (const char* file :
         {"/disk/rolls/a/1.jpg", "/disk/rolls/a/2.jpg", "/disk/rolls/a/Kelvaris_Export/1.jpg",
          "/disk/rolls/a/Kelvaris_Export/2.jpg", "/elsewhere/b/1.jpg", "/elsewhere/b/2.jpg"}) {
        machine.files.addFile(Path(file), "picture");
    }
    machine.files.addLink(Path("/scans"), Path("/disk/rolls"));
    machine.files.addLink(Path("/disk/rolls/again"), Path("/disk/rolls"));
    machine.files.addLink(Path("/disk/rolls/b"), Path("/elsewhere/b"));
    machine.files.addLink(Path("/disk/rolls/copies"), Path("/disk/rolls/a/Kelvaris_Export"));
    EXPECT_THAT(imageFolders(machine.files, {Path("/scans"), Path("/disk"), Path("/scans/a")}),
                UnorderedElementsAre(Path("/disk/rolls/a"), Path("/elsewhere/b")));
    for (const char* folder : {"/disk", "/disk/rolls", "/disk/rolls/a", "/elsewhere/b"}) {
        EXPECT_EQ(machine.files.listCount(Path(folder)), 1u) << folder;
    }
}

TEST(FolderCollectionTest, OnlyAFolderThatIsNamedMayBeARollOfOnePicture) {
    FakeMachine machine;
    for (const char* file : {"/scans/single/1.jpg", "/scans/trip/1.jpg", "/scans/trip/a/1.jpg",
                             "/scans/trip/a/2.jpg", "/scans/text/notes.txt"}) {
        machine.files.addFile(Path(file), "picture");
    }
    const std::vector named{Path("/scans"), Path("/scans/single"), Path("/scans/trip"), Path("/scans/text")};
    EXPECT_THAT(imageFolders(machine.files, named, SinglePicture::isRoll),
                ElementsAre(Path("/scans/trip/a"), Path("/scans/single")));
    EXPECT_THAT(imageFolders(machine.files, named), ElementsAre(Path("/scans/trip/a")));
}

TEST(CloudWarningTest, TellsTheProviderAndWhatToDo) {
    EXPECT_EQ(cloudWarning(CloudStorageProvider::oneDrive),
              "This roll lives in OneDrive. In Finder, right-click the folder → Always keep on this device.");
    EXPECT_EQ(cloudWarning(CloudStorageProvider::other, 1),
              "1 roll lives in Cloud Storage. Mark this folder for offline sync in your cloud app.");
    EXPECT_EQ(cloudWarning(CloudStorageProvider::box, 3),
              "3 rolls live in Box. In Box Drive, mark the folder for offline sync.");
}

}  // namespace
}  // namespace kelvaris

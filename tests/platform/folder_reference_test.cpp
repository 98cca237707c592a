#include "platform/folder_reference.h"

#include <fmt/format.h>
#include <gtest/gtest.h>

#include "platform_fake/fake_machine.h"

namespace kelvaris {
namespace {

using namespace std::chrono_literals;

class FolderReferenceTest : public ::testing::Test {
protected:
    Path folder(const std::string& name) {
        machine.advance(1s);
        const Path path = parent / name;
        machine.files.addFolder(path);
        return path;
    }
    std::string reference(const Path& path) const { return *makeFolderReference(machine.files, path); }
    std::string moved(const Path& from, const Path& to) {
        const std::string made = reference(from);
        machine.files.rename(from, to);
        return made;
    }
    /// The disk goes away, and comes back with the same folders under other inodes.
    void mountAnew(const Path& path) {
        const auto born = machine.files.info(path)->created;
        machine.files.erase(path);
        machine.files.addFolder(path);
        machine.files.setTimes(path, born, born);
    }

    FakeMachine machine;
    Path parent{"/media/disk"};
};

TEST_F(FolderReferenceTest, AnotherFolderInTheOldPlaceIsStale) {
    const Path roll = folder("kyoto");
    const std::string made = moved(roll, Path("/elsewhere"));
    folder("kyoto");
    const auto found = machine.folders.resolve(made);
    EXPECT_EQ(found->path, roll);
    EXPECT_TRUE(found->isStale);
}

TEST_F(FolderReferenceTest, TheDeviceIsNoPartOfAFoldersIdentity) {
    const Path roll = folder("kyoto");
    const FolderIdentity identity = FolderIdentity::of(*machine.files.info(roll));
    const std::string early =
        fmt::format("folder1:2049:{}:{}:{}", identity.inode, identity.birth, roll.string());
    EXPECT_FALSE(machine.folders.resolve(early)->isStale);
    machine.files.rename(roll, parent / "osaka");
    EXPECT_EQ(machine.folders.resolve(early)->path, parent / "osaka");
}

TEST_F(FolderReferenceTest, AFolderThatGotAnotherInodeAtTheMountIsStillItself) {
    const Path roll = folder("kyoto");
    const std::string made = reference(roll);
    mountAnew(roll);
    EXPECT_FALSE(machine.folders.resolve(made)->isStale);
}

TEST_F(FolderReferenceTest, WithoutABirthTheInodeCountsAtTheOldPathAlone) {
    const Path roll = folder("kyoto");
    machine.files.setTimes(roll, std::nullopt, std::nullopt);
    const std::string made = reference(roll);
    EXPECT_FALSE(machine.folders.resolve(made)->isStale);
    machine.files.rename(roll, parent / "osaka");
    EXPECT_FALSE(machine.folders.resolve(made)) << "the number may be a stranger's";
    machine.files.addFolder(roll);
    machine.files.setTimes(roll, std::nullopt, std::nullopt);
    EXPECT_TRUE(machine.folders.resolve(made)->isStale) << "nothing tells that it is the same";
}

TEST_F(FolderReferenceTest, ManyMovedFoldersCostOneListingOfTheirParent) {
    std::vector<std::string> references;
    for (int i = 0; i < 50; ++i) {
        references.push_back(moved(folder(std::to_string(i)), parent / ("moved-" + std::to_string(i))));
    }
    const std::size_t before = machine.files.listCount(parent);
    SiblingFolders siblings;
    for (int i = 0; i < 50; ++i) {
        EXPECT_EQ(machine.folders.resolve(references[i], siblings)->path,
                  parent / ("moved-" + std::to_string(i)));
    }
    EXPECT_EQ(machine.files.listCount(parent) - before, 1u);
}

}  // namespace
}  // namespace kelvaris

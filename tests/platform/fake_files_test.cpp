#include <gmock/gmock.h>

#include "machines.h"

namespace kelvaris {
namespace {

using ::testing::ElementsAre;
using Code = FileError::Code;

struct FakeFilesTest : ::testing::Test {
    FakeFilesTest() { files.addFile(path, "old"); }
    bool overwrite() { return static_cast<bool>(files.writeAtomically(path, asBytes("new"))); }

    FakeMachine machine;
    FakeFiles& files = machine.files;
    const Path path{"/home/user/file"};
};

TEST_F(FakeFilesTest, EachStepOfAWriteFailsAloneAndLeavesTheOldFile) {
    std::size_t step = 1;
    for (;; ++step) {
        files.failAtStep(step, Code::noSpace);
        if (overwrite()) break;
        EXPECT_EQ(files.contents(path), "old") << "step " << step;
        EXPECT_THAT(files.allFiles(Path("/home/user")), ElementsAre(path)) << "step " << step;
    }
    EXPECT_EQ(step, 6u) << "begin, write, flush, rename, flush of the folder";
    EXPECT_EQ(files.contents(path), "new");
}

TEST_F(FakeFilesTest, AfterACrashNothingGoesOnUntilTheRestart) {
    for (std::size_t step = 1; step <= 5; ++step) {
        files.crashAtStep(step);
        EXPECT_FALSE(overwrite());
        EXPECT_FALSE(files.read(path));
        EXPECT_FALSE(files.removeFile(path));
        files.restart();
        EXPECT_EQ(files.contents(path), "old")
            << "step " << step << ": a rename that no folder flush made last";
    }
    EXPECT_GT(files.allFiles(Path("/home/user")).size(), 1u) << "pending files stay behind";
}

TEST_F(FakeFilesTest, APowerCutTakesWhatWasNotFlushed) {
    ASSERT_TRUE(files.writeAtomically(path, asBytes("cached"), Durability::cache));
    files.crashAtStep(1);
    EXPECT_FALSE(overwrite());
    files.restart();
    EXPECT_EQ(files.contents(path), "old");
    ASSERT_TRUE(overwrite());
    files.restart();
    EXPECT_EQ(files.contents(path), "new");
}

TEST_F(FakeFilesTest, AFullDiskRefusesAndGivesBackWhatWasTaken) {
    files.setFreeSpace(5);
    EXPECT_TRUE(overwrite()) << "three bytes fit beside the old three";
    EXPECT_EQ(*files.freeSpace(path.parent()), 5);
    const auto written = files.writeAtomically(path, asBytes("longer"));
    ASSERT_FALSE(written);
    EXPECT_EQ(written.error().code, Code::noSpace);
    EXPECT_EQ(files.contents(path), "new");
    EXPECT_EQ(*files.freeSpace(path.parent()), 5);
}

TEST_F(FakeFilesTest, TheWorldCanTurnHostile) {
    files.vanishAfterListing(path);
    EXPECT_EQ(files.list(path.parent())->size(), 1u);
    EXPECT_FALSE(files.exists(path));

    files.addFile(path, "x");
    files.setReadOnly(path.parent());
    EXPECT_EQ(files.beginWrite(path).error().code, Code::permissionDenied);
    EXPECT_EQ(files.removeFile(path).error().code, Code::permissionDenied);
    files.setReadOnly(path.parent(), false);
    files.setUnreadable(path);
    EXPECT_EQ(files.read(path).error().code, Code::permissionDenied);
    EXPECT_TRUE(files.info(path)) << "its entry is still there";

    files.addDevice(Path("/media/card"));
    EXPECT_EQ(files.move(path, Path("/media/card/file")).error().code, Code::crossesDevices);
}

TEST_F(FakeFilesTest, TheMachineSettlesWorkThatCallsForMoreWork) {
    std::string order;
    const auto queue = machine.queues.makeQueue("work", 1);
    machine.main.post([&] {
        order += "a";
        queue->add([&] {
            order += "b";
            machine.main.post([&] { order += "c"; });
        });
    });
    machine.main.postAfter(std::chrono::seconds(2), [&] { queue->add([&] { order += "d"; }); });
    machine.settle();
    EXPECT_EQ(order, "abc");
    machine.advance(std::chrono::seconds(2));
    EXPECT_EQ(order, "abcd");
}

}  // namespace
}  // namespace kelvaris

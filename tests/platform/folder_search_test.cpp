#include <gmock/gmock.h>
#include <regex.h>

#include <filesystem>
#include <fstream>

#include "base/run_loop.h"
#include "platform/folder_hunt.h"
#include "platform_linux/folder_index.h"
#include "platform_linux/linux_files.h"
#include "platform_linux/linux_folder_search.h"
#include "platform_linux/system_clock.h"
#include "temporary_folder.h"

namespace kelvaris {
namespace {

namespace fs = std::filesystem;
using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::Not;

bool isAny(const Path&) { return true; }

/// The name, sought at the path alone.
SoughtFolder soughtAt(const std::string& name, const Path& where) {
    return {.name = name, .firstTried = {}, .isIt = [where](const Path& path) { return path == where; }};
}

TEST(FolderHuntTest, NoFolderAnswersTwoAndFirstGuessesComeBeforeAllOthers) {
    const Path guess("/old/kyoto");
    const Path renamed("/disk/kyoto-2");
    FolderHunt hunt({{"kyoto", {}, isAny}, {"kyoto", {guess, renamed}, isAny}, {"osaka", {}, isAny}});
    hunt.tryFirst();
    EXPECT_THAT(hunt.openNames(), ElementsAre("kyoto", "osaka"));
    hunt.offer(renamed);
    hunt.offer(guess);
    hunt.offer(Path("/disk/nara"));
    EXPECT_THAT(hunt.answers(), ElementsAre(std::nullopt, guess, std::nullopt)) << "taken already";
    hunt.offer(Path("/disk/kyoto"));
    hunt.offer(Path("/disk/osaka"));
    EXPECT_TRUE(hunt.isOver());
    EXPECT_THAT(hunt.answers(), ElementsAre(Path("/disk/kyoto"), guess, Path("/disk/osaka")));
}

class ThreadQueues final : public OperationQueueFactory {
public:
    std::unique_ptr<OperationQueue> makeQueue(std::string name, int width) override {
        return std::make_unique<ThreadedOperationQueue>(std::move(name), width);
    }
};

class LinuxFolderSearchTest : public ::testing::Test {
protected:
    using Answers = std::vector<std::optional<Path>>;

    void make(std::initializer_list<const char*> folders) {
        for (const char* folder : folders) fs::create_directories(path(folder).string());
    }
    Answers found(std::vector<SoughtFolder> sought, LinuxFolderSearch::Limits limits = {},
                  bool usesIndex = false) {
        LinuxFolderSearch search(
            main, queues, [this] { return places; }, limits, usesIndex);
        RunLoop loop(main);
        std::optional<Answers> answer;
        search.search(std::move(sought), [&](Answers paths) { answer = std::move(paths); });
        loop.runUntil([&] { return answer.has_value(); });
        return *answer;
    }
    Path path(const std::string& relative) const { return folder.path() / relative; }

    testing::TemporaryFolder folder;
    SearchPlaces places{.roots = {folder.path()}, .leftOut = {}};
    SystemMonotonicClock clock;
    MainQueue main{clock};
    ThreadQueues queues;
};

TEST_F(LinuxFolderSearchTest, ShowsFoldersOfTheExactNameNearestFirst) {
    make({"a/b/c/2026-03-kyoto", "z/2026-03-kyoto", "z/2026-03-kyoto-2", ".hidden/2026-03-kyoto"});
    std::ofstream(path("a/2026-03-kyoto").string()) << "a file, not a folder";
    std::vector<Path> shown;
    const auto refuse = [&](const Path& each) {
        shown.push_back(each);
        return false;
    };
    EXPECT_THAT(found({{"2026-03-kyoto", {}, refuse}, {"2026-03-k*", {}, refuse}}),
                ElementsAre(std::nullopt, std::nullopt));
    EXPECT_THAT(shown, ElementsAre(path("z/2026-03-kyoto"), path("a/b/c/2026-03-kyoto")));
}

TEST_F(LinuxFolderSearchTest, OneWalkAnswersAllAndEndsWhenAllAreFound) {
    make({"a/kyoto", "b/kyoto", "c/osaka", "renamed", "c/deep/osaka"});
    int scans = 0;
    const auto counted = [&scans](const Path& each) {
        ++scans;
        return each.filename() == "osaka";
    };
    EXPECT_THAT(
        found({soughtAt("kyoto", path("b/kyoto")),
               soughtAt("kyoto", path("a/kyoto")),
               {"osaka", {}, counted},
               soughtAt("nara", path("nara")),
               {"gone",
                {path("nowhere"), path("renamed")},
                [&](const Path& each) { return fs::exists(each.string()); }}}),
        ElementsAre(path("b/kyoto"), path("a/kyoto"), path("c/osaka"), std::nullopt, path("renamed")));
    EXPECT_EQ(scans, 1);
}

TEST_F(LinuxFolderSearchTest, LinksThatLeadBackDoNotHoldItUpAndDepthAndTimeAreBounded) {
    make({"a/b/c/d/roll"});
    fs::create_directory_symlink(folder.path().string(), path("a/b/loop").string());
    EXPECT_THAT(found({{"roll", {}, isAny}}), ElementsAre(path("a/b/c/d/roll")));
    EXPECT_THAT(found({{"roll", {}, isAny}}, {.depth = 3}), ElementsAre(std::nullopt));
    EXPECT_THAT(found({{"roll", {}, isAny}}, {.time = std::chrono::milliseconds(0)}),
                ElementsAre(std::nullopt));
}

TEST_F(LinuxFolderSearchTest, NothingIsSearchedInWhatIsLeftOutAndARootItselfMayBeTheFolder) {
    make({"network/roll", "volume/kyoto"});
    places.roots.push_back(path("volume/kyoto"));
    places.leftOut = {path("network"), path("volume")};
    EXPECT_THAT(found({{"roll", {}, isAny}, {"kyoto", {}, isAny}}),
                ElementsAre(std::nullopt, path("volume/kyoto")));
}

/// Puts a script in the place of plocate.
class FolderIndexTest : public LinuxFolderSearchTest {
protected:
    FolderIndexTest() : before(std::getenv("PATH")) {
        ::setenv("PATH", (program.path().string() + ":" + before).c_str(), 1);
    }
    ~FolderIndexTest() override { ::setenv("PATH", before.c_str(), 1); }
    void script(const std::string& lines) {
        const fs::path file = (program.path() / "plocate").string();
        std::ofstream(file) << "#!/bin/sh\n" << lines << "\n";
        fs::permissions(file, fs::perms::owner_all);
    }

    testing::TemporaryFolder program;
    const std::string before;
};

TEST_F(FolderIndexTest, IsAskedOnceForAllAndTheWalkLooksForTheRest) {
    make({"a/deep/kyoto", "osaka", ".trash/kyoto"});
    script("cd '" + folder.path().string() + "'; echo asked >>calls\n" +
           "printf '%s\\0' \"$PWD/.trash/kyoto\" \"$PWD/gone/kyoto\" /proc/kyoto \"$PWD/a/deep/kyoto\"");
    EXPECT_THAT(found({{"kyoto", {}, isAny}, {"osaka", {}, isAny}}, {.depth = 1}, true),
                ElementsAre(path("a/deep/kyoto"), path("osaka")));
    EXPECT_EQ(fs::file_size(path("calls").string()), std::string("asked\n").size());
}

TEST_F(FolderIndexTest, AnIndexThatNeverAnswersIsEnded) {
    script("exec sleep 600");
    EXPECT_THAT(found({{"kyoto", {}, isAny}}, {.time = std::chrono::milliseconds(100)}, true),
                ElementsAre(std::nullopt));
}

TEST_F(FolderIndexTest, ThePatternMatchesTheNamesAndNothingElse) {
    const std::vector<std::string> names = {"a.b", "roll (2) [x]*", "c|d^$", "e\\f{2}+?", "Köln"};
    regex_t compiled;
    ASSERT_EQ(regcomp(&compiled, patternOfNames(names).c_str(), REG_EXTENDED | REG_NOSUB), 0);
    const auto matches = [&](const std::string& text) {
        return regexec(&compiled, text.c_str(), 0, nullptr, 0) == 0;
    };
    for (const std::string& name : names) {
        EXPECT_TRUE(matches(name)) << name;
        EXPECT_FALSE(matches(name + "x")) << name;
        EXPECT_FALSE(matches("x" + name)) << name;
    }
    EXPECT_FALSE(matches("axb"));
    EXPECT_FALSE(matches("c"));
    regfree(&compiled);
}

TEST(SearchPlacesTest, LocalVolumesAreSearchedAndSystemAndNetworkTreesAreNot) {
    const std::vector<Path> top = {Path("/bin"),  Path("/data"), Path("/srv"), Path("/nas"),
                                   Path("/home"), Path("/proc"), Path("/mnt"), Path("/backup")};
    const SearchPlaces places =
        searchPlaces(Path("/home/ann"),
                     "22 27 0:21 / /proc rw,relatime - proc proc rw\n"
                     "27 1 254:0 / / rw,relatime shared:1 - ext4 /dev/vda rw\n"
                     "28 27 8:1 / /boot/efi rw - vfat /dev/sda1 rw\n"
                     "29 27 7:3 / /snap/core/1 ro - squashfs /dev/loop3 ro\n"
                     "30 27 8:17 / /run/media/ann/Film\\040Scans ro shared:7 master:2 - "
                     "fuseblk /dev/sdb1 ro\n"
                     "31 27 0:44 /@scans /mnt/pool rw - btrfs /dev/sdc rw\n"
                     "32 27 0:44 /@scans /home/ann/bound rw - btrfs /dev/sdc rw\n"
                     "33 27 0:44 /@other /archive rw - btrfs /dev/sdc rw\n"
                     "34 27 0:50 / /nas rw - nfs4 server:/export rw\n"
                     "35 27 0:51 / /home/ann/remote rw - fuse.sshfs server: rw\n"
                     "36 27 0:52 / /mnt/zfs rw - zfs tank/scans rw\n"
                     "37 27 0:53 / /mnt/auto rw - autofs systemd-1 rw\n"
                     "38 37 8:33 / /mnt/auto rw - ext4 /dev/sdd1 rw\n"
                     "39 27 0:54 / /run/user/1000/doc rw - fuse.portal portal rw\n"
                     "40 27 8:49 / /mnt/hidden rw - ext4 /dev/sde rw\n"
                     "41 40 0:55 / /mnt/hidden rw - cifs //server/share rw\n"
                     "damaged line\n"
                     "42 27 8:65 / /mnt/cut rw - ext4",
                     top);
    EXPECT_THAT(places.roots,
                ElementsAre(Path("/home/ann"), Path("/run/media/ann/Film Scans"), Path("/mnt/pool"),
                            Path("/archive"), Path("/mnt/zfs"), Path("/mnt/auto"), Path("/data"),
                            Path("/srv"), Path("/home"), Path("/mnt"), Path("/backup")));
    EXPECT_TRUE(places.covers(Path("/home/ann/scans/kyoto")));
    EXPECT_TRUE(places.covers(Path("/run/media/ann/Film Scans/kyoto")));
    for (const char* other : {"/home/ann/remote/kyoto", "/home/ann/.cache/kyoto", "/nas/kyoto",
                              "/usr/share/kyoto", "/mnt/hidden/kyoto", "/proc/1", "/etc"}) {
        EXPECT_FALSE(places.covers(Path(other))) << other;
    }
    EXPECT_TRUE(searchPlaces(Path(), "", {}).roots.empty());
}

TEST(SearchPlacesTest, ThisMachinesHomeIsSearched) {
    const testing::TemporaryFolder home;
    const SearchPlaces places = currentSearchPlaces(home.path());
    EXPECT_TRUE(places.covers(*LinuxFiles().canonical(home.path()) / "kyoto"));
    EXPECT_THAT(places.roots, Not(Contains(Path("/proc"))));
    EXPECT_TRUE(places.leftOut.contains(Path("/proc")));
}

}  // namespace
}  // namespace kelvaris

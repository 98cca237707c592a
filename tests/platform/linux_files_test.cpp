#include <gmock/gmock.h>
#include <sys/stat.h>

#include <fstream>

#include "base/text.h"
#include "machines.h"
#include "platform_linux/native_path.h"

namespace kelvaris {
namespace {

struct LinuxFilesTest : ::testing::Test {
    testing::TemporaryFolder folder;
    const Path root = folder.path();
    LinuxFiles files;
};

TEST_F(LinuxFilesTest, NamesOfAnyBytesAreListedAndFoundAgain) {
    const std::string names[] = {"caf\xE9.jpg", "\xF4\x8F\xB8\x80.jpg", "na\xC3\xAFve.jpg", "\xFF\xFE",
                                 "\xC3"};
    for (const std::string& name : names) std::ofstream(root.string() + "/" + name) << "x";
    const auto entries = files.list(root);
    ASSERT_TRUE(entries);
    std::vector<std::string> found;
    for (const FolderEntry& entry : *entries) {
        EXPECT_TRUE(isValidUtf8(entry.path.string()));
        EXPECT_TRUE(files.read(entry.path)) << entry.path.string();
        found.push_back(nativePath(Path(entry.path.filename())));
    }
    EXPECT_THAT(found, ::testing::UnorderedElementsAreArray(names));
}

TEST_F(LinuxFilesTest, AFileCutShortUnderItsMappingReadsAsZeros) {
    const Path path = root / "shrinks";
    ASSERT_TRUE(files.writeAtomically(path, Bytes(3 * 4096 + 10, 7)));
    const auto mapped = files.map(path);
    ASSERT_TRUE(mapped);
    EXPECT_EQ((*mapped)->bytes()[0], 7);
    std::filesystem::resize_file(path.string(), 100);
    std::uint64_t sum = 0;
    for (const std::uint8_t byte : (*mapped)->bytes()) sum += byte;
    EXPECT_EQ(sum, 700u);
}

TEST_F(LinuxFilesTest, AReplacedFileKeepsItsPermissionsAndALongNameFits) {
    const Path path = root / std::string(255, 'n');
    ASSERT_TRUE(files.writeAtomically(path, asBytes("a")));
    chmod(path.string().c_str(), 0640);
    ASSERT_TRUE(files.writeAtomically(path, asBytes("b")));
    struct stat found {};
    ASSERT_EQ(stat(path.string().c_str(), &found), 0);
    EXPECT_EQ(found.st_mode & 07777, 0640u);
}

TEST_F(LinuxFilesTest, APipeIsRefusedInsteadOfWaitedFor) {
    ASSERT_EQ(mkfifo((root / "pipe").string().c_str(), 0600), 0);
    EXPECT_FALSE(files.read(root / "pipe"));
    EXPECT_FALSE(files.map(root / "pipe"));
    EXPECT_FALSE(files.copyFile(root / "pipe", root / "copy"));
}

TEST_F(LinuxFilesTest, AWriteTakesTheLinksPlaceAndNotItsTarget) {
    ASSERT_TRUE(files.writeAtomically(root / "real", asBytes("old")));
    std::filesystem::create_symlink("real", (root / "link").string());
    ASSERT_TRUE(files.writeAtomically(root / "link", asBytes("new")));
    EXPECT_EQ(asText(*files.read(root / "real")), "old");
    EXPECT_EQ(asText(*files.read(root / "link")), "new");
}

}  // namespace
}  // namespace kelvaris

#include <gmock/gmock.h>

#include "machines.h"

namespace kelvaris {
namespace {

using ::testing::ElementsAre;
using Code = FileError::Code;

class FilesContract : public MachineContract {};
INSTANTIATE_CONTRACT(FilesContract);

template <class T>
Code codeOf(const FileResult<T>& result) {
    EXPECT_FALSE(result);
    return result ? Code::other : result.error().code;
}

TEST_P(FilesContract, AWrittenFileIsReadMappedAndDescribed) {
    const Path path = root / "a/b/note.txt";
    write(path, "first");
    write(path, "second");
    EXPECT_EQ(text(path), "second");
    EXPECT_EQ(asText((*files.map(path))->bytes()), "second");
    const auto info = files.info(path);
    ASSERT_TRUE(info);
    EXPECT_TRUE(info->isRegularFile && !info->isDirectory);
    EXPECT_EQ(info->size, 6);
    EXPECT_TRUE(info->modified);
    EXPECT_NE(info->inode, files.info(root / "a")->inode);
    EXPECT_THAT(names(root / "a/b", false), ElementsAre("note.txt")) << "no temporary file stays";
    EXPECT_GT(*files.freeSpace(root), 0);

    write(root / "empty", "");
    EXPECT_TRUE((*files.map(root / "empty"))->bytes().empty());
}

TEST_P(FilesContract, EachFailureHasItsCode) {
    write(root / "folder/file", "12345");
    EXPECT_EQ(codeOf(files.read(root / "none")), Code::notFound);
    EXPECT_EQ(codeOf(files.read(root / "folder")), Code::isADirectory);
    EXPECT_EQ(codeOf(files.read(root / "folder/file", 4)), Code::tooLarge);
    EXPECT_TRUE(files.read(root / "folder/file", 5));
    EXPECT_EQ(codeOf(files.map(root / "none")), Code::notFound);
    EXPECT_EQ(codeOf(files.list(root / "none")), Code::notFound);
    EXPECT_EQ(codeOf(files.list(root / "folder/file")), Code::notADirectory);
    EXPECT_EQ(codeOf(files.beginWrite(root / "none/file")), Code::notFound);
    EXPECT_EQ(codeOf(files.beginWrite(root / "folder")), Code::isADirectory);
    EXPECT_EQ(codeOf(files.createDirectories(root / "folder/file/below")), Code::notADirectory);
    EXPECT_EQ(codeOf(files.removeFile(root / "folder")), Code::isADirectory);
    EXPECT_EQ(codeOf(files.removeFile(root / "none")), Code::notFound);
    EXPECT_EQ(codeOf(files.removeTree(root / "none")), Code::notFound);
    EXPECT_EQ(codeOf(files.move(root / "none", root / "other")), Code::notFound);
    EXPECT_EQ(codeOf(files.exchange(root / "folder", root / "none")), Code::notFound);
    EXPECT_EQ(codeOf(files.copyFile(root / "none", root / "other")), Code::notFound);
    EXPECT_FALSE(files.exists(root / "other"));
    EXPECT_EQ(files.info(root / "none").error().message, "No such file or directory");
}

TEST_P(FilesContract, APendingFileThatIsLetGoLeavesTheOldOneAlone) {
    const Path path = root / "folder/keep";
    write(path, "old");
    {
        auto pending = files.beginWrite(path);
        ASSERT_TRUE(pending);
        ASSERT_TRUE((*pending)->write(asBytes("new")));
        EXPECT_EQ(text(path), "old") << "nothing changes before the commit";
    }
    EXPECT_EQ(text(path), "old");
    {
        auto cached = files.beginWrite(path, Durability::cache);
        ASSERT_TRUE((*cached)->write(asBytes("ne")));
        ASSERT_TRUE((*cached)->write(asBytes("wer")));
        ASSERT_TRUE((*cached)->commit());
    }
    EXPECT_EQ(text(path), "newer");
    EXPECT_THAT(names(root / "folder", false), ElementsAre("keep")) << "no hidden remainder";
}

TEST_P(FilesContract, ListingSkipsHiddenEntriesAndFollowsLinks) {
    write(root / "real/.hidden", "");
    write(root / "real/photo.jpg", "1234");
    machine->makeLink(root / "real/link.jpg", Path("photo.jpg"));
    machine->makeLink(root / "real/folder", Path(".."));
    machine->makeLink(root / "real/broken", Path("nowhere"));
    EXPECT_THAT(names(root / "real"), ElementsAre("broken", "folder", "link.jpg", "photo.jpg"));
    EXPECT_THAT(names(root / "real", false),
                ElementsAre(".hidden", "broken", "folder", "link.jpg", "photo.jpg"));
    const auto entries = files.list(root / "real");
    for (const FolderEntry& entry : *entries) {
        const std::string name = entry.path.filename();
        EXPECT_EQ(entry.info.has_value(), name != "broken") << name;
        EXPECT_EQ(entry.info && entry.info->isDirectory, name == "folder") << name;
        EXPECT_EQ(entry.info && entry.info->isRegularFile && entry.info->size == 4,
                  name == "link.jpg" || name == "photo.jpg")
            << name;
    }
    ASSERT_TRUE(files.removeTree(root / "real"));
    EXPECT_TRUE(files.isDirectory(root)) << "a link to the folder above is removed, not followed";
}

TEST_P(FilesContract, MovesNeverOverwriteButReplacementsDo) {
    write(root / "a", "A");
    write(root / "b", "B");
    EXPECT_EQ(codeOf(files.move(root / "a", root / "b")), Code::alreadyExists);
    EXPECT_EQ(text(root / "b"), "B");
    ASSERT_TRUE(files.replace(root / "a", root / "b"));
    EXPECT_EQ(text(root / "b"), "A");
    EXPECT_FALSE(files.exists(root / "a"));
    ASSERT_TRUE(files.move(root / "b", root / "c"));
    EXPECT_EQ(text(root / "c"), "A");

    write(root / "old/one", "1");
    write(root / "new/two", "2");
    ASSERT_TRUE(files.exchange(root / "old", root / "new"));
    EXPECT_THAT(names(root / "old"), ElementsAre("two"));
    EXPECT_THAT(names(root / "new"), ElementsAre("one"));
    EXPECT_EQ(codeOf(files.replace(root / "c", root / "old")), Code::isADirectory);
    EXPECT_EQ(codeOf(files.replace(root / "new", root / "old")), Code::alreadyExists) << "not empty";

    ASSERT_TRUE(files.copyFile(root / "c", root / "old/two"));
    EXPECT_EQ(text(root / "old/two"), "A");
    EXPECT_EQ(text(root / "c"), "A");
}

TEST_P(FilesContract, ALockIsHeldByOne) {
    auto first = files.lock(root / ".lock");
    ASSERT_TRUE(first);
    EXPECT_EQ(codeOf(files.lock(root / ".lock")), Code::inUse);
    first->reset();
    EXPECT_TRUE(files.lock(root / ".lock"));
}

TEST_P(FilesContract, AFolderHasOneCanonicalPathHoweverItIsReached) {
    const Path base = *files.canonical(root);  // the temporary folder may be reached over a link itself
    const std::string foreign = "roll\xF4\x8F\xBB\xA9";
    write(base / "disk" / foreign / "1.jpg", "1");
    machine->makeLink(base / "absolute", base / "disk");
    write(base / "near/file", "");
    machine->makeLink(base / "near/relative", Path("../absolute"));
    machine->makeLink(base / "dangling", base / "none");
    machine->makeLink(base / "loop", base / "loop");

    const Path roll = base / "disk" / foreign;
    EXPECT_EQ(*files.canonical(roll), roll);
    EXPECT_EQ(*files.canonical(base / "absolute" / foreign), roll);
    EXPECT_EQ(*files.canonical(base / "near/relative" / foreign / "1.jpg"), roll / "1.jpg");
    EXPECT_EQ(*files.canonical(base / "near/../disk/."), base / "disk");
    EXPECT_EQ(*files.canonical(Path("/")), Path("/"));
    EXPECT_EQ(codeOf(files.canonical(base / "dangling")), Code::notFound);
    EXPECT_EQ(codeOf(files.canonical(Path())), Code::notFound);
    EXPECT_FALSE(files.canonical(base / "loop"));
}

TEST_P(FilesContract, NamesThatAreNoTextKeepTheirFile) {
    // "scan\xE9.jpg" as an old disk holds it, and a name that looks like an escape itself
    const std::string latin = "scan\xF4\x8F\xBB\xA9.jpg";
    write(root / "foreign" / latin, "x");
    EXPECT_THAT(names(root / "foreign"), ElementsAre(latin));
    EXPECT_EQ(text(root / "foreign" / latin), "x");
}

class FolderAccessContract : public MachineContract {};
INSTANTIATE_CONTRACT(FolderAccessContract);

TEST_P(FolderAccessContract, AReferenceFollowsItsFolder) {
    FolderAccess& folders = machine->folders();
    const Path roll = root / "scans: 2026/roll";
    write(roll / "1.jpg", "1");
    const auto reference = folders.makeReference(roll);
    ASSERT_TRUE(reference);
    auto found = folders.resolve(*reference);
    ASSERT_TRUE(found);
    EXPECT_EQ(found->path, roll);
    EXPECT_FALSE(found->isStale);
    EXPECT_TRUE(folders.beginAccess(roll));
    folders.endAccess(roll);

    const Path renamed = root / "scans: 2026/holiday";
    ASSERT_TRUE(files.move(roll, renamed));
    found = folders.resolve(*reference);
    ASSERT_TRUE(found);
    EXPECT_EQ(found->path, renamed);
    EXPECT_TRUE(found->isStale);

    ASSERT_TRUE(files.createDirectories(roll));
    EXPECT_EQ(folders.resolve(*reference)->path, renamed) << "the folder itself, not its old place";

    ASSERT_TRUE(files.move(renamed, root / "elsewhere"));
    found = folders.resolve(*reference);
    ASSERT_TRUE(found);
    EXPECT_EQ(found->path, roll) << "another folder in the old place is taken";

    ASSERT_TRUE(files.removeTree(roll));
    EXPECT_FALSE(folders.resolve(*reference));
    EXPECT_FALSE(folders.beginAccess(roll));
}

TEST_P(FolderAccessContract, ForeignTokensLeadNowhere) {
    FolderAccess& folders = machine->folders();
    for (const char* token :
         {"", "folder1", "folder1:1:2:3", "folder1:a:b:c:/", "folder1:1:2:3:relative", ":::::"}) {
        EXPECT_FALSE(folders.resolve(token)) << token;
    }
    write(root / "file", "");
    EXPECT_FALSE(folders.makeReference(root / "file"));
    EXPECT_FALSE(folders.makeReference(root / "none"));
}

class DefaultsContract : public MachineContract {};
INSTANTIATE_CONTRACT(DefaultsContract);

TEST_P(DefaultsContract, ValuesOutliveTheProgramAndKeepTheirType) {
    {
        const auto defaults = machine->openDefaults();
        EXPECT_FALSE(defaults->string("name"));
        defaults->setString("name", "Käthe \"K\"\n");
        defaults->setBoolean("on", false);
        defaults->setNumber("level", 0.1);
        defaults->setNumber("whole", 3);
        defaults->setString("gone", "x");
        defaults->remove("gone");
    }
    const auto defaults = machine->openDefaults();
    EXPECT_EQ(defaults->string("name"), "Käthe \"K\"\n");
    EXPECT_EQ(defaults->boolean("on"), false);
    EXPECT_EQ(defaults->number("level"), 0.1);
    EXPECT_EQ(defaults->number("whole"), 3.0);
    EXPECT_FALSE(defaults->string("on") || defaults->boolean("name") || defaults->number("name"));
    EXPECT_FALSE(defaults->number("on") || defaults->string("gone"));
    defaults->removeAll();
    EXPECT_FALSE(machine->openDefaults()->string("name"));
}

}  // namespace
}  // namespace kelvaris

#include <gmock/gmock.h>

#include "archive_builder.h"
#include "models/archive_report.h"
#include "models/gzip_reader.h"
#include "models/tar_reader.h"
#include "platform_fake/fake_machine.h"

namespace kelvaris {
namespace {

using ::testing::ElementsAre;
using testing::gzipOf;
using testing::tarOf;
using Code = DownloadError::Code;

class ViewStream final : public ByteStream {
public:
    explicit ViewStream(ByteView bytes) : rest_(bytes) {}
    DownloadResult<std::size_t> read(std::span<std::uint8_t> target) override {
        const std::size_t count = std::min({rest_.size(), target.size(), std::size_t{700}});
        std::copy_n(rest_.begin(), count, target.begin());
        rest_ = rest_.subspan(count);
        return count;
    }

private:
    ByteView rest_;
};

struct GzipReaderTest : ::testing::Test {
    DownloadResult<std::string> readAll(ByteView archive) {
        auto reader = GzipReader::open(archive, compression);
        if (!reader) return Unexpected(reader.error());
        std::string text;
        Bytes piece(100);
        for (;;) {
            const auto count = (*reader)->read(piece);
            if (!count) return Unexpected(count.error());
            if (*count == 0) return text;
            text += asText(ByteView(piece).first(*count));
        }
    }
    FakeCompression compression;
    const std::string text = std::string(70'000, 'm') + "end";
};

TEST_F(GzipReaderTest, EveryHeaderPartIsSteppedOver) {
    for (int flags = 0; flags < 32; ++flags) {
        const auto read = readAll(gzipOf(asBytes(text), static_cast<std::uint8_t>(flags)));
        ASSERT_TRUE(read) << flags;
        EXPECT_EQ(*read, text) << flags;
    }
    EXPECT_EQ(*readAll(gzipOf({})), "");
}

TEST_F(GzipReaderTest, AMemberThatIsCutAnywhereIsRefused) {
    const Bytes whole = gzipOf(asBytes("short"), 4 | 8 | 16 | 2);
    const std::size_t trailer = 8;
    const std::size_t stream = storedDeflate(asBytes("short")).size();
    const std::size_t header = whole.size() - trailer - stream;
    for (std::size_t size = 0; size < whole.size() - trailer; ++size) {
        const auto read = readAll(ByteView(whole).first(size));
        ASSERT_FALSE(read) << size;
        EXPECT_EQ(read.error().code, size < header ? Code::invalidArchive : Code::extractionFailed) << size;
    }
    EXPECT_EQ(*readAll(ByteView(whole).first(whole.size() - trailer)), "short")
        << "the trailer is not looked at";
}

TEST_F(GzipReaderTest, DamageAndMissingMemoryAreToldApart) {
    Bytes archive = gzipOf(asBytes("text"));
    archive[0] = 0x1E;
    EXPECT_EQ(readAll(archive).error().code, Code::invalidArchive);
    archive = gzipOf(asBytes("text"));
    archive[12] ^= 0xFF;
    EXPECT_EQ(readAll(archive).error().detail, "Decompression error");
    compression.makesStreams = false;
    EXPECT_EQ(readAll(gzipOf({})).error().detail, "Failed to initialize decompressor");
}

struct TarReaderTest : ::testing::Test {
    TarReaderTest() { machine.files.addFolder(destination); }

    DownloadResult<void> extract(const Bytes& archive) {
        ViewStream stream(archive);
        return extractTar(stream, machine.files, destination, Durability::durable);
    }
    std::vector<std::string> extracted() const {
        std::vector<std::string> names;
        for (const Path& path : machine.files.allFiles(Path("/data"))) names.push_back(path.string());
        return names;
    }
    FakeMachine machine;
    const Path destination{"/data/models/.staging/x"};
};

TEST_F(TarReaderTest, FilesAndFoldersComeOutAndEverythingElseIsSteppedOver) {
    const std::string data(1025, 'd');
    ASSERT_TRUE(extract(tarOf({{.name = "nima/", .type = '5'},
                               {.name = "nima/folder with data", .data = data, .type = '5'},
                               {.name = "nima/empty"},
                               {.name = "nima/link", .data = data, .type = '2'},
                               {.name = "nima/hard", .type = '1'},
                               {.name = "nima/device", .type = '3'},
                               {.name = "././@LongLink", .data = data, .type = 'L'},
                               {.name = "header", .data = data, .type = 'x'},
                               {.name = "old", .data = data, .type = '\0'},
                               {.name = "name", .data = std::string(512, 'e'), .prefix = "pre/fix"},
                               {.name = "./a/../b//c", .data = "c"}})));
    const std::string base = destination.string();
    EXPECT_THAT(extracted(),
                ElementsAre(base + "/b/c", base + "/nima/empty", base + "/old", base + "/pre/fix/name"));
    EXPECT_EQ(machine.files.contents(destination / "old"), data);
    EXPECT_EQ(machine.files.contents(destination / "pre/fix/name")->size(), 512u);
    EXPECT_TRUE(machine.files.isDirectory(destination / "nima/folder with data"));
}

TEST_F(TarReaderTest, NamesThatLeadOutStopTheUnpacking) {
    machine.files.addFile(Path("/data/models/nima/keep"), "old");
    struct Row {
        std::string name;
        std::string prefix;
    };
    for (const Row& row :
         {Row{"../../nima/keep", ""}, Row{"..", ""}, Row{"a/../../y", ""}, Row{"keep", "../../nima"},
          Row{"/../../../models/nima/keep", ""}, Row{"a/b/../../../xy/keep", ""}}) {
        for (const char type : {'0', '5', '2'}) {
            const auto result =
                extract(tarOf({{.name = row.name, .data = "evil", .type = type, .prefix = row.prefix}}));
            ASSERT_FALSE(result) << row.name;
            EXPECT_THAT(result.error().detail, ::testing::StartsWith("Path traversal detected: "));
        }
    }
    EXPECT_THAT(extracted(), ElementsAre("/data/models/nima/keep"));
    EXPECT_EQ(machine.files.contents(Path("/data/models/nima/keep")), "old");
    ASSERT_TRUE(extract(tarOf({{.name = "/etc/passwd", .data = "x"}}))) << "an absolute name stays inside";
    EXPECT_EQ(machine.files.contents(destination / "etc/passwd"), "x");
}

TEST_F(TarReaderTest, SizesThatAreNoSizesDoNoHarm) {
    struct Row {
        std::string field;
        bool passes;
    };
    const std::string binary("\x80\x00\x00\x00\x00\x00\x00\x00\x00\x00\x02\x00", 12);
    for (const Row& row : {Row{" 3 ", true}, Row{"+3", true}, Row{"0x3", true}, Row{binary, true},
                           Row{"999", true}, Row{"-3", false}, Row{"777777777777", false}}) {
        const auto result = extract(tarOf({{.name = "file", .data = "abc", .sizeField = row.field}}));
        // What is no number is nothing, so the data is read as the next header; "abc" names no harm either.
        EXPECT_EQ(result.has_value(), row.passes) << row.field;
    }
    EXPECT_EQ(extract(tarOf({{.name = "cut", .data = "abc", .sizeField = "10000"}})).error().detail,
              "The archive ends within a file");
    EXPECT_FALSE(machine.files.exists(destination / "cut")) << "half a file does not stand";
}

TEST_F(TarReaderTest, NamesThatAreNoNamesAreRefused) {
    using namespace std::string_literals;
    for (const std::string& name : {"a\0b"s, "\xFF\xFE"s}) {
        EXPECT_FALSE(extract(tarOf({{.name = name, .data = "x"}})));
    }
    EXPECT_FALSE(extract(tarOf({{.name = "", .data = "x"}}))) << "the destination itself is no file";
    EXPECT_FALSE(extract(tarOf({{.name = "file", .data = "x"}, {.name = "file/below", .data = "y"}})));
    EXPECT_EQ(machine.files.contents(destination / "file"), "x");
}

TEST_F(TarReaderTest, ArchivesEndAtAZeroBlockOrAShortOne) {
    EXPECT_TRUE(extract({}));
    EXPECT_TRUE(extract(Bytes(511, 'x'))) << "less than a header";
    Bytes two = tarOf({{.name = "a", .data = "1"}});
    const Bytes after = tarOf({{.name = "b", .data = "2"}});
    two.insert(two.end(), after.begin(), after.end());
    EXPECT_TRUE(extract(two));
    EXPECT_THAT(extracted(), ElementsAre(destination.string() + "/a"));
}

TEST_F(TarReaderTest, DamageBehindTheLastEntryIsFound) {
    Bytes archive = gzipOf(tarOf({{.name = "a", .data = "1"}}));
    archive.resize(archive.size() - 8 - 100);
    auto gzip = GzipReader::open(archive, machine.compression);
    const auto result = extractTar(**gzip, machine.files, destination, Durability::durable);
    ASSERT_FALSE(result);
    EXPECT_THAT(result.error().detail, ::testing::StartsWith("Decompression error"));
}

TEST(ArchiveReport, TellsWhatAnInstallWouldFind) {
    const FakeCompression compression;
    auto entries = testing::modelEntries(ModelID::nima, "12345");
    entries.push_back({.name = "nima/link", .type = '2'});
    ArchiveReport report = inspectArchive(gzipOf(tarOf(entries)), compression);
    EXPECT_THAT(report.models, ElementsAre("nima"));
    EXPECT_FALSE(report.error);
    ASSERT_EQ(report.entries.size(), 3u);
    EXPECT_EQ(report.entries[1].size, 5);
    EXPECT_EQ(report.entries[2].kind, "skipped");

    entries.push_back({.name = "../x", .data = "x"});
    report = inspectArchive(gzipOf(tarOf(entries)), compression);
    EXPECT_EQ(report.error, "Path traversal detected: ../x");
    EXPECT_EQ(report.entries.size(), 4u);
    EXPECT_EQ(inspectArchive({}, compression).error, "Downloaded file is not a valid model archive.");
    EXPECT_EQ(inspectArchive(gzipOf({}), compression).error, "Model files missing after extraction.");
}

}  // namespace
}  // namespace kelvaris

#include "vault/vault_documents.h"

#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "base/text.h"
#include "log_capture.h"
#include "platform_fake/fake_clock.h"
#include "platform_fake/fake_language.h"
#include "random_records.h"
#include "vault/frontmatter.h"
#include "vault/yaml_reader.h"

namespace kelvaris {
namespace {

using ::testing::HasSubstr;
using testing::LogCapture;
using testing::RandomRecords;

const FakeLanguage language;

std::string encoded(const VaultRollManifest& manifest) {
    auto file = encodedRollFile(manifest, language);
    EXPECT_TRUE(file) << file.error();
    return file ? *file : "";
}

VaultRollManifest smallManifest() {
    VaultRollManifest manifest;
    manifest.id = "0A1B2C3D-0000-4000-8000-00000000000F";
    manifest.folderPath = "/scans/kyoto";
    manifest.photos.push_back({.filename = "a.jpg", .sortIndex = 0});
    return manifest;
}

/// A whole roll file around the lines of its YAML.
std::string file(const std::string& yaml) { return "---\n" + yaml + "\n---\n\n# body\n"; }

const std::string validYaml =
    "version: 3\nid: 0A1B2C3D-0000-4000-8000-00000000000F\nfolderPath: /scans\nfolderBookmark: ''\n"
    "fileFingerprint: []\nphotos:\n- filename: a.jpg\n  sortIndex: 0";

/// The valid file with more lines in its one photo.
std::string photoFile(const std::string& lines) { return file(validYaml + "\n  " + lines); }

TEST(RollFile, StandsInItsExactByteForm) {
    VaultRollManifest manifest = smallManifest();
    manifest.fileFingerprint = {{"a.jpg", 12}, {"ü.jpg", 34}};
    manifest.workflowState = WorkflowState::opened;
    manifest.cameraFormat = FilmFormat::oneTwenty;
    manifest.notes = "first line\nsecond: line";
    manifest.baseDate = instantFromUtc({2024, 3, 1, 9, 30, 5}) + std::chrono::milliseconds(250);
    auto& photo = manifest.photos[0];
    photo.latitude = 35.6895;
    photo.visionTags = {{"clip_street", 0.85f}, {"no", 1.0f}};
    photo.labels = std::vector<std::string>{};
    photo.rotation = RotationAngle::none;
    photo.faceRegions = {{0.5, 0.25, 0.125, 0.1, 3, std::nullopt}};
    EXPECT_EQ(encoded(manifest), R"(---
version: 3
id: 0A1B2C3D-0000-4000-8000-00000000000F
folderPath: /scans/kyoto
folderBookmark: ''
fileFingerprint:
- filename: a.jpg
  size: 12
- filename: "\xFC.jpg"
  size: 34
workflowState: imported
cameraFormat: '120'
notes: 'first line

  second: line'
baseDate: 2024-03-01T09:30:05.25Z
photos:
- filename: a.jpg
  sortIndex: 0
  latitude: 3.56895e+1
  visionTags:
    clip_street: 8.5e-1
    'no': 1e+0
  labels: []
  rotation: 0
  faceRegions:
  - x: 5e-1
    y: 2.5e-1
    width: 1.25e-1
    height: 1e-1
    embeddingVersion: 3
---

# kyoto

1 photos
first line
second: line
Status: imported

| # | Photo | Date | Location | Place | Labels | Quality |
|---|-------|------|----------|-------|--------|---------|
| 1 | a.jpg |  |  |  |  |  |
)");
}

TEST(RollFile, ComesBackWholeAndReSavesToTheSameBytes) {
    for (std::uint64_t seed = 1; seed <= 60; ++seed) {
        const auto manifest = RandomRecords(seed).manifest(8);
        const std::string first = encoded(manifest);
        auto read = decodedRollFile(first);
        ASSERT_TRUE(read) << "seed " << seed << ": " << read.error().reason << "\n" << first;
        ASSERT_TRUE(*read == manifest) << "seed " << seed << "\n" << first;
        EXPECT_EQ(encoded(*read), first) << "seed " << seed;
    }
}

TEST(RollFile, ReadsWhatAPersonMayHaveMadeOfIt) {
    const auto plain = decodedRollFile(file(validYaml));
    ASSERT_TRUE(plain);
    std::string crlf;
    for (const char c : file(validYaml)) crlf += c == '\n' ? "\r\n" : std::string(1, c);
    const std::string otherOrder =
        "# by hand\nphotos: [{sortIndex: 0x0, filename: 'a.jpg', unknown: {deep: [1, {2: 3}]}}]\n"
        "fileFingerprint: !!seq []\nstranger: yes\nid: \"0A1B2C3D-0000-4000-8000-00000000000F\"\n"
        "? [a, key]\n: ignored\nfolderBookmark:\nfolderPath: &path /scans\nversion: 0b11\nalias: *path";
    for (const std::string& text :
         {crlf, file(otherOrder), "---\n" + validYaml + "\n---", "---\n" + validYaml + "\n---and more",
          "--- \n\n\n" + validYaml + "\n\n---\n"}) {
        const auto read = decodedRollFile(text);
        ASSERT_TRUE(read) << read.error().reason << "\n" << text;
        EXPECT_EQ(*read, *plain);
    }
}

TEST(RollFile, TakesAliasesForWhatTheyStandFor) {
    const auto read = decodedRollFile(file(
        "version: 3\nid: 0A1B2C3D-0000-4000-8000-00000000000F\nfolderPath: &p /scans\nfolderBookmark: *p\n"
        "fileFingerprint: []\nphotos:\n- &one {filename: *p, sortIndex: 4, clipLabels: &l [a, b], "
        "dominantColors: *l}\n- *one"));
    ASSERT_TRUE(read) << read.error().reason;
    ASSERT_EQ(read->photos.size(), 2u);
    EXPECT_EQ(read->folderBookmark, "/scans");
    EXPECT_EQ(read->photos[1], read->photos[0]);
    EXPECT_THAT(*read->photos[1].dominantColors, ::testing::ElementsAre("a", "b"));
}

TEST(RollFile, TreatsValuesByTheKindOfTheirKey) {
    const auto photoOf = [](const std::string& line) {
        const auto read = decodedRollFile(photoFile(line));
        EXPECT_TRUE(read) << line << ": " << read.error().reason;
        return read ? read->photos[0] : PhotoManifestEntry();
    };
    EXPECT_EQ(photoOf("placeName: 12").placeName, "12");
    EXPECT_EQ(photoOf("placeName: '~'").placeName, "~");
    EXPECT_EQ(photoOf("placeName: ~").placeName, std::nullopt);
    EXPECT_EQ(photoOf("captureDate: null").captureDate, std::nullopt);
    EXPECT_EQ(photoOf("captureDate: ").captureDate, std::nullopt);
    EXPECT_EQ(photoOf("isMissing: Yes").isMissing, true);
    EXPECT_EQ(photoOf("rotation: 0x10e").rotation, RotationAngle::clockwise270);
    EXPECT_EQ(photoOf("latitude: 12").latitude, 12.0);
    EXPECT_EQ(photoOf("peopleCount: !!int '7'").peopleCount, 7);
    EXPECT_EQ(photoOf("labels: [no, 1, ~]").labels, (std::vector<std::string>{"no", "1", "~"}));
}

TEST(RollFile, IsRefusedWholeForOneBadValue) {
    for (const char* line : {
             "rotation: 45",           "rotation: '90'",
             "dateSource: guess",      "dateSource: EXIF",
             "captureDate: yesterday", "captureDate: '2024-03-01'",
             "isMissing: 1",           "isMissing: 'true'",
             "peopleCount: 1.0",       "peopleCount: '1'",
             "qualityScore: good",     "labels: gem",
             "labels: {gem: true}",    "visionTags: [a]",
             "visionTags: {a: x}",     "visionTags: {a: 1, a: 2}",
             "placeName: [x]",         "faceRegions: [{x: 1}]",
             "faceRegions: [~]",       "orientationDecision: {status: upright}",
             "sortIndex: 1",           "strange: 1\n  strange: 2",
             "strange: {a: 1, a: 2}",  "<<: {placeName: x}",
             "peopleCount: !!str 7",   "placeName: *nowhere",
             "placeName: x: y",        "\tplaceName: x",
             "placeName: \"\\q\"",     "peopleCount: 99999999999999999999",
         }) {
        const auto read = decodedRollFile(photoFile(line));
        ASSERT_FALSE(read) << line;
        EXPECT_EQ(read.error().kind, DecodeFailure::Kind::undecodable) << line;
        EXPECT_THAT(read.error().reason, HasSubstr("Line ")) << line;
    }
    EXPECT_EQ(decodedRollFile(photoFile("rotation: 45")).error().reason,
              "Line 10: a known number was expected");
    for (const char* key : {"version", "id", "folderPath", "folderBookmark", "fileFingerprint", "photos"}) {
        std::string renamed = validYaml;
        renamed.replace(renamed.find(key), 1, "X");
        const auto read = decodedRollFile(file(renamed));
        ASSERT_FALSE(read) << key;
        EXPECT_THAT(read.error().reason, HasSubstr(fmt::format("\"{}\" is missing", key)));
    }
}

TEST(RollFile, IsRefusedWhenNotFrontmatterAtAll) {
    const std::string good = file(validYaml);
    for (const std::string& text :
         {std::string(), std::string("---"), std::string("---\n---"), "\xEF\xBB\xBF" + good, "\n" + good,
          "---\n" + validYaml, "---\n" + validYaml + "\n --- \n", good.substr(0, good.find("photos")),
          "---\nversion: \xFF" + good.substr(3), file(""), file("just text"), file("[1, 2]"),
          file(validYaml + "\n...\nsecond: document"), file("%YAML 9.9")}) {
        EXPECT_FALSE(decodedRollFile(text)) << text;
    }
}

TEST(RollFile, CostsLittleWhenItIsHostile) {
    std::string bomb = "a0: &a0 [x, x, x, x, x, x, x, x, x, x]\n";
    for (int i = 1; i <= 30; ++i) {
        bomb += fmt::format("a{0}: &a{0} [*a{1}, *a{1}, *a{1}, *a{1}, *a{1}, *a{1}, *a{1}, *a{1}, *a{1}]\n",
                            i, i - 1);
    }
    std::string anchors = "deep: ";
    for (int i = 0; i < 60; ++i) anchors += fmt::format("&b{} [", i);
    anchors += std::string(1 << 20, 'x');
    const std::pair<std::string, const char*> cases[] = {
        {bomb + validYaml, "repeat too much"},
        {"self: &s [*s]\n" + validYaml, "inside its own anchor"},
        {"deep: " + std::string(100'000, '[') + "\n" + validYaml, "nested too deep"},
        {"deep: " + std::string(100'000, '{') + "\n" + validYaml, ""},
        {anchors + std::string(60, ']') + "\n" + validYaml, "keep too much"},
    };
    for (const auto& [yaml, reason] : cases) {
        const auto read = decodedRollFile(file(yaml));
        ASSERT_FALSE(read);
        EXPECT_THAT(read.error().reason, HasSubstr(reason));
    }
    // A long note is no attack: what a person wrote must come back.
    VaultRollManifest manifest = smallManifest();
    manifest.notes = std::string(3 << 20, 'n');
    EXPECT_EQ(decodedRollFile(encoded(manifest))->notes, manifest.notes);
    EXPECT_EQ(decodedRollFile(std::string((64 << 20) + 1, '-')).error().kind,
              DecodeFailure::Kind::notFrontmatter);
}

TEST(RollFile, IsValidWithinItsRangesOnly) {
    const auto accepted = [](const std::string& line) { return bool(decodedRollFile(photoFile(line))); };
    EXPECT_TRUE(accepted("latitude: -90\n  longitude: 180.0\n  peopleCount: 2147483647"));
    for (const char* line : {"latitude: 90.0000001", "longitude: -180.5", "latitude: .nan", "longitude: .inf",
                             "peopleCount: -1", "peopleCount: 2147483648"}) {
        const LogCapture log;
        EXPECT_EQ(decodedRollFile(photoFile(line)).error().kind, DecodeFailure::Kind::invalid) << line;
        EXPECT_FALSE(decodeFrontmatter<VaultRollManifest>(photoFile(line)));
        EXPECT_THAT(log.errors(), ::testing::ElementsAre("Rejected invalid roll metadata"));
    }
    for (const std::int64_t index : {std::int64_t{2147483647}, std::int64_t{-1}}) {
        auto manifest = smallManifest();
        manifest.photos[0].sortIndex = index;
        EXPECT_FALSE(manifest.isValid());
    }
    EXPECT_TRUE(VaultRollManifest::isValidID("0a1b2c3d-0000-4000-8000-00000000000f"));
    for (const char* id : {"", "0A1B2C3D", "{0A1B2C3D-0000-4000-8000-00000000000F}", "../../etc/passwd",
                           "0A1B2C3D00004000800000000000000F"}) {
        EXPECT_FALSE(VaultRollManifest::isValidID(id)) << id;
    }
}

TEST(RollFile, IsNotWrittenWhenNoReaderWouldTakeIt) {
    auto manifest = smallManifest();
    manifest.baseDate = instantFromUtc({.year = 12000, .month = 1, .day = 1});
    EXPECT_FALSE(encodedRollFile(manifest, language));
    manifest = smallManifest();
    manifest.notes = "\xC3";
    EXPECT_FALSE(encodedRollFile(manifest, language));
    manifest.notes = std::string(65 << 20, 'n');
    EXPECT_FALSE(encodedRollFile(manifest, language));
}

/// What the salvaging reading makes of the valid file with more lines in its one photo.
PhotoManifestEntry salvagedPhoto(const std::string& lines, std::size_t losses = 1) {
    const auto salvage = salvagedRollFile(photoFile(lines));
    EXPECT_TRUE(salvage) << lines << ": " << salvage.error().reason;
    if (!salvage || salvage->record.photos.empty()) return {};
    EXPECT_EQ(salvage->losses.size(), losses) << lines;
    EXPECT_EQ(salvage->record.folderPath, "/scans");
    return salvage->record.photos[0];
}

TEST(SalvagedRollFile, LosesNoMoreThanTheValueThatIsWrong) {
    for (const char* line : {
             "rotation: 45",
             "rotation: [90]",
             "dateSource: guess",
             "captureDate: yesterday",
             "isMissing: 1",
             "peopleCount: -1",
             "peopleCount: 1.0",
             "labels: {gem: true}",
             "labels: gem",
             "orientationDecision: {status: upright}",
             "latitude: 90.0000001",
             "longitude: .nan",
             "visionTags: [a]",
             "strange: 1\n  strange: 2",
             "strange: {a: 1, a: 2}",
             "orientationDecision: {reason: [{a: 1}], status: []}",
             "faceRegions: 3",
             "qualityScore: {a: {b: [c]}}",
         }) {
        const auto photo = salvagedPhoto(std::string(line) + "\n  placeName: Kyoto");
        PhotoManifestEntry expected{.filename = "a.jpg", .sortIndex = 0};
        expected.placeName = "Kyoto";
        EXPECT_EQ(photo, expected) << line;
    }
    EXPECT_EQ(salvagedPhoto("visionTags: {a: 1, b: x, a: 2, c: 3}", 2).visionTags,
              (std::map<std::string, float>{{"a", 1}, {"c", 3}}));
    EXPECT_EQ(
        salvagedPhoto("faceRegions: [{x: 1}, ~, {x: 0, y: 0, width: 1, height: 1}]", 2).faceRegions->size(),
        1u);
    EXPECT_EQ(salvagedPhoto("placeName: a\n  placeName: b").placeName, "a");
    EXPECT_EQ(salvagedRollFile(photoFile("rotation: 45"))->losses,
              std::vector<std::string>{"Line 10: a known number was expected (rotation)"});
}

TEST(SalvagedRollFile, LeavesOutAnEntryOnlyWithoutItsName) {
    const auto salvage = salvagedRollFile(
        file("id: 0A1B2C3D-0000-4000-8000-00000000000F\nfolderPath: /scans\nfolderBookmark: [x]\n"
             "fileFingerprint: [{filename: a.jpg, size: 1}, {filename: b.jpg}]\nnotes: [no, text]\n"
             "photos:\n- sortIndex: 1\n  placeName: nobody\n- filename: a.jpg\n  placeName: A\n- 3\n"
             "- {filename: b.jpg, sortIndex: 2147483647, placeName: B}\nsortOption: custom\n"
             "removedPhotos: [{filename: c.jpg, latitude: 91.0, placeName: C}, {placeName: nobody}]"));
    ASSERT_TRUE(salvage) << salvage.error().reason;
    const VaultRollManifest& roll = salvage->record;
    EXPECT_EQ(roll.fileFingerprint.size(), 1u);
    EXPECT_EQ(roll.sortOption, "custom");
    EXPECT_EQ(roll.notes, std::nullopt);
    ASSERT_EQ(roll.photos.size(), 2u);
    EXPECT_EQ(roll.photos[0].placeName, "A");
    EXPECT_EQ(roll.photos[1].placeName, "B");
    ASSERT_EQ(roll.removedPhotos->size(), 1u);
    EXPECT_EQ(roll.removedPhotos->front().placeName, "C");
    EXPECT_TRUE(roll.isValid());
    EXPECT_THAT(salvage->losses, ::testing::Contains("sortIndex of b.jpg is out of its range"));
}

TEST(SalvagedRollFile, TakesWhatStandsAroundTheFrontmatterForNothing) {
    const auto plain = decodedRollFile(file(validYaml));
    for (const std::string& text : {"\xEF\xBB\xBF" + file(validYaml), file(validYaml) + "\xFF body"}) {
        EXPECT_FALSE(decodedRollFile(text));
        const auto salvage = salvagedRollFile(text);
        ASSERT_TRUE(salvage);
        EXPECT_EQ(salvage->record, *plain);
    }
    for (std::uint64_t seed = 1; seed <= 20; ++seed) {  // nothing is lost where nothing is wrong
        const auto manifest = RandomRecords(seed).manifest(4);
        const auto salvage = salvagedRollFile(encoded(manifest));
        ASSERT_TRUE(salvage);
        EXPECT_EQ(salvage->record, manifest);
        EXPECT_EQ(salvage->losses, std::vector<std::string>());
    }
}

TEST(SalvagedRollFile, GivesUpWhereABackupKnowsBetter) {
    const std::string good = file(validYaml);
    std::string noId = validYaml;
    noId.replace(noId.find("id: 0"), 5, "id: Z");
    std::string noPhotos = validYaml.substr(0, validYaml.find("photos:"));
    for (const std::string& text :
         {good.substr(0, 60), file(noId), file(noPhotos), file(noPhotos + "photos: gone"),
          file(noPhotos + "photos: [1, 2]"), photoFile("placeName: \"\\q\""),
          photoFile("placeName: *nowhere"), photoFile("placeName: x: y"), photoFile("placeName: \xFF"),
          file("[1, 2]")}) {
        EXPECT_FALSE(salvagedRollFile(text)) << text;
    }
    std::string many = validYaml;
    for (int i = 0; i < 1000; ++i) many += "\n- lost";
    EXPECT_EQ(salvagedRollFile(file(many))->losses.size(), YamlReader::mostLossesTold + 1);
}

TEST(SalvagedPreferencesFile, KeepsWhatIsInItsRange) {
    const auto salvage = salvagedPreferencesFile(
        "---\nfaceGroupingEdits: {groups: [], separated: [{filename: a}]}\nexportQuality: 1.5\n"
        "artistName: Ann\nlocationMaxGapHours: 200\nshowLocationBadges: perhaps\n---\n");
    ASSERT_TRUE(salvage) << salvage.error().reason;
    EXPECT_EQ(salvage->losses.size(), 4u);
    VaultPreferences expected;
    expected.faceGroupingEdits = FaceGroupingEdits();
    expected.artistName = "Ann";
    EXPECT_EQ(salvage->record, expected);
}

TEST(PreferencesFile, ComesBackWithItsNestedRecords) {
    VaultPreferences preferences;
    preferences.faceGroupingEdits = FaceGroupingEdits{
        .groups = {{FaceGroupID::random(), {{RollID::random(), "a.jpg", 0.1, 0.2, 0.3, 0.4}}}},
        .separated = {}};
    preferences.exportQuality = 0.856;
    preferences.favoriteFilmStocks = {{"HP5", 400}, {"Lomo", std::nullopt}};
    preferences.gearRecommendations =
        VaultGearRecommendations{.cameras = {{"1", {.make = "X"}, "because: why"}}};
    const FakeClock clock;
    const auto file = encodedPreferencesFile(preferences, language, clock.wall());
    ASSERT_TRUE(file);
    const auto read = decodedPreferencesFile(*file);
    ASSERT_TRUE(read) << read.error().reason;
    EXPECT_EQ(*read, preferences);
    EXPECT_EQ(*decodedPreferencesFile(*encodedPreferencesFile({}, language, clock.wall())),
              VaultPreferences());

    const LogCapture log;
    EXPECT_FALSE(decodeFrontmatter<VaultPreferences>("---\nexportQuality: 1.5\nartistName: Ann\n---\n"));
    EXPECT_THAT(log.errors(), ::testing::ElementsAre("Rejected invalid preferences"));
}

}  // namespace
}  // namespace kelvaris

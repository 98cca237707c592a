#include "vault/bodies.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "platform_fake/fake_language.h"

namespace kelvaris {
namespace {

using ::testing::HasSubstr;

const FakeLanguage language;
const Instant day = instantFromUtc({2026, 3, 14, 9, 30, 0});

TEST(RollBody, TellsTheRollAndItsPhotos) {
    VaultRollManifest manifest;
    manifest.folderPath = "/scans/2026-03-kyoto";
    manifest.cameraModel = "FM2";
    manifest.filmName = "Portra";
    manifest.filmISO = 400;
    manifest.notes = "rain";
    manifest.workflowState = WorkflowState::exported;
    manifest.lastExported = day;
    manifest.exportDirty = true;
    manifest.photos = {{.filename = "a|b.jpg",
                        .sortIndex = 7,
                        .captureDate = day,
                        .latitude = 35.01161,
                        .longitude = 135.7681,
                        .placeName = "Kyoto",
                        .labels = std::vector<std::string>{"gem", "street"},
                        .qualityScore = 0.756},
                       {.filename = "c.jpg", .latitude = 1.0}};
    EXPECT_EQ(generateMarkdownBody(manifest, language),
              "# 2026-03-kyoto\n\nFM2 | Portra (ISO 400) | 2 photos\nrain\n"
              "Status: exported (exported 2026-03-14T09:30:00Z) [modified since export]\n\n"
              "| # | Photo | Date | Location | Place | Labels | Quality |\n"
              "|---|-------|------|----------|-------|--------|---------|\n"
              "| 1 | a|b.jpg | 14 Mar 2026, 09:30 | 35.0116, 135.7681 | Kyoto | gem, street | 0.76 |\n"
              "| 2 | c.jpg |  |  |  |  |  |");
}

TEST(PreferencesBody, TellsSettingsAndFavorites) {
    EXPECT_EQ(generatePreferencesBody({}, language, day),
              "# Kelvaris Preferences\n\nUpdated: 14 Mar 2026\n\nExport: Quality 100%\n"
              "Workflow: Date interval 1.0s, Location gap 24.0h");
    VaultPreferences preferences;
    preferences.exportQuality = 0.856;
    preferences.artistName = "Ann";
    preferences.dateIntervalSeconds = 0.25;
    preferences.favoriteCameras = {{"Nikon", "FM2"}, {"Leica", "M6"}};
    preferences.favoriteFilmStocks = {{"HP5", 400}, {"Lomo", std::nullopt}};
    EXPECT_THAT(
        generatePreferencesBody(preferences, language, day),
        HasSubstr("Export: Quality 85%, Artist \"Ann\"\nWorkflow: Date interval 0.25s, Location gap 24.0h\n"
                  "Cameras: Nikon FM2, Leica M6\nFilm stocks: HP5 ISO 400, Lomo"));
}

TEST(SchemaText, NamesEveryKeyOfTheRecordsUnderItsHeadings) {
    const std::string& text = schemaText();
    std::size_t position = 0;
    for (const char* heading :
         {"# Kelvaris Vault Schema", "## Directory layout", "## File format",
          "## Durable vs. derived (the core split)", "## The `source` rule — manual decisions are durable",
          "## Roll frontmatter fields", "| `dateImported` | date | no |", "## Per-photo entry",
          "| `visionTags` | map of text to number | no |", "| `includesEmbeddings` | true or false | yes |",
          "## Preferences", "| `mirrorFolderPath` | text | no |", "## Embeddings sidecar",
          "## Durability guarantee", "## Alternative we did not take", "## Face group corrections",
          "| `separated` | list of record | yes |"}) {
        const auto found = text.find(std::string(heading) + (heading[0] == '#' ? "\n" : ""), position);
        ASSERT_NE(found, std::string::npos) << heading;
        position = found;
    }
}

}  // namespace
}  // namespace kelvaris

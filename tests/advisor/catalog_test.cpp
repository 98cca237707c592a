#include <gmock/gmock.h>

#include <set>

#include "advisor/film_shops.h"
#include "advisor_fixture.h"
#include "log_capture.h"
#include "vocabulary/film_format.h"
#include "vocabulary/json_record.h"

namespace kelvaris {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::SizeIs;
using Words = std::set<std::string>;

template <class Record>
std::vector<std::string> titles(const std::vector<const Record*>& records) {
    std::vector<std::string> list;
    for (const Record* record : records) {
        if constexpr (std::is_same_v<Record, CameraRecord>) {
            list.push_back(record->make + " " + record->model);
        } else {
            list.push_back(record->fullName());
        }
    }
    return list;
}

bool isSlug(const std::string& id) {
    return !id.empty() && id.find_first_not_of("abcdefghijklmnopqrstuvwxyz0123456789-") == std::string::npos;
}

void expectKnown(const Words& vocabulary, const std::vector<std::string>& words, const std::string& where) {
    EXPECT_FALSE(words.empty()) << where;
    for (const std::string& word : words) EXPECT_TRUE(vocabulary.contains(word)) << where << ": " << word;
}

const Words cameraTypes{"SLR", "Rangefinder", "TLR",          "Point & Shoot", "Half Frame",
                        "Toy", "Panoramic",   "Large Format", "Instant",       "Viewfinder",
                        "Box", "Folding",     "Stereo",       "Subminiature"};
const Words filmTypes{"BW", "CN", "CR", "BWR", "SP", "IR"};
const Words priceTiers{"budget", "mid", "premium"};

// The rules of the advice compare words, so a misspelt word would silently never match.
TEST(ShippedCatalogs, CamerasAreWellFormed) {
    const auto cameras = decodedJson<std::vector<CameraRecord>>(shippedText("cameras.json"));
    ASSERT_TRUE(cameras);
    EXPECT_GE(cameras->size(), 400u);
    Words ids;
    Words names;
    for (const CameraRecord& camera : *cameras) {
        EXPECT_TRUE(isSlug(camera.id)) << camera.id;
        EXPECT_TRUE(ids.insert(camera.id).second) << camera.id;
        EXPECT_TRUE(names.insert(camera.make + "\n" + camera.model).second) << camera.id;
        ASSERT_TRUE(camera.type) << camera.id;
        EXPECT_TRUE(cameraTypes.contains(*camera.type)) << camera.id;
        if (camera.format) {
            EXPECT_TRUE(fromRawValue<FilmFormat>(*camera.format)) << camera.id;
        }
        if (camera.yearIntroduced) {
            EXPECT_THAT(*camera.yearIntroduced, ::testing::AllOf(::testing::Ge(1930), ::testing::Le(2026)))
                << camera.id;
        }
    }
}

TEST(ShippedCatalogs, FilmsAreWellFormed) {
    const auto films = decodedJson<std::vector<FilmStockRecord>>(shippedText("films.json"));
    ASSERT_TRUE(films);
    EXPECT_GE(films->size(), 200u);
    Words ids;
    int discontinued = 0;
    for (const FilmStockRecord& film : *films) {
        EXPECT_TRUE(isSlug(film.id)) << film.id;
        EXPECT_TRUE(ids.insert(film.id).second) << film.id;
        EXPECT_TRUE(filmTypes.contains(film.type)) << film.id;
        EXPECT_THAT(film.iso, ::testing::AllOf(::testing::Ge(6), ::testing::Le(3200))) << film.id;
        discontinued += film.discontinued ? 1 : 0;
    }
    EXPECT_GT(discontinued, 50);
}

TEST(ShippedCatalogs, CameraRecommendationsAgreeWithTheCatalog) {
    const Advisor advisor;
    const Words weights{"compact", "medium", "heavy"};
    const Words goodFor{"action",       "architecture", "beginner",  "documentary", "everyday",
                        "experimental", "landscape",    "low-light", "portrait",    "street",
                        "studio",       "travel",       "wildlife"};
    const Words features{"auto-exposure",
                         "autofocus",
                         "built-in-flash",
                         "fast-lens",
                         "half-frame",
                         "instant-print",
                         "interchangeable-back",
                         "interchangeable-lens",
                         "leaf-shutter",
                         "light-meter",
                         "mechanical",
                         "movements",
                         "panoramic-frame",
                         "pocketable",
                         "waist-level-finder",
                         "weather-sealed",
                         "wide-angle",
                         "zone-focus",
                         "zoom-lens"};
    EXPECT_GE(advisor.catalog.cameraEntries().size(), 80u);
    Words ids;
    Words vibes;
    for (const CameraRecommendationEntry& entry : advisor.catalog.cameraEntries()) {
        EXPECT_TRUE(ids.insert(entry.catalogId).second) << entry.catalogId;
        EXPECT_TRUE(vibes.insert(entry.vibe).second) << entry.vibe;
        const CameraRecord* camera = advisor.catalog.camera(entry.make, entry.model);
        ASSERT_NE(camera, nullptr) << entry.catalogId;
        EXPECT_EQ(camera->id, entry.catalogId);
        EXPECT_EQ(camera->type, entry.type) << entry.catalogId;
        EXPECT_EQ(camera->format, entry.format) << entry.catalogId;
        EXPECT_TRUE(priceTiers.contains(entry.priceTier)) << entry.catalogId;
        EXPECT_TRUE(weights.contains(entry.weightClass)) << entry.catalogId;
        expectKnown(goodFor, entry.goodFor, entry.catalogId);
        expectKnown(features, entry.features, entry.catalogId);
    }
}

TEST(ShippedCatalogs, FilmRecommendationsAgreeWithTheCatalog) {
    const Advisor advisor;
    const Words grains{"fine", "medium", "coarse"};
    const Words palettes{"warm", "cool", "vivid", "neutral", "muted", "monochrome"};
    const Words latitudes{"forgiving", "moderate", "narrow"};
    const Words goodFor{"action",      "architecture",  "beginner",     "cinematic",
                        "documentary", "everyday",      "experimental", "indoor",
                        "landscape",   "long-exposure", "night",        "portrait",
                        "pushable",    "street",        "studio",       "travel"};
    EXPECT_GE(advisor.catalog.filmEntries().size(), 60u);
    Words ids;
    for (const FilmRecommendationEntry& entry : advisor.catalog.filmEntries()) {
        EXPECT_TRUE(ids.insert(entry.catalogId).second) << entry.catalogId;
        const auto& films = advisor.catalog.filmStocks();
        const auto film = std::ranges::find(films, entry.catalogId, &FilmStockRecord::id);
        ASSERT_NE(film, films.end()) << entry.catalogId;
        EXPECT_EQ(film->brand, entry.brand);
        EXPECT_EQ(film->name, entry.name);
        EXPECT_EQ(film->iso, entry.iso);
        EXPECT_EQ(film->type, entry.type);
        EXPECT_FALSE(film->discontinued) << "nobody can buy " << entry.catalogId;
        EXPECT_TRUE(priceTiers.contains(entry.priceTier)) << entry.catalogId;
        EXPECT_TRUE(grains.contains(entry.grain)) << entry.catalogId;
        EXPECT_TRUE(palettes.contains(entry.palette)) << entry.catalogId;
        EXPECT_TRUE(latitudes.contains(entry.latitude)) << entry.catalogId;
        EXPECT_EQ(entry.palette == "monochrome",
                  entry.type == "BW" || entry.type == "BWR" || entry.type == "IR")
            << entry.catalogId;
        expectKnown(goodFor, entry.goodFor, entry.catalogId);
        EXPECT_FALSE(entry.vibe.empty());
    }
}

TEST(CatalogService, SearchesForEveryWord) {
    const Advisor advisor;
    const CatalogService& catalog = advisor.catalog;
    EXPECT_THAT(titles(catalog.searchCameras("  ROLLEI   2.8fx ")), ElementsAre("Rollei Rolleiflex 2.8FX"));
    EXPECT_THAT(titles(catalog.searchCameras("om-4 olympus")),
                ElementsAre("Olympus OM-4", "Olympus OM-40", "Olympus OM-4Ti"));
    EXPECT_THAT(titles(catalog.searchFilmStocks("scala")),
                ElementsAre("Adox Scala 160", "Adox Scala 50", "Agfa Scala 200x"));
    EXPECT_THAT(catalog.searchCameras(" \t "), IsEmpty());
    EXPECT_THAT(catalog.searchFilmStocks(""), IsEmpty());
    EXPECT_THAT(catalog.searchFilmStocks("portra velvia"), IsEmpty());
}

TEST(CatalogService, LooksUpNamesInEitherSpelling) {
    const Advisor advisor;
    const FilmStockRecord* const portra = advisor.catalog.filmStock("portra 400");
    ASSERT_NE(portra, nullptr);
    EXPECT_EQ(advisor.catalog.filmStock("KODAK Portra 400"), portra);
    EXPECT_EQ(advisor.catalog.filmStock("Kodak"), nullptr);
    EXPECT_EQ(advisor.catalog.camera("CANON", "ae-1")->id, "canon-ae-1");
    EXPECT_EQ(advisor.catalog.camera("Canon AE-1", ""), nullptr);
}

TEST(CatalogService, TakesDamagedFilesForEmptyOnes) {
    const FakeClock clock;
    FakeFiles files(clock.wall());
    const FakeLanguage language;
    files.addFile(
        resources / "cameras.json",
        R"([{"id": "a", "make": "A", "model": "1", "unknown": {"x": [1]}, "yearIntroduced": 1999}])");
    files.addFile(
        resources / "films.json",
        R"([{"id": "b", "brand": "B", "name": "2", "iso": "fast", "type": "BW", "discontinued": false}])");
    files.addFile(resources / "camera-recommendations.json", R"([{"catalogId": "a", "make)");
    testing::LogCapture log;
    const CatalogService catalog(files, resources, language);
    EXPECT_THAT(catalog.cameras(), SizeIs(1));
    EXPECT_THAT(catalog.filmStocks(), IsEmpty());
    EXPECT_THAT(catalog.cameraEntries(), IsEmpty());
    EXPECT_THAT(catalog.filmEntries(), IsEmpty());
    EXPECT_TRUE(log.contains("films.json"));
    EXPECT_TRUE(log.contains("camera-recommendations.json"));
    EXPECT_TRUE(log.contains("film-recommendations.json"));
}

TEST(FilmStockRecord, ShowsTypesInWordsAndNamesWithTheirBrand) {
    EXPECT_EQ((FilmStockRecord{.brand = "Ilford", .name = "HP5 Plus", .type = "BW"}).typeLabel(), "B&W");
    EXPECT_EQ((FilmStockRecord{.type = "X-RAY"}).typeLabel(), "X-RAY");
    EXPECT_EQ((FilmStockRecord{.brand = "Ilford", .name = "HP5 Plus"}).fullName(), "Ilford HP5 Plus");
    EXPECT_EQ((FilmStockRecord{.brand = "Ilford", .name = "Ilfordpan"}).fullName(), "Ilfordpan");
}

TEST(FilmShops, KnowBrandColorsAndSearchPages) {
    EXPECT_TRUE(FilmBrand::brand("Kodak"));
    EXPECT_FALSE(FilmBrand::brand("kodak"));
    EXPECT_EQ(FilmBrand::fallback("Svema"), FilmBrand::fallback("Svema"));
    EXPECT_NE(FilmBrand::fallback("Svema").color, FilmBrand::fallback("Efke").color);
    EXPECT_THAT(FilmBrand::fallback("Svema").color, ::testing::MatchesRegex("#[0-9A-F]{6}"));
    for (const FilmRetailer& shop : FilmRetailer::all()) {
        const std::string url = shop.searchURL("Color '92 & more");
        EXPECT_THAT(url, ::testing::HasSubstr("Color%20%2792%20%26%20more")) << shop.name;
        EXPECT_THAT(url, ::testing::Not(::testing::HasSubstr("{"))) << shop.name;
    }
}

}  // namespace
}  // namespace kelvaris

#include "preferences/user_preferences.h"

#include <gmock/gmock.h>

#include <limits>
#include <memory>

#include "base/text.h"
#include "platform_fake/fake_clock.h"
#include "platform_fake/fake_defaults.h"
#include "preferences/favorites_store.h"

namespace kelvaris {
namespace {

using namespace std::chrono_literals;
using ::testing::ElementsAre;

/// The preferences file in memory, with the rules of the real one.
class FakePreferencesStore final : public PreferencesStore {
public:
    std::optional<VaultPreferences> load() override {
        return record && record->isValid() ? record : std::nullopt;
    }
    bool save(const VaultPreferences& saved) override {
        EXPECT_TRUE(saved.isValid());
        ++saves;
        record = saved;
        return true;
    }

    std::optional<VaultPreferences> record;
    int saves = 0;
};

class UserPreferencesTest : public ::testing::Test {
protected:
    std::unique_ptr<UserPreferences> make() {
        return std::make_unique<UserPreferences>(defaults, store, mirror, queue);
    }

    FakeClock clock;
    MainQueue queue{clock.monotonic()};
    FakeDefaults defaults;
    FakePreferencesStore store;
    MirrorState mirror;
};

TEST_F(UserPreferencesTest, AValueThatBreaksItsRuleIsMaskedAndNeitherCorrectedNorWrittenToTheFile) {
    struct {
        const NumberSetting& setting;
        double stored;
        double read;
    } const cases[] = {
        {settings::exportQuality, 1.5, 1.0},
        {settings::exportQuality, -0.1, 1.0},
        {settings::exportQuality, 0.0, 0.0},
        {settings::dateIntervalSeconds, -1.0, 1.0},
        {settings::dateIntervalSeconds, 0.0, 0.0},
        {settings::locationMaxGapHours, 200.0, 24.0},
        {settings::locationMaxGapHours, 0.5, 24.0},
        {settings::locationMaxGapHours, 168.0, 168.0},
        {settings::dateIntervalSeconds, std::numeric_limits<double>::infinity(), 1.0},
        {settings::exportQuality, std::numeric_limits<double>::quiet_NaN(), 1.0},
        {settings::locationMaxGapHours, std::numeric_limits<double>::quiet_NaN(), 24.0},
    };
    const auto preferences = make();
    for (const auto& each : cases) {
        defaults.setNumber(each.setting.key, each.stored);
        EXPECT_EQ(preferences->value(each.setting), each.read) << each.setting.key << " " << each.stored;
        ASSERT_TRUE(preferences->syncToVault());
        EXPECT_EQ((*store.record).*each.setting.inFile, each.read);
    }
    defaults.setString("rollSortOption", "dateOpened");  // a case's name is not its stored word
    EXPECT_EQ(preferences->rollSortOption(), RollSortOption::dateOpened);
    defaults.setString("favoriteCameras", "[{\"make\":\"Nikon\"}]");
    EXPECT_TRUE(preferences->favoriteCameras().empty());
}

TEST_F(UserPreferencesTest, AppearanceIsReadAtStartAndTheColourOnlyWhenTheUserPickedIt) {
    defaults.setString("accentColor", "purple");
    defaults.setString("textSize", "larger");
    EXPECT_EQ(make()->accentColor(), AccentColorOption::orange);
    EXPECT_EQ(make()->textSize(), TextSizeOption::larger);
    defaults.setBoolean("accentColorIsUserSet", true);
    EXPECT_EQ(make()->accentColor(), AccentColorOption::purple);
    defaults.setString("accentColor", "beige");
    EXPECT_EQ(make()->accentColor(), AccentColorOption::orange);
}

TEST_F(UserPreferencesTest, TenChangesWithinASecondWriteTheFileOnce) {
    const auto preferences = make();
    for (int i = 0; i < 10; ++i) {
        preferences->set(settings::exportQuality, i / 10.0);
        clock.advance(queue, 90ms);
    }
    EXPECT_EQ(store.saves, 0);
    clock.advance(queue, 1s);
    EXPECT_EQ(store.saves, 1);
    EXPECT_EQ(store.record->exportQuality, 0.9);
    preferences->set(settings::autoRotateOnOpen, false);
    preferences->setTextSize(TextSizeOption::large);
    preferences->setModelEnabled("nima", false);
    clock.advance(queue, 2s);
    EXPECT_EQ(store.saves, 1) << "what stays on this machine needs no sync";
    EXPECT_FALSE(preferences->autoRotateOnOpen());
    EXPECT_FALSE(preferences->isModelEnabled("nima"));
    EXPECT_TRUE(preferences->isModelEnabled("facenet"));
}

TEST_F(UserPreferencesTest, FlushWritesAWaitingSyncAtOnceAndOnlyThen) {
    const auto preferences = make();
    preferences->flushVaultSync();
    EXPECT_EQ(store.saves, 0);
    preferences->setArtistName("Ada");
    preferences->flushVaultSync();
    EXPECT_EQ(store.saves, 1);
    clock.advance(queue, 2s);
    EXPECT_EQ(store.saves, 1);
    preferences->setArtistName("");
    preferences->cancelVaultSync();
    clock.advance(queue, 2s);
    EXPECT_EQ(store.saves, 1);
}

TEST_F(UserPreferencesTest, ASyncThatOutlivesThePreferencesDoesNothing) {
    auto preferences = make();
    preferences->setArtistName("Ada");
    preferences.reset();
    clock.advance(queue, 2s);
    EXPECT_EQ(store.saves, 0);
}

TEST_F(UserPreferencesTest, AnInvalidFileChangesNothing) {
    store.record = VaultPreferences{.exportQuality = 1.5, .artistName = "Ada"};
    const auto preferences = make();
    preferences->loadFromVault();
    EXPECT_EQ(preferences->artistName(), "");
    EXPECT_EQ(preferences->exportQuality(), 1.0);
}

TEST_F(UserPreferencesTest, LoadingTakesTheFilesValuesLeavesAbsentOnesAloneAndWritesNothingBack) {
    store.record = VaultPreferences{.accentColor = "purple",
                                    .dateIntervalSeconds = 0.0,
                                    .soundEffectsEnabled = true,
                                    .favoriteCameras = std::vector<FavoriteCamera>{{"Nikon", "FM2"}},
                                    .defaultCameraId = "Nikon-FM2",
                                    .rollSortOption = "sideways",
                                    .gemSpotterEnabled = false,
                                    .mirrorEnabled = true,
                                    .mirrorFolderBookmark = base64Encoded("folder reference"),
                                    .mirrorFolderPath = "/backup"};
    const auto preferences = make();
    preferences->setArtistName("Ada");
    preferences->setRollSortOption(RollSortOption::camera);
    preferences->cancelVaultSync();
    preferences->loadFromVault();
    clock.advance(queue, 5s);
    EXPECT_EQ(store.saves, 0);
    EXPECT_EQ(preferences->accentColor(), AccentColorOption::orange)
        << "the file does not say the user picked it";
    EXPECT_EQ(preferences->dateIntervalSeconds(), 0.0);
    EXPECT_TRUE(preferences->soundEffectsEnabled());
    EXPECT_FALSE(preferences->gemSpotterEnabled());
    EXPECT_TRUE(preferences->filmIssuesEnabled());
    EXPECT_EQ(preferences->artistName(), "Ada");
    EXPECT_EQ(preferences->rollSortOption(), RollSortOption::camera);
    EXPECT_EQ(preferences->defaultCamera(), (FavoriteCamera{"Nikon", "FM2"}));
    EXPECT_EQ(mirror.target(), (MirrorState::Target{true, "folder reference"}));
    preferences->setArtistName("Grace");
    clock.advance(queue, 5s);
    EXPECT_EQ(store.saves, 1) << "changes after the load are written again";
}

TEST_F(UserPreferencesTest, ASyncKeepsWhatTheFileHoldsBeyondTheLiveValues) {
    VaultGearRecommendations recommendations;
    recommendations.profileSummary = "Street";
    store.record = VaultPreferences{.accentColor = "blue",
                                    .accentColorIsUserSet = true,
                                    .artistName = "Ada",
                                    .favoriteFilmSlugs = std::vector<std::string>{"ektar"},
                                    .gearRecommendations = recommendations};
    const auto preferences = make();
    ASSERT_TRUE(preferences->syncToVault());
    EXPECT_EQ(store.record->gearRecommendations, recommendations);
    EXPECT_EQ(store.record->favoriteFilmSlugs, std::vector<std::string>{"ektar"});
    EXPECT_EQ(store.record->artistName, std::nullopt);
    EXPECT_EQ(store.record->accentColor, std::nullopt);
    EXPECT_EQ(store.record->accentColorIsUserSet, std::nullopt);
    EXPECT_EQ(store.record->rollSortOption, "dateImported");
    preferences->slugProvider = [] { return FavoriteSlugs{.cameras = {"fm2"}, .films = {}}; };
    ASSERT_TRUE(preferences->syncToVault());
    EXPECT_EQ(store.record->favoriteCameraSlugs, std::vector<std::string>{"fm2"});
    EXPECT_EQ(store.record->favoriteFilmSlugs, std::nullopt);
}

TEST_F(UserPreferencesTest, TheFirstFavouriteBecomesTheDefaultAndARemovedDefaultIsReplaced) {
    const FavoriteCamera first{"Nikon", "FM2"}, second{"Canon", "AE-1"}, third{"Leica", "M6"};
    defaults.setString("favoriteCameras", "[{\"make\":\"Nikon\",\"model\":\"FM2\"}]");
    const auto preferences = make();
    EXPECT_EQ(preferences->defaultCameraId(), std::nullopt);
    EXPECT_EQ(preferences->defaultCamera(), first) << "a single favourite acts as the default";
    preferences->addFavoriteCamera(second);
    EXPECT_EQ(preferences->defaultCamera(), first);
    preferences->addFavoriteCamera({"Canon", "AE-1"});
    EXPECT_THAT(preferences->favoriteCameras(), ElementsAre(first, second));
    preferences->removeFavoriteCamera("Nikon-FM2");
    EXPECT_EQ(preferences->defaultCameraId(), "Canon-AE-1");
    preferences->setFavoriteCameras({third});
    EXPECT_EQ(preferences->defaultCameraId(), std::nullopt) << "the default was not in the new list";
    preferences->setDefaultCameraId("gone");
    EXPECT_EQ(preferences->defaultCamera(), std::nullopt);

    preferences->addFavoriteFilmStock({"HP5", std::nullopt});
    preferences->addFavoriteFilmStock({"HP5", 400});
    EXPECT_EQ(preferences->defaultFilmStockId(), "HP5-0");
    preferences->removeFavoriteFilmStock("HP5-0");
    EXPECT_EQ(make()->defaultFilmStock(), (FavoriteFilmStock{"HP5", 400}))
        << "and it is there after a restart";
}

TEST_F(UserPreferencesTest, ThePlaceOfTheMirrorReachesItsWritersAndADamagedReferenceIsNone) {
    const auto preferences = make();
    EXPECT_EQ(mirror.target(), MirrorState::Target{});
    preferences->setMirrorFolder(base64Encoded("there"), "/backup");
    EXPECT_EQ(mirror.target(), (MirrorState::Target{true, "there"}));
    preferences->stopMirroring();
    EXPECT_EQ(mirror.target(), (MirrorState::Target{false, "there"}));
    defaults.setString("mirrorFolderBookmark", "%%%");
    make();
    EXPECT_EQ(mirror.target(), MirrorState::Target{});
}

TEST_F(UserPreferencesTest, SettingsByWordsAreRefusedWithoutChangeWhenTheyDoNotFit) {
    const auto preferences = make();
    for (const auto& [key, text] : preferences->texts()) {
        EXPECT_TRUE(preferences->setText(key, text)) << key;  // what is shown can be given back
    }
    const auto before = preferences->texts();
    for (const auto& [key, text] : {std::pair{"exportQuality", "1.5"},
                                    {"exportQuality", "high"},
                                    {"soundEffectsEnabled", "yes"},
                                    {"accentColor", "beige"},
                                    {"colour", "red"}}) {
        EXPECT_FALSE(preferences->setText(key, text)) << key;
    }
    EXPECT_EQ(preferences->texts(), before);
    EXPECT_TRUE(preferences->setText("accentColor", "red"));
    EXPECT_EQ(preferences->accentColor(), AccentColorOption::red);
}

TEST_F(UserPreferencesTest, MarkedCatalogEntriesReachTheFileInTheirOrder) {
    store.record = VaultPreferences{.favoriteCameraSlugs = std::vector<std::string>{"fm2", "m6", "fm2"}};
    FavoritesStore favorites(store, queue);
    const auto preferences = make();
    preferences->slugProvider = [&] {
        return FavoriteSlugs{favorites.favoriteCameraSlugs(), favorites.favoriteFilmSlugs()};
    };
    favorites.onSave = [&] { preferences->scheduleVaultSync(); };
    favorites.toggleFavoriteCamera("fm2");
    favorites.toggleFavoriteCamera("ae1");
    clock.advance(queue, 400ms);
    favorites.toggleFavoriteFilm("hp5");
    clock.advance(queue, 1400ms);
    EXPECT_EQ(store.saves, 0);
    clock.advance(queue, 200ms);
    EXPECT_EQ(store.saves, 1);
    EXPECT_THAT(*store.record->favoriteCameraSlugs, ElementsAre("m6", "fm2", "ae1"));
    EXPECT_THAT(*store.record->favoriteFilmSlugs, ElementsAre("hp5"));

    favorites.toggleFavoriteFilm("hp5");  // the last half second before a normal exit
    favorites.flushPendingSaves();
    preferences->flushVaultSync();
    EXPECT_EQ(store.record->favoriteFilmSlugs, std::nullopt);
}

}  // namespace
}  // namespace kelvaris

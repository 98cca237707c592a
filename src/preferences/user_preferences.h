#pragma once

#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "base/lifetime.h"
#include "base/main_queue.h"
#include "base/observable.h"
#include "base/retry_delays.h"
#include "platform/defaults.h"
#include "preferences/appearance.h"
#include "preferences/favorite_gear.h"
#include "preferences/favorite_gear_list.h"
#include "preferences/mirror_state.h"
#include "preferences/preference_settings.h"
#include "preferences/preferences_store.h"
#include "vocabulary/face_grouping_edits.h"
#include "vocabulary/sort_option.h"

namespace kelvaris {

/// What changed, in the grain in which screens watch it.
enum class PreferenceField {
    accentColor,
    textSize,
    setting,
    gear,
    faceGroupingEdits,
    rollSort,
    mirror,
    model
};

/// The two lists of marked catalog entries.
struct FavoriteSlugs {
    std::vector<std::string> cameras;
    std::vector<std::string> films;
};

/// The live preferences. Their working copy is the user defaults, written at once; their durable copy is
/// the preferences file, written at most a second after the last change and read at start. A value in
/// the defaults that breaks its rule is masked by the fallback, never corrected in place. Main thread,
/// except for the MirrorState that is handed in.
class UserPreferences : public Observable<PreferenceField> {
public:
    static constexpr std::chrono::seconds syncDelay{1};

    /// Everything handed in must outlive the object.
    UserPreferences(Defaults& defaults, PreferencesStore& store, MirrorState& mirror, MainQueue& queue);

    // Plain settings. Setting a value also schedules the sync when the durable copy holds it.
    bool value(const SwitchSetting& setting) const;
    double value(const NumberSetting& setting) const;
    void set(const SwitchSetting& setting, bool value);
    void set(const NumberSetting& setting, double value);

    double exportQuality() const { return value(settings::exportQuality); }
    double dateIntervalSeconds() const { return value(settings::dateIntervalSeconds); }
    double locationMaxGapHours() const { return value(settings::locationMaxGapHours); }
    bool showLocationBadges() const { return value(settings::showLocationBadges); }
    bool soundEffectsEnabled() const { return value(settings::soundEffectsEnabled); }
    bool rollSortAscending() const { return value(settings::rollSortAscending); }
    bool filmIssuesEnabled() const { return value(settings::filmIssuesEnabled); }
    bool gemSpotterEnabled() const { return value(settings::gemSpotterEnabled); }
    bool faceFinderEnabled() const { return value(settings::faceFinderEnabled); }
    bool sceneScoutEnabled() const { return value(settings::sceneScoutEnabled); }
    bool timeStamperEnabled() const { return value(settings::timeStamperEnabled); }
    bool colorSenseEnabled() const { return value(settings::colorSenseEnabled); }
    bool deepAnalysisEnabled() const { return value(settings::deepAnalysisEnabled); }
    bool autoRotateOnOpen() const { return value(settings::autoRotateOnOpen); }

    std::string artistName() const;
    void setArtistName(std::string_view name);
    /// Where a language model answers on this machine, and its name there; empty for none. Not in the file:
    /// another machine has other servers.
    std::string languageModelURL() const;
    std::string languageModelName() const;
    RollSortOption rollSortOption() const;
    void setRollSortOption(RollSortOption option);

    AccentColorOption accentColor() const { return accentColor_; }
    /// The user picked the colour.
    void setAccentColor(AccentColorOption color);
    TextSizeOption textSize() const { return textSize_; }
    void setTextSize(TextSizeOption size);

    /// Whether the user lets the model be used; absent is yes. @param model its id, as "nima".
    bool isModelEnabled(std::string_view model) const;
    void setModelEnabled(std::string_view model, bool enabled);

    // The user's own gear.
    std::vector<FavoriteCamera> favoriteCameras() const { return cameras_.items(); }
    void setFavoriteCameras(const std::vector<FavoriteCamera>& cameras);
    void addFavoriteCamera(const FavoriteCamera& camera);
    void removeFavoriteCamera(std::string_view id);
    const std::optional<std::string>& defaultCameraId() const { return cameras_.defaultId(); }
    void setDefaultCameraId(std::optional<std::string> id);
    std::optional<FavoriteCamera> defaultCamera() const { return cameras_.defaultItem(); }

    std::vector<FavoriteFilmStock> favoriteFilmStocks() const { return filmStocks_.items(); }
    void setFavoriteFilmStocks(const std::vector<FavoriteFilmStock>& stocks);
    void addFavoriteFilmStock(const FavoriteFilmStock& stock);
    void removeFavoriteFilmStock(std::string_view id);
    const std::optional<std::string>& defaultFilmStockId() const { return filmStocks_.defaultId(); }
    void setDefaultFilmStockId(std::optional<std::string> id);
    std::optional<FavoriteFilmStock> defaultFilmStock() const { return filmStocks_.defaultItem(); }

    /// Lasting corrections of face groups; in memory and in the file only.
    const FaceGroupingEdits& faceGroupingEdits() const { return faceGroupingEdits_; }
    void setFaceGroupingEdits(FaceGroupingEdits edits);

    // The mirror. Stopping leaves the files in the folder.
    bool isMirrorEnabled() const;
    std::optional<std::string> mirrorFolderPath() const;
    void setMirrorFolder(std::string_view bookmarkBase64, std::string_view path);
    void stopMirroring();

    /// Takes over what the file holds, value by value; a value that is absent there leaves the live one
    /// alone. A file that is not there, or not valid, changes nothing.
    void loadFromVault();
    /// The same after the file became another: what is written only when there is something, as names and
    /// lists, is empty where the file lacks it, or else the old values would go back into the file.
    void loadRestored();
    /// Writes the file a second after the last call, and tries again later when it could not be written.
    /// Nothing while the file is being loaded.
    void scheduleVaultSync();
    /// Writes the file now. What it holds beyond these values stays.
    /// @return false when it could not be written (the reason is in the log).
    bool syncToVault();
    /// Writes the file now when a change has not reached it. @return whether none is left.
    bool flushVaultSync();
    /// Forgets changes that have not reached the file.
    void cancelVaultSync();
    /// Whether a change has not reached the file.
    bool isUnsaved() const { return isUnsaved_; }

    /// Gives the marked catalog entries to the sync; nothing leaves the file's lists as they are.
    std::function<std::optional<FavoriteSlugs>()> slugProvider;

    /// Every setting that is one plain value, as its key and the text of its value.
    std::vector<std::pair<std::string, std::string>> texts() const;
    /// Sets one by its key: a number within its range, "true" or "false", a stored word, or a free text
    /// (empty takes a default id away). @return false, having changed nothing, when key or text is not known.
    bool setText(std::string_view key, std::string_view text);

private:
    template <class Item>
    void takeGear(FavoriteGearList<Item>& list, const std::optional<std::vector<Item>>& items,
                  const std::optional<std::string>& defaultId);
    void take(const VaultPreferences& record);
    void loadAccentColor(const VaultPreferences& record);
    void loadMirror(const VaultPreferences& record);
    void changed(PreferenceField field);
    void syncAfter(std::chrono::nanoseconds delay);
    bool saveUnsaved();
    void refreshMirrorState();

    Defaults& defaults_;
    PreferencesStore& store_;
    MirrorState& mirror_;
    MainQueue& queue_;
    AccentColorOption accentColor_ = AccentColorOption::orange;
    TextSizeOption textSize_ = TextSizeOption::standard;
    FavoriteGearList<FavoriteCamera> cameras_;
    FavoriteGearList<FavoriteFilmStock> filmStocks_;
    FaceGroupingEdits faceGroupingEdits_;
    bool isLoadingFromVault_ = false;
    bool isUnsaved_ = false;
    RetryDelays retries_;
    TimerHandle syncTask_;
    Lifetime lifetime_;
};

}  // namespace kelvaris

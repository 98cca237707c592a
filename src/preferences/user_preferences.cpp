#include "preferences/user_preferences.h"

#include "base/text.h"

namespace kelvaris {
namespace {

constexpr std::string_view accentColorKey = "accentColor";
constexpr std::string_view accentColorIsUserSetKey = "accentColorIsUserSet";
constexpr std::string_view textSizeKey = "textSize";
constexpr std::string_view artistNameKey = "artistName";
constexpr std::string_view languageModelURLKey = "languageModelURL";
constexpr std::string_view languageModelNameKey = "languageModelName";
constexpr std::string_view rollSortOptionKey = "rollSortOption";
constexpr std::string_view defaultCameraIdKey = "defaultCameraId";
constexpr std::string_view defaultFilmStockIdKey = "defaultFilmStockId";
constexpr std::string_view mirrorEnabledKey = "mirrorEnabled";
constexpr std::string_view mirrorFolderBookmarkKey = "mirrorFolderBookmark";
constexpr std::string_view mirrorFolderPathKey = "mirrorFolderPath";

template <class E>
E wordOr(const std::optional<std::string>& word, E fallback) {
    return word ? fromRawValue<E>(std::string_view(*word)).value_or(fallback) : fallback;
}

template <class List>
std::optional<List> absentWhenEmpty(List list) {
    if (list.empty()) return std::nullopt;
    return list;
}

std::string modelKey(std::string_view model) { return fmt::format("model.{}.enabled", model); }

std::optional<bool> booleanFromText(std::string_view text) {
    if (text == "true") return true;
    if (text == "false") return false;
    return std::nullopt;
}

}  // namespace

UserPreferences::UserPreferences(Defaults& defaults, PreferencesStore& store, MirrorState& mirror,
                                 MainQueue& queue)
    : defaults_(defaults),
      store_(store),
      mirror_(mirror),
      queue_(queue),
      textSize_(wordOr(defaults.string(textSizeKey), TextSizeOption::standard)),
      cameras_(defaults, "favoriteCameras", defaultCameraIdKey),
      filmStocks_(defaults, "favoriteFilmStocks", defaultFilmStockIdKey) {
    if (defaults_.boolean(accentColorIsUserSetKey).value_or(false)) {
        accentColor_ = wordOr(defaults_.string(accentColorKey), AccentColorOption::orange);
    }
    refreshMirrorState();
}

bool UserPreferences::value(const SwitchSetting& setting) const {
    return defaults_.boolean(setting.key).value_or(setting.fallback);
}

double UserPreferences::value(const NumberSetting& setting) const {
    const auto stored = defaults_.number(setting.key);
    return stored && setting.isAcceptable(*stored) ? *stored : setting.fallback;
}

void UserPreferences::set(const SwitchSetting& setting, bool value) {
    defaults_.setBoolean(setting.key, value);
    notify(PreferenceField::setting);
    if (setting.inFile) scheduleVaultSync();
}

void UserPreferences::set(const NumberSetting& setting, double value) {
    defaults_.setNumber(setting.key, value);
    notify(PreferenceField::setting);
    if (setting.inFile) scheduleVaultSync();
}

void UserPreferences::changed(PreferenceField field) {
    notify(field);
    scheduleVaultSync();
}

std::string UserPreferences::languageModelURL() const {
    return defaults_.string(languageModelURLKey).value_or(std::string());
}

std::string UserPreferences::languageModelName() const {
    return defaults_.string(languageModelNameKey).value_or(std::string());
}

std::string UserPreferences::artistName() const {
    return defaults_.string(artistNameKey).value_or(std::string());
}

void UserPreferences::setArtistName(std::string_view name) {
    defaults_.setString(artistNameKey, name);
    changed(PreferenceField::setting);
}

RollSortOption UserPreferences::rollSortOption() const {
    return wordOr(defaults_.string(rollSortOptionKey), RollSortOption::dateOpened);
}

void UserPreferences::setRollSortOption(RollSortOption option) {
    defaults_.setString(rollSortOptionKey, rawValue(option));
    changed(PreferenceField::rollSort);
}

void UserPreferences::setAccentColor(AccentColorOption color) {
    defaults_.setString(accentColorKey, rawValue(color));
    defaults_.setBoolean(accentColorIsUserSetKey, true);
    accentColor_ = color;
    changed(PreferenceField::accentColor);
}

void UserPreferences::setTextSize(TextSizeOption size) {
    defaults_.setString(textSizeKey, rawValue(size));
    assign(PreferenceField::textSize, textSize_, size);
}

bool UserPreferences::isModelEnabled(std::string_view model) const {
    return defaults_.boolean(modelKey(model)).value_or(true);
}

void UserPreferences::setModelEnabled(std::string_view model, bool enabled) {
    defaults_.setBoolean(modelKey(model), enabled);
    notify(PreferenceField::model);
}

void UserPreferences::setFavoriteCameras(const std::vector<FavoriteCamera>& cameras) {
    cameras_.setItems(cameras);
    changed(PreferenceField::gear);
}

void UserPreferences::addFavoriteCamera(const FavoriteCamera& camera) {
    if (cameras_.add(camera)) changed(PreferenceField::gear);
}

void UserPreferences::removeFavoriteCamera(std::string_view id) {
    cameras_.remove(id);
    changed(PreferenceField::gear);
}

void UserPreferences::setDefaultCameraId(std::optional<std::string> id) {
    cameras_.setDefaultId(std::move(id));
    changed(PreferenceField::gear);
}

void UserPreferences::setFavoriteFilmStocks(const std::vector<FavoriteFilmStock>& stocks) {
    filmStocks_.setItems(stocks);
    changed(PreferenceField::gear);
}

void UserPreferences::addFavoriteFilmStock(const FavoriteFilmStock& stock) {
    if (filmStocks_.add(stock)) changed(PreferenceField::gear);
}

void UserPreferences::removeFavoriteFilmStock(std::string_view id) {
    filmStocks_.remove(id);
    changed(PreferenceField::gear);
}

void UserPreferences::setDefaultFilmStockId(std::optional<std::string> id) {
    filmStocks_.setDefaultId(std::move(id));
    changed(PreferenceField::gear);
}

void UserPreferences::setFaceGroupingEdits(FaceGroupingEdits edits) {
    if (assign(PreferenceField::faceGroupingEdits, faceGroupingEdits_, std::move(edits))) scheduleVaultSync();
}

bool UserPreferences::isMirrorEnabled() const { return defaults_.boolean(mirrorEnabledKey).value_or(false); }

std::optional<std::string> UserPreferences::mirrorFolderPath() const {
    return defaults_.string(mirrorFolderPathKey);
}

void UserPreferences::setMirrorFolder(std::string_view bookmarkBase64, std::string_view path) {
    defaults_.setString(mirrorFolderBookmarkKey, bookmarkBase64);
    defaults_.setString(mirrorFolderPathKey, path);
    defaults_.setBoolean(mirrorEnabledKey, true);
    refreshMirrorState();
    changed(PreferenceField::mirror);
}

void UserPreferences::stopMirroring() {
    defaults_.setBoolean(mirrorEnabledKey, false);
    refreshMirrorState();
    changed(PreferenceField::mirror);
}

void UserPreferences::refreshMirrorState() {
    MirrorState::Target target{.enabled = isMirrorEnabled()};
    if (const auto text = defaults_.string(mirrorFolderBookmarkKey)) target.bookmark = base64Decoded(*text);
    mirror_.setTarget(std::move(target));
}

void UserPreferences::loadFromVault() {
    if (const auto record = store_.load()) take(*record);
}

void UserPreferences::loadRestored() {
    auto record = store_.load();
    if (!record) return;
    cancelVaultSync();
    if (!record->artistName) record->artistName = "";
    if (!record->favoriteCameras) record->favoriteCameras.emplace();
    if (!record->favoriteFilmStocks) record->favoriteFilmStocks.emplace();
    cameras_.setDefaultId(std::nullopt);
    filmStocks_.setDefaultId(std::nullopt);
    if (!record->accentColorIsUserSet.value_or(false)) {
        defaults_.remove(accentColorKey);
        defaults_.remove(accentColorIsUserSetKey);
        assign(PreferenceField::accentColor, accentColor_, AccentColorOption::orange);
    }
    take(*record);
}

void UserPreferences::take(const VaultPreferences& record) {
    isLoadingFromVault_ = true;
    setFaceGroupingEdits(record.faceGroupingEdits.value_or(FaceGroupingEdits()));
    loadAccentColor(record);
    for (const auto& setting : settings::numbers) {
        const auto& value = record.*setting.inFile;
        if (value && setting.isAcceptable(*value)) set(setting, *value);
    }
    if (record.artistName) setArtistName(*record.artistName);
    for (const auto& setting : settings::switches) {
        if (!setting.inFile) continue;
        if (const auto& value = record.*setting.inFile) set(setting, *value);
    }
    takeGear(cameras_, record.favoriteCameras, record.defaultCameraId);
    takeGear(filmStocks_, record.favoriteFilmStocks, record.defaultFilmStockId);
    if (const auto& word = record.rollSortOption) {
        if (const auto option = fromRawValue<RollSortOption>(std::string_view(*word)))
            setRollSortOption(*option);
    }
    loadMirror(record);
    isLoadingFromVault_ = false;
}

template <class Item>
void UserPreferences::takeGear(FavoriteGearList<Item>& list, const std::optional<std::vector<Item>>& items,
                               const std::optional<std::string>& defaultId) {
    if (items) list.setItems(*items);
    if (defaultId) list.setDefaultId(defaultId);
    if (items || defaultId) notify(PreferenceField::gear);
}

void UserPreferences::loadAccentColor(const VaultPreferences& record) {
    if (!record.accentColorIsUserSet.value_or(false) || !record.accentColor) return;
    if (const auto color = fromRawValue<AccentColorOption>(std::string_view(*record.accentColor))) {
        setAccentColor(*color);
    }
}

void UserPreferences::loadMirror(const VaultPreferences& record) {
    if (record.mirrorEnabled) defaults_.setBoolean(mirrorEnabledKey, *record.mirrorEnabled);
    if (record.mirrorFolderBookmark)
        defaults_.setString(mirrorFolderBookmarkKey, *record.mirrorFolderBookmark);
    if (record.mirrorFolderPath) defaults_.setString(mirrorFolderPathKey, *record.mirrorFolderPath);
    refreshMirrorState();
    notify(PreferenceField::mirror);
}

void UserPreferences::scheduleVaultSync() {
    if (isLoadingFromVault_) return;  // what was just read must not be written back
    isUnsaved_ = true;
    syncAfter(syncDelay);
}

void UserPreferences::syncAfter(std::chrono::nanoseconds delay) {
    syncTask_.cancel();
    syncTask_ = queue_.postAfter(delay, [this, alive = lifetime_.weak()] {
        if (alive.lock() && !saveUnsaved()) syncAfter(retries_.next());
    });
}

bool UserPreferences::saveUnsaved() {
    if (!isUnsaved_) return true;
    if (!syncToVault()) return false;
    isUnsaved_ = false;
    retries_.reset();
    return true;
}

bool UserPreferences::syncToVault() {
    // The file's own values stay where there is no live counterpart: recommendations, slugs.
    VaultPreferences record = store_.load().value_or(VaultPreferences());
    record.faceGroupingEdits = faceGroupingEdits_;
    record.accentColor.reset();
    record.accentColorIsUserSet.reset();
    if (defaults_.boolean(accentColorIsUserSetKey).value_or(false)) {
        record.accentColor = std::string(rawValue(accentColor_));
        record.accentColorIsUserSet = true;
    }
    for (const auto& setting : settings::numbers) record.*setting.inFile = value(setting);
    for (const auto& setting : settings::switches) {
        if (setting.inFile) record.*setting.inFile = value(setting);
    }
    record.artistName = absentWhenEmpty(artistName());
    record.favoriteCameras = absentWhenEmpty(favoriteCameras());
    record.defaultCameraId = defaultCameraId();
    record.favoriteFilmStocks = absentWhenEmpty(favoriteFilmStocks());
    record.defaultFilmStockId = defaultFilmStockId();
    record.rollSortOption = std::string(rawValue(rollSortOption()));
    record.mirrorEnabled = isMirrorEnabled();
    record.mirrorFolderBookmark = defaults_.string(mirrorFolderBookmarkKey);
    record.mirrorFolderPath = mirrorFolderPath();
    if (const auto slugs = slugProvider ? slugProvider() : std::nullopt) {
        record.favoriteCameraSlugs = absentWhenEmpty(slugs->cameras);
        record.favoriteFilmSlugs = absentWhenEmpty(slugs->films);
    }
    return store_.save(record);
}

bool UserPreferences::flushVaultSync() {
    syncTask_.cancel();
    return saveUnsaved();
}

void UserPreferences::cancelVaultSync() {
    syncTask_.cancel();
    isUnsaved_ = false;
}

std::vector<std::pair<std::string, std::string>> UserPreferences::texts() const {
    std::vector<std::pair<std::string, std::string>> all{
        {std::string(accentColorKey), std::string(rawValue(accentColor_))},
        {std::string(textSizeKey), std::string(rawValue(textSize_))},
        {std::string(artistNameKey), artistName()},
        {std::string(languageModelURLKey), languageModelURL()},
        {std::string(languageModelNameKey), languageModelName()},
        {std::string(rollSortOptionKey), std::string(rawValue(rollSortOption()))},
        {std::string(defaultCameraIdKey), defaultCameraId().value_or("")},
        {std::string(defaultFilmStockIdKey), defaultFilmStockId().value_or("")},
    };
    for (const auto& setting : settings::numbers) {
        all.emplace_back(setting.key, shortestDecimal(value(setting)));
    }
    for (const auto& setting : settings::switches) {
        all.emplace_back(setting.key, value(setting) ? "true" : "false");
    }
    return all;
}

bool UserPreferences::setText(std::string_view key, std::string_view text) {
    for (const auto& setting : settings::numbers) {
        if (setting.key != key) continue;
        const auto number = parseDouble(text);
        if (!number || !setting.isAcceptable(*number)) return false;
        set(setting, *number);
        return true;
    }
    for (const auto& setting : settings::switches) {
        if (setting.key != key) continue;
        const auto boolean = booleanFromText(text);
        if (boolean) set(setting, *boolean);
        return boolean.has_value();
    }
    const auto id = text.empty() ? std::nullopt : std::optional(std::string(text));
    if (key == artistNameKey) {
        setArtistName(text);
    } else if (key == languageModelURLKey || key == languageModelNameKey) {
        defaults_.setString(key, text);
    } else if (key == defaultCameraIdKey) {
        setDefaultCameraId(id);
    } else if (key == defaultFilmStockIdKey) {
        setDefaultFilmStockId(id);
    } else if (const auto color = fromRawValue<AccentColorOption>(text); key == accentColorKey && color) {
        setAccentColor(*color);
    } else if (const auto size = fromRawValue<TextSizeOption>(text); key == textSizeKey && size) {
        setTextSize(*size);
    } else if (const auto sort = fromRawValue<RollSortOption>(text); key == rollSortOptionKey && sort) {
        setRollSortOption(*sort);
    } else {
        return false;
    }
    return true;
}

}  // namespace kelvaris

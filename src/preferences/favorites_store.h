#pragma once

#include <functional>
#include <string>
#include <vector>

#include "base/lifetime.h"
#include "base/main_queue.h"
#include "base/observable.h"
#include "preferences/preferences_store.h"

namespace kelvaris {

enum class FavoritesField { favoriteCameraSlugs, favoriteFilmSlugs };

/// The catalog entries that the user marked, in the order of marking. Apart from the user's own gear,
/// which UserPreferences keeps by make and model. Main thread.
class FavoritesStore : public Observable<FavoritesField> {
public:
    static constexpr std::chrono::milliseconds saveDelay{500};

    /// Reads both lists from the store. Store and queue must outlive the object.
    FavoritesStore(PreferencesStore& store, MainQueue& queue);

    /// Takes the lists over from the store again, as after a restore; a save that waits is forgotten.
    void reload();

    const std::vector<std::string>& favoriteCameraSlugs() const { return favoriteCameraSlugs_; }
    const std::vector<std::string>& favoriteFilmSlugs() const { return favoriteFilmSlugs_; }

    /// Takes out the first equal slug, or appends the slug when there was none; a save follows.
    void toggleFavoriteCamera(const std::string& slug);
    void toggleFavoriteFilm(const std::string& slug);

    /// Called half a second after the last change: UserPreferences::scheduleVaultSync.
    std::function<void()> onSave;

    /// Saves now when a save waits.
    void flushPendingSaves();
    /// Forgets a save that waits.
    void cancelPendingSave() { pendingSaveTask_.cancel(); }

private:
    void toggle(std::vector<std::string>& slugs, const std::string& slug, FavoritesField field);
    void scheduleSave();
    void save() const {
        if (onSave) onSave();
    }

    PreferencesStore& store_;
    MainQueue& queue_;
    std::vector<std::string> favoriteCameraSlugs_;
    std::vector<std::string> favoriteFilmSlugs_;
    TimerHandle pendingSaveTask_;
    Lifetime lifetime_;
};

}  // namespace kelvaris

#include "preferences/favorites_store.h"

#include <algorithm>

namespace kelvaris {

FavoritesStore::FavoritesStore(PreferencesStore& store, MainQueue& queue) : store_(store), queue_(queue) {
    reload();
}

void FavoritesStore::reload() {
    cancelPendingSave();
    const VaultPreferences record = store_.load().value_or(VaultPreferences());
    assign(FavoritesField::favoriteCameraSlugs, favoriteCameraSlugs_,
           record.favoriteCameraSlugs.value_or(std::vector<std::string>()));
    assign(FavoritesField::favoriteFilmSlugs, favoriteFilmSlugs_,
           record.favoriteFilmSlugs.value_or(std::vector<std::string>()));
}

void FavoritesStore::toggleFavoriteCamera(const std::string& slug) {
    toggle(favoriteCameraSlugs_, slug, FavoritesField::favoriteCameraSlugs);
}

void FavoritesStore::toggleFavoriteFilm(const std::string& slug) {
    toggle(favoriteFilmSlugs_, slug, FavoritesField::favoriteFilmSlugs);
}

void FavoritesStore::toggle(std::vector<std::string>& slugs, const std::string& slug, FavoritesField field) {
    const auto place = std::find(slugs.begin(), slugs.end(), slug);
    if (place == slugs.end()) {
        slugs.push_back(slug);
    } else {
        slugs.erase(place);
    }
    notify(field);
    scheduleSave();
}

void FavoritesStore::scheduleSave() {
    pendingSaveTask_.cancel();
    pendingSaveTask_ = queue_.postAfter(saveDelay, [this, alive = lifetime_.weak()] {
        if (alive.lock()) save();
    });
}

void FavoritesStore::flushPendingSaves() {
    if (!pendingSaveTask_.isPending()) return;
    pendingSaveTask_.cancel();
    save();
}

}  // namespace kelvaris

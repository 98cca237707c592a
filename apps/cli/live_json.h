#pragma once

#include <nlohmann/json.hpp>

#include "library/film_roll.h"
#include "library/photo_item.h"

namespace kelvaris::cli {

/// A photo's live fields by their names; absent values left out, dates as in the vault. Pixels are told by
/// their sizes, vectors by their lengths.
nlohmann::ordered_json liveJson(const PhotoItem& photo);

/// A roll's live fields by their names.
/// @param withPhotos adds "photos", one object a photo, and "removedPhotos" where some were taken out.
nlohmann::ordered_json liveJson(const FilmRoll& roll, bool withPhotos);

}  // namespace kelvaris::cli

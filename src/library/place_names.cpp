#include "library/place_names.h"

namespace kelvaris {
namespace {

bool lacksPlaceName(const PhotoItem& photo) {
    return photo.latitude() && photo.longitude() && !photo.placeName();
}

void lookUpFrom(const std::weak_ptr<FilmRoll>& weak, const std::shared_ptr<const PhotoList>& photos,
                std::size_t position) {
    const RollPointer roll = weak.lock();
    if (!roll) return;
    while (position < photos->size() && !lacksPlaceName(*(*photos)[position])) ++position;
    if (position == photos->size()) return;

    const PhotoPointer& photo = (*photos)[position];
    const double latitude = *photo->latitude();
    const double longitude = *photo->longitude();
    roll->services().geocoder.placeName(
        latitude, longitude, [weak, photos, position, latitude, longitude](std::optional<std::string> name) {
            PhotoItem& asked = *(*photos)[position];
            const bool stillThere = asked.latitude() == latitude && asked.longitude() == longitude;
            if (name && stillThere && !asked.placeName()) asked.setPlaceName(std::move(name));
            lookUpFrom(weak, photos, position + 1);
        });
}

}  // namespace

void lookUpPlaceNames(const RollPointer& roll) {
    lookUpFrom(roll, std::make_shared<const PhotoList>(roll->photos()), 0);
}

}  // namespace kelvaris

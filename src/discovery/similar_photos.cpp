#include "discovery/similar_photos.h"

#include <utility>

#include "discovery/roll_walk.h"

namespace kelvaris {
namespace {

FilmRollRef reference(const FilmRoll& roll) {
    FilmRollRef reference{.id = roll.id(), .name = roll.name(), .photos = {}};
    reference.photos.reserve(roll.photos().size());
    for (const PhotoPointer& photo : roll.photos()) {
        if (!photo->perceptualHash()) continue;  // nothing to compare: not worth copying
        reference.photos.push_back(
            {photo->id(), photo->filename(), photo->sourceURL(), photo->perceptualHash()});
    }
    return reference;
}

}  // namespace

void SimilarPhotos::findSimilarPhotos(const PhotoPointer& photo) {
    searchID_ = RunStamp::random();
    assign(SimilarPhotosField::similarPhotosResult, result_, std::nullopt);
    assign(SimilarPhotosField::isSearching, isSearching_, true);
    const auto rolls = std::make_shared<std::vector<FilmRollRef>>();
    walkRolls(
        main_, library_.rolls(),
        [this, rolls, searchID = searchID_, alive = lifetime_.weak()](const RollPointer& roll) {
            if (!alive.lock() || searchID != searchID_) return false;
            rolls->push_back(reference(*roll));
            return true;
        },
        [this, rolls, searchID = searchID_, source = photo->id(), hash = photo->perceptualHash().value_or(""),
         alive = lifetime_.weak()] {
            if (alive.lock() && searchID == searchID_) search(searchID, hash, source, std::move(*rolls));
        });
}

void SimilarPhotos::search(RunStamp searchID, std::string hash, PhotoID source,
                           std::vector<FilmRollRef> rolls) {
    queue_.add([this, searchID, hash = std::move(hash), source, rolls = std::move(rolls), &main = main_,
                alive = lifetime_.weak()] {
        auto similar = SimilarityService::findSimilar(hash, source, rolls, SimilarityService::threshold);
        main.post([this, searchID, similar = std::move(similar), alive] {
            if (!alive.lock() || searchID != searchID_) return;
            assign(SimilarPhotosField::similarPhotosResult, result_, similar);
            assign(SimilarPhotosField::isSearching, isSearching_, false);
        });
    });
}

void SimilarPhotos::navigateToSimilarPhoto(const SimilarPhoto& similar) {
    library_.navigate(similar.rollID, similar.photoID);
}

void SimilarPhotos::dismiss() {
    searchID_ = RunStamp::random();
    assign(SimilarPhotosField::similarPhotosResult, result_, std::nullopt);
    assign(SimilarPhotosField::isSearching, isSearching_, false);
}

}  // namespace kelvaris

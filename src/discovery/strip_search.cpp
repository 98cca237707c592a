#include "discovery/strip_search.h"

#include <algorithm>
#include <utility>

#include "library/roll_selection.h"

namespace kelvaris {

namespace {

SearchablePhoto searchable(const PhotoItem& photo) {
    return {.id = photo.id(),
            .clipEmbedding = photo.clipEmbedding(),
            .visionTags = photo.sharedVisionTags(),
            .labels = photo.labels(),
            .placeName = photo.placeName(),
            .dominantColors = photo.dominantColors()};
}

/// Compared field by field, so that nothing is copied only to be compared.
bool isUnchanged(const SearchablePhoto& taken, const PhotoItem& photo) {
    return taken.id == photo.id() && taken.clipEmbedding == photo.clipEmbedding() &&
           taken.visionTags == photo.sharedVisionTags() && taken.labels == photo.labels() &&
           taken.placeName == photo.placeName() && taken.dominantColors == photo.dominantColors();
}

}  // namespace

void SearchEnvironment::ensureEmbeddings(const RollPointer& roll, const PhotoList& photos) const {
    if (filler == nullptr) return;
    filler->ensureCLIPEmbeddings(photos, [weak = std::weak_ptr(roll), save = scheduleSave] {
        const RollPointer live = weak.lock();
        if (live && save) save(*live);
    });
}

SearchableRollPointer SearchableRolls::of(const FilmRoll& roll, const PhotoList& photos) {
    SearchableRollPointer& taken = taken_[roll.id()];
    const bool isSame = taken && taken->context == roll.searchContext() &&
                        std::equal(photos.begin(), photos.end(), taken->photos.begin(), taken->photos.end(),
                                   [](const PhotoPointer& photo, const SearchablePhoto& value) {
                                       return isUnchanged(value, *photo);
                                   });
    if (isSame) return taken;
    SearchableRoll values{.id = roll.id(), .context = roll.searchContext(), .photos = {}};
    values.photos.reserve(photos.size());
    for (const PhotoPointer& photo : photos) values.photos.push_back(searchable(*photo));
    taken = std::make_shared<const SearchableRoll>(std::move(values));
    return taken;
}

void SearchableRolls::keepOnly(const std::vector<RollPointer>& rolls) {
    std::unordered_map<RollID, SearchableRollPointer> kept;
    for (const RollPointer& roll : rolls) {
        const auto found = taken_.find(roll->id());
        if (found != taken_.end()) kept.insert(std::move(*found));
    }
    taken_ = std::move(kept);
}

StripSearch::StripSearch(SearchEnvironment environment)
    : environment_(environment),
      service_(std::make_shared<SearchService>(environment.language, environment.words,
                                               environment.textEmbedder)) {}

void StripSearch::setRoll(RollPointer roll, std::string initialSearchText) {
    roll_ = std::move(roll);
    debounceTask_.cancel();
    assign(StripSearchField::searchText, searchText_, std::string());
    assign(StripSearchField::debouncedSearchText, debouncedSearchText_, std::string());
    recomputeDisplayedPhotos();
    setSearchText(std::move(initialSearchText));
}

void StripSearch::setSearchText(std::string text) {
    if (!assign(StripSearchField::searchText, searchText_, std::move(text))) return;
    debounceTask_.cancel();
    if (searchText_.empty()) {
        searchChanged();
        return;
    }
    debounceTask_ = environment_.main.postAfter(debounce, [this, alive = lifetime_.weak()] {
        if (alive.lock()) searchChanged();
    });
}

void StripSearch::setRotationReviewOnly(bool value) {
    if (assign(StripSearchField::rotationReviewOnly, rotationReviewOnly_, value)) recomputeDisplayedPhotos();
}

void StripSearch::setOrder(SearchOrder order) {
    if (std::exchange(order_, order) != order) recomputeDisplayedPhotos();
}

void StripSearch::searchChanged() {
    if (assign(StripSearchField::debouncedSearchText, debouncedSearchText_, searchText_)) recompute(true);
}

PhotoList StripSearch::candidates() const {
    if (!roll_) return {};
    PhotoList photos = roll_->displayPhotos();
    if (rotationReviewOnly_) {
        std::erase_if(photos, [](const PhotoPointer& photo) { return !photo->needsRotationReview(); });
    }
    return photos;
}

void StripSearch::recomputeDisplayedPhotos() { recompute(false); }

void StripSearch::recompute(bool selects) {
    if (debouncedSearchText_.empty() || !roll_) {
        awaited_.reset();
        show(candidates(), selects);
        return;
    }
    const auto query = SearchQuery::from(debouncedSearchText_, environment_.language);
    if (query.isEmpty() || !environment_.hasTextEmbedder()) {
        searchCandidates(query, {}, selects);
    } else if (textVector_ && textVector_->first == query.typed) {
        searchCandidates(query, textVector_->second, selects);
    } else {
        awaitTextVector(query, selects);
    }
}

/// The model runs on a worker; the pass over the roll is a matter of milliseconds and stays on the main
/// thread.
void StripSearch::awaitTextVector(const SearchQuery& query, bool selects) {
    if (awaited_ && awaited_->typed == query.typed) {
        // Analysis changes the roll many times a second: each change must not begin the wait anew.
        awaited_->selects = awaited_->selects || selects;
        return;
    }
    awaited_ = Awaited{RunStamp::random(), query.typed, selects};
    environment_.queue.add([this, query, id = awaited_->id, service = service_, &main = environment_.main,
                            alive = lifetime_.weak()] {
        main.post([this, query, id, vector = service->textVector(query), alive] {
            if (!alive.lock() || !awaited_ || awaited_->id != id) return;
            textVector_ = {query.typed, vector};
            searchCandidates(query, vector, awaited_->selects);
        });
    });
}

void StripSearch::searchCandidates(const SearchQuery& query, const std::vector<float>& textVector,
                                   bool selects) {
    awaited_.reset();
    const PhotoList photos = candidates();
    PhotoList found;
    if (!query.isEmpty()) {
        environment_.ensureEmbeddings(roll_, photos);
        values_.keepOnly({roll_});
        service_->update({values_.of(*roll_, photos)});
        service_->search(query, textVector, order_, [&](std::size_t, const std::vector<SearchHit>& hits) {
            for (const SearchHit& hit : hits) found.push_back(photos[hit.position]);
            return true;
        });
    }
    show(std::move(found), selects);
}

void StripSearch::show(PhotoList photos, bool selects) {
    assign(StripSearchField::displayedPhotos, displayedPhotos_, std::move(photos));
    if (!selects || !roll_ || !roll_->selectedPhoto()) return;
    const auto& shown = displayedPhotos_;
    if (std::find(shown.begin(), shown.end(), roll_->selectedPhoto()) != shown.end()) return;
    selectPhoto(*roll_, shown.empty() ? nullptr : shown.front());
}

}  // namespace kelvaris

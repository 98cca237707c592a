#include "discovery/roll_list_search.h"

#include <algorithm>
#include <utility>

#include "discovery/discovery_progress.h"
#include "discovery/roll_walk.h"

namespace kelvaris {
namespace {

PhotoList searchedPhotos(const FilmRoll& roll) {
    PhotoList photos = roll.photos();
    if (roll.hideFlagged()) {
        std::erase_if(photos,
                      [](const PhotoPointer& photo) { return !photo->sortedQualityLabels().empty(); });
    }
    return photos;
}

}  // namespace

RollListSearch::RollListSearch(DiscoveryLibrary& library, SearchEnvironment environment)
    : library_(library), environment_(environment), shared_(std::make_shared<Shared>(environment)) {}

RollListSearch::~RollListSearch() { cancel(); }

void RollListSearch::cancel() {
    searchID_ = RunStamp::random();
    if (cancellation_) cancellation_->cancel();
}

void RollListSearch::setSearchText(std::string text) {
    if (!assign(RollListSearchField::searchText, searchText_, std::move(text))) return;
    debounceTask_.cancel();
    if (searchText_.empty()) {
        cancel();
        rollMatchCounts_.clear();
        rollMatchPhotos_.clear();
        assign(RollListSearchField::debouncedSearchText, debouncedSearchText_, std::string());
        assign(RollListSearchField::isSearching, isSearching_, false);
        notify(RollListSearchField::rollMatches);
        return;
    }
    debounceTask_ = environment_.main.postAfter(debounce, [this, alive = lifetime_.weak()] {
        if (!alive.lock()) return;
        if (assign(RollListSearchField::debouncedSearchText, debouncedSearchText_, searchText_)) {
            performSearch(debouncedSearchText_);
        }
    });
}

void RollListSearch::performSearch(const std::string& typed, std::optional<RollID> only) {
    cancel();
    cancellation_ = std::make_shared<AnalysisCancellation>();
    assign(RollListSearchField::isSearching, isSearching_, true);
    const auto query = SearchQuery::from(typed, environment_.language);
    if (query.isEmpty()) {
        publish(searchID_, {}, true, true);
        return;
    }
    std::vector<RollPointer> searched = library_.rolls();
    if (only) std::erase_if(searched, [&](const RollPointer& roll) { return roll->id() != *only; });
    values_.keepOnly(searched);
    const auto rolls = std::make_shared<std::vector<SearchableRollPointer>>();
    walkRolls(
        environment_.main, searched,
        [this, rolls, searchID = searchID_, alive = lifetime_.weak()](const RollPointer& roll) {
            if (!alive.lock() || searchID != searchID_) return false;
            const PhotoList photos = searchedPhotos(*roll);
            environment_.ensureEmbeddings(roll, photos);
            rolls->push_back(values_.of(*roll, photos));
            return true;
        },
        [this, rolls, query, searchID = searchID_, alive = lifetime_.weak()] {
            if (alive.lock() && searchID == searchID_) run(searchID, query, std::move(*rolls));
        });
}

/// Collects the worker's results, and posts them when they are many or the last ones are a while ago.
class RollListSearch::Batches {
public:
    using Post = std::function<void(std::vector<RollMatch>, bool isFirst, bool isLast)>;

    Batches(const MonotonicClock& clock, Post post) : pacer_(clock), post_(std::move(post)) {
        pacer_.isDue();  // the first batch waits an interval too: most searches end before
    }

    void add(RollMatch match) {
        photoCount_ += match.photos.size();
        batch_.push_back(std::move(match));
        if (photoCount_ >= photoLimit || pacer_.isDue()) hand(false);
    }
    void finish() { hand(true); }

private:
    static constexpr std::size_t photoLimit = 8000;  ///< what the main thread takes over in a turn

    void hand(bool isLast) {
        post_(std::exchange(batch_, {}), std::exchange(isFirst_, false), isLast);
        photoCount_ = 0;
    }

    BatchPacer pacer_;
    Post post_;
    std::vector<RollMatch> batch_;
    std::size_t photoCount_ = 0;
    bool isFirst_ = true;
};

void RollListSearch::run(RunStamp searchID, const SearchQuery& query,
                         std::vector<SearchableRollPointer> rolls) {
    environment_.queue.add([this, searchID, query, order = order_, hasModel = environment_.hasTextEmbedder(),
                            rolls = std::move(rolls), shared = shared_, cancellation = cancellation_,
                            &main = environment_.main, alive = lifetime_.weak()] {
        const std::lock_guard lock(shared->mutex);
        if (cancellation->isCancelled()) return;
        SearchService& service = shared->service;
        service.update(rolls);
        const auto vector = hasModel ? service.textVector(query) : std::vector<float>();
        Batches batches(main.clock(), [&](std::vector<RollMatch> batch, bool isFirst, bool isLast) {
            main.post([this, alive, searchID, batch = std::move(batch), isFirst, isLast] {
                if (alive.lock()) publish(searchID, batch, isFirst, isLast);
            });
        });
        service.search(query, vector, order, [&](std::size_t roll, const std::vector<SearchHit>& hits) {
            if (cancellation->isCancelled()) return false;
            RollMatch match{.roll = service.index().rollID(roll), .photos = {}};
            match.photos.reserve(hits.size());
            for (const SearchHit& hit : hits)
                match.photos.push_back(service.index().photoID(roll, hit.position));
            batches.add(std::move(match));
            return true;
        });
        if (!cancellation->isCancelled()) batches.finish();
    });
}

void RollListSearch::publish(RunStamp searchID, const std::vector<RollMatch>& batch, bool isFirst,
                             bool isLast) {
    if (searchID != searchID_) return;
    if (isFirst) {
        rollMatchCounts_.clear();
        rollMatchPhotos_.clear();
        thumbnailsLeft_ = thumbnailLimit;
    }
    std::unordered_map<RollID, RollPointer> live;
    for (const RollPointer& roll : library_.rolls()) live.emplace(roll->id(), roll);
    for (const RollMatch& match : batch) {
        const auto roll = live.find(match.roll);
        if (roll == live.end()) continue;
        std::unordered_map<PhotoID, PhotoPointer> photos;
        for (const PhotoPointer& photo : roll->second->photos()) photos.emplace(photo->id(), photo);
        PhotoList found;
        for (const PhotoID id : match.photos) {
            if (const auto photo = photos.find(id); photo != photos.end()) found.push_back(photo->second);
        }
        if (found.empty()) continue;
        loadThumbnails(*roll->second, found);
        rollMatchCounts_[match.roll] = static_cast<int>(found.size());
        rollMatchPhotos_[match.roll] = std::move(found);
    }
    notify(RollListSearchField::rollMatches);
    if (isLast) assign(RollListSearchField::isSearching, isSearching_, false);
}

void RollListSearch::loadThumbnails(const FilmRoll& roll, const PhotoList& photos) {
    const std::size_t count = std::min(photos.size(), thumbnailsLeft_);
    if (count == 0) return;
    thumbnailsLeft_ -= count;
    library_.loadThumbnails(roll, {photos.begin(), photos.begin() + static_cast<std::ptrdiff_t>(count)});
}

}  // namespace kelvaris

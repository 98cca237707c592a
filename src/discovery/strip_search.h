#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

#include "analysis/clip_embedding_filler.h"
#include "base/lifetime.h"
#include "base/observable.h"
#include "base/operation_queue.h"
#include "discovery/search_service.h"
#include "library/film_roll.h"

namespace kelvaris {

/// What both search fields work with. Everything outlives them, and what workers touch their work.
struct SearchEnvironment {
    MainQueue& main;
    OperationQueue& queue;  ///< work that the user waits for
    const Language& language;
    const WordSimilarity* words = nullptr;  ///< may be null
    TextEmbedder* textEmbedder = nullptr;   ///< may be null
    ClipEmbeddingFiller* filler = nullptr;  ///< may be null
    /// Called when vectors of a roll's photos were made; may be empty.
    std::function<void(FilmRoll&)> scheduleSave;

    /// Whether asking for a query's CLIP vector can give one.
    bool hasTextEmbedder() const { return textEmbedder != nullptr && textEmbedder->isEnabled(); }
    /// Has the vectors made, for later searches, that photos of the roll lack.
    void ensureEmbeddings(const RollPointer& roll, const PhotoList& photos) const;
};

/// Takes from rolls the values that the search reads, and gives the same ones again while nothing of
/// them has changed: between two keystrokes a library of half a million photos stays as it is. Main thread.
class SearchableRolls {
public:
    /// @param photos those of the roll that are to be searched.
    SearchableRollPointer of(const FilmRoll& roll, const PhotoList& photos);
    /// Lets go of all other rolls.
    void keepOnly(const std::vector<RollPointer>& rolls);

private:
    std::unordered_map<RollID, SearchableRollPointer> taken_;
};

enum class StripSearchField { searchText, debouncedSearchText, rotationReviewOnly, displayedPhotos };

/// The search field over the photos of the open roll: which photos the strip shows. Main thread.
class StripSearch : public Observable<StripSearchField> {
public:
    static constexpr std::chrono::milliseconds debounce{50};

    explicit StripSearch(SearchEnvironment environment);

    /// Shows another roll, or none: at first all of it, and what the text finds once it has rested.
    void setRoll(RollPointer roll, std::string initialSearchText = {});

    const std::string& searchText() const { return searchText_; }
    /// Typing. An empty text acts at once, any other after the debounce.
    void setSearchText(std::string text);
    const std::string& debouncedSearchText() const { return debouncedSearchText_; }
    bool rotationReviewOnly() const { return rotationReviewOnly_; }
    void setRotationReviewOnly(bool value);
    SearchOrder order() const { return order_; }
    void setOrder(SearchOrder order);

    /// In the roll's order without a search, in result order with one.
    const PhotoList& displayedPhotos() const { return displayedPhotos_; }
    /// To be called when the roll's photos, their order or what is hidden has changed.
    void recomputeDisplayedPhotos();

private:
    void searchChanged();
    PhotoList candidates() const;
    /// @param selects whether a selection that is no longer shown moves to the first photo shown.
    void recompute(bool selects);
    void awaitTextVector(const SearchQuery& query, bool selects);
    void searchCandidates(const SearchQuery& query, const std::vector<float>& textVector, bool selects);
    void show(PhotoList photos, bool selects);

    /// A query whose vector a worker is making.
    struct Awaited {
        RunStamp id;
        std::string typed;
        bool selects;
    };

    SearchEnvironment environment_;
    std::shared_ptr<SearchService> service_;
    SearchableRolls values_;
    RollPointer roll_;
    std::string searchText_;
    std::string debouncedSearchText_;
    bool rotationReviewOnly_ = false;
    SearchOrder order_ = SearchOrder::score;
    PhotoList displayedPhotos_;
    std::optional<Awaited> awaited_;
    std::optional<std::pair<std::string, std::vector<float>>> textVector_;  ///< of the last query
    TimerHandle debounceTask_;
    Lifetime lifetime_;
};

}  // namespace kelvaris

#pragma once

#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

#include "analysis/analysis_cancellation.h"
#include "discovery/discovery_library.h"
#include "discovery/strip_search.h"

namespace kelvaris {

enum class RollListSearchField {
    searchText,
    debouncedSearchText,
    isSearching,
    rollMatches,  ///< rollMatchCounts and rollMatchPhotos
};

/// The search field over the list of rolls: which rolls hold photos that answer the query. Results come
/// in batches while the search runs. Main thread.
class RollListSearch : public Observable<RollListSearchField> {
public:
    static constexpr std::chrono::milliseconds debounce{150};
    /// How many found photos get their thumbnails: a word may find a whole library, whose pictures would
    /// fill the memory.
    static constexpr std::size_t thumbnailLimit = 500;

    RollListSearch(DiscoveryLibrary& library, SearchEnvironment environment);
    ~RollListSearch();

    const std::string& searchText() const { return searchText_; }
    /// Typing. An empty text clears everything at once, any other acts after the debounce.
    void setSearchText(std::string text);
    const std::string& debouncedSearchText() const { return debouncedSearchText_; }
    SearchOrder order() const { return order_; }
    /// Counts from the next search on.
    void setOrder(SearchOrder order) { order_ = order; }

    bool isSearching() const { return isSearching_; }
    /// Rolls without a result have no entry.
    const std::unordered_map<RollID, int>& rollMatchCounts() const { return rollMatchCounts_; }
    /// In result order.
    const std::unordered_map<RollID, PhotoList>& rollMatchPhotos() const { return rollMatchPhotos_; }

    /// Searches now; a running search is replaced, its results stay until the new ones come.
    /// @param only the one roll to look through.
    void performSearch(const std::string& query, std::optional<RollID> only = std::nullopt);

private:
    /// What workers share: the index is held by one of them at a time.
    struct Shared {
        explicit Shared(const SearchEnvironment& environment)
            : service(environment.language, environment.words, environment.textEmbedder) {}
        std::mutex mutex;
        SearchService service;
    };
    struct RollMatch {
        RollID roll;
        std::vector<PhotoID> photos;
    };
    class Batches;

    void run(RunStamp searchID, const SearchQuery& query, std::vector<SearchableRollPointer> rolls);
    void publish(RunStamp searchID, const std::vector<RollMatch>& batch, bool isFirst, bool isLast);
    void loadThumbnails(const FilmRoll& roll, const PhotoList& photos);
    void cancel();

    DiscoveryLibrary& library_;
    SearchEnvironment environment_;
    std::shared_ptr<Shared> shared_;
    SearchableRolls values_;
    std::string searchText_;
    std::string debouncedSearchText_;
    SearchOrder order_ = SearchOrder::score;
    bool isSearching_ = false;
    std::unordered_map<RollID, int> rollMatchCounts_;
    std::unordered_map<RollID, PhotoList> rollMatchPhotos_;
    std::size_t thumbnailsLeft_ = 0;
    RunStamp searchID_;
    AnalysisCancellationPointer cancellation_;
    TimerHandle debounceTask_;
    Lifetime lifetime_;
};

}  // namespace kelvaris

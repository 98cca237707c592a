#pragma once

#include <optional>
#include <vector>

#include "base/lifetime.h"
#include "base/main_queue.h"
#include "base/observable.h"
#include "base/operation_queue.h"
#include "discovery/discovery_library.h"
#include "discovery/similarity_service.h"

namespace kelvaris {

enum class SimilarPhotosField { similarPhotosResult, isSearching };

/// "Find Similar Photos": the near-duplicates of a photo across all rolls. Main thread.
class SimilarPhotos : public Observable<SimilarPhotosField> {
public:
    /// What a finished search without a result says.
    static constexpr std::string_view emptyText = "No similar photos found across your rolls.";

    SimilarPhotos(DiscoveryLibrary& library, OperationQueue& queue, MainQueue& main)
        : library_(library), queue_(queue), main_(main) {}

    /// Starts a search; a running one is replaced.
    void findSimilarPhotos(const PhotoPointer& photo);
    /// Nothing while no search has ended since the last dismissal.
    const std::optional<std::vector<SimilarPhoto>>& similarPhotosResult() const { return result_; }
    bool isSearching() const { return isSearching_; }
    /// Moves to the result's roll and photo; the result stays.
    void navigateToSimilarPhoto(const SimilarPhoto& similar);
    void dismiss();

private:
    void search(RunStamp searchID, std::string hash, PhotoID source, std::vector<FilmRollRef> rolls);

    DiscoveryLibrary& library_;
    OperationQueue& queue_;
    MainQueue& main_;
    RunStamp searchID_;
    std::optional<std::vector<SimilarPhoto>> result_;
    bool isSearching_ = false;
    Lifetime lifetime_;
};

}  // namespace kelvaris

#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "base/lifetime.h"
#include "base/observable.h"
#include "base/operation_queue.h"
#include "discovery/discovery_library.h"
#include "discovery/scene_similarity.h"

namespace kelvaris {

/// What a running or finished search for similar scenes shows.
struct SceneSearchState {
    DiscoveryProgress progress;
    RunStamp searchID;
    PhotoPointer sourcePhoto;
    std::optional<RollID> originalRollID;  ///< the roll to return to
    std::vector<SceneMatch> matches;       ///< most similar first
    bool isSearching = false;
    std::optional<PhotoID> selectedMatchID;

    /// What stands over the list: that it is searching, that nothing was found, or nothing.
    std::string statusText() const;
    /// How many photos failed, in a sentence; empty when none did.
    std::string failureText() const;
};

enum class SceneSearchField { sceneSearchResult };

/// "Find Similar Scenes": streams the photos of all rolls that resemble one. Main thread.
class SceneSearch : public Observable<SceneSearchField> {
public:
    static constexpr std::string_view modelMissingText = "Download Smart Search model in Settings > Models";
    static constexpr std::string_view embeddingFailedText = "Couldn't analyze this photo for scene search";

    /// All must outlive the object, embedder and queue also the work on the queue.
    SceneSearch(DiscoveryLibrary& library, ImageEmbedder& embedder, OperationQueue& queue, MainQueue& main);
    ~SceneSearch();

    /// Gives the photo a vector when it has none, then searches. A running preparation and, once the
    /// vector is there, a running search are replaced.
    /// @param onFailed gets modelMissingText or embeddingFailedText; no search starts then.
    void findSimilarScenes(const PhotoPointer& photo, std::function<void(std::string_view)> onFailed);

    /// Nothing while no search shows.
    const std::optional<SceneSearchState>& sceneSearchResult() const { return result_; }
    /// Records the choice and goes to its photo; the search stays open.
    void selectSceneMatch(const SceneMatch& match);
    /// Ends the search and goes back to where it began.
    void dismissSceneSearch();

private:
    using FailureReport = std::function<void(std::string_view)>;

    void prepared(const PhotoSnapshot& snapshot, bool isLoaded, std::optional<std::vector<float>> embedding,
                  const FailureReport& onFailed);
    void startSceneSearch(const PhotoPointer& photo, const PhotoItem::Embedding& embedding,
                          std::optional<RollID> currentRollID);
    void run(RunStamp searchID, PhotoID source, const PhotoItem::Embedding& embedding, SceneRolls rolls);
    void storeFresh(const std::vector<SceneSimilarityService::FreshEmbedding>& batch);
    bool isCurrent(RunStamp searchID) const { return result_ && result_->searchID == searchID; }
    void update(std::vector<SceneMatch> matches, DiscoveryProgress progress, bool isSearching);
    void supersedePreparation();
    void cancelSearch();

    DiscoveryLibrary& library_;
    ImageEmbedder& embedder_;
    OperationQueue& queue_;
    MainQueue& main_;
    RunStamp scenePreparationID_;
    AnalysisCancellationPointer preparationCancellation_;
    std::optional<SceneSearchState> result_;
    AnalysisCancellationPointer sceneSearchCancellation_;
    Lifetime lifetime_;
};

}  // namespace kelvaris

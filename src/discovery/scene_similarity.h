#pragma once

#include <functional>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include "analysis/analysis_cancellation.h"
#include "analysis/embedding_ports.h"
#include "analysis/photo_snapshot.h"
#include "base/main_queue.h"
#include "discovery/match_walk.h"
#include "library/film_roll.h"

namespace kelvaris {

/// A value copy of a roll for the search for similar scenes.
struct SceneRollRef {
    struct ScenePhotoRef {
        PhotoSnapshot snapshot;
        PhotoItem::Embedding clipEmbedding;

        /// Whether the photo still has the rotation, generation and file of the copy. Main thread.
        bool isCurrent() const { return snapshot.isCurrent(); }
    };

    RollID id;
    std::string name;
    std::vector<ScenePhotoRef> photos;

    static SceneRollRef of(const FilmRoll& roll);
};

/// One photo whose picture lies near the source's.
struct SceneMatch : PhotoMatch {
    bool operator==(const SceneMatch&) const = default;
};

using SceneRolls = std::shared_ptr<const std::vector<SceneRollRef>>;

/// Walks rolls for photos whose CLIP vector is near a given one.
class SceneSimilarityService {
public:
    static constexpr float threshold = 0.7F;
    static constexpr float strongThreshold = 0.78F;
    static constexpr std::size_t possibleLimit = 8;

    /// Gives the vector of a file, as ImageEmbedder::imageEmbedding does. Called on a worker.
    using ImageEmbeddingProvider = std::function<EmbeddingResult(const Path&, RotationAngle)>;

    /// A vector that was made on the way.
    struct FreshEmbedding {
        RollID rollID;
        PhotoSnapshot snapshot;
        PhotoItem::Embedding embedding;
    };

    using Callbacks = MatchWalkCallbacks<SceneMatch, FreshEmbedding>;

    /// The main queue must outlive the walks.
    SceneSimilarityService(ImageEmbeddingProvider imageEmbeddingProvider, MainQueue& main)
        : imageEmbeddingProvider_(std::move(imageEmbeddingProvider)), main_(main) {}

    /// Walks as walkForMatches does. Photos without a vector get one on the way.
    void findSimilarScenes(std::span<const float> embedding, PhotoID excludingPhotoID,
                           const SceneRolls& rolls, float threshold, const Callbacks& callbacks,
                           const AnalysisCancellation& cancellation) const;

    /// What the results screen shows: all strong matches, then the first few others, or all of them.
    static std::vector<SceneMatch> visibleMatches(std::span<const SceneMatch> matches, bool showAllPossible);

private:
    ImageEmbeddingProvider imageEmbeddingProvider_;
    MainQueue& main_;
};

}  // namespace kelvaris

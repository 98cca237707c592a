#include "discovery/scene_similarity.h"

#include <utility>

#include "base/vector_math.h"

namespace kelvaris {

SceneRollRef SceneRollRef::of(const FilmRoll& roll) {
    SceneRollRef reference{.id = roll.id(), .name = roll.name(), .photos = {}};
    reference.photos.reserve(roll.photos().size());
    for (const PhotoPointer& photo : roll.photos()) {
        if (photo->isMissing() && !photo->clipEmbedding()) continue;  // it cannot be made now
        reference.photos.push_back({PhotoSnapshot::of(photo), photo->clipEmbedding()});
    }
    return reference;
}

void SceneSimilarityService::findSimilarScenes(std::span<const float> embedding, PhotoID excludingPhotoID,
                                               const SceneRolls& rolls, float threshold,
                                               const Callbacks& callbacks,
                                               const AnalysisCancellation& cancellation) const {
    const auto visit = [&](const SceneRollRef& roll, const SceneRollRef::ScenePhotoRef& photo) {
        const PhotoSnapshot& snapshot = photo.snapshot;
        VisitedPhoto<SceneMatch, FreshEmbedding> visited;
        PhotoItem::Embedding vector = photo.clipEmbedding;
        if (!vector) {
            auto result = imageEmbeddingProvider_(snapshot.sourceURL, snapshot.rotation);
            visited.isReadable = result && *result;
            if (!visited.isReadable) return visited;
            vector = std::move(**result);
            visited.fresh = FreshEmbedding{roll.id, snapshot, vector};
        }
        const float similarity = cosineSimilarity(embedding, *vector);
        if (similarity >= threshold) visited.match = SceneMatch{matchOf(roll, snapshot, similarity)};
        return visited;
    };
    walkForMatches(*rolls, excludingPhotoID, callbacks, cancellation, main_, visit);
}

std::vector<SceneMatch> SceneSimilarityService::visibleMatches(std::span<const SceneMatch> matches,
                                                               bool showAllPossible) {
    return visibleOf(matches, strongThreshold, possibleLimit, showAllPossible);
}

}  // namespace kelvaris

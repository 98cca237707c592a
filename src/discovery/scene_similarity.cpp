#include "discovery/scene_similarity.h"

#include <utility>

#include "base/vector_math.h"
#include "discovery/match_list.h"

namespace kelvaris {

SceneRollRef SceneRollRef::of(const FilmRoll& roll) {
    SceneRollRef reference{.id = roll.id(), .name = roll.name(), .photos = {}};
    reference.photos.reserve(roll.photos().size());
    for (const PhotoPointer& photo : roll.photos()) {
        reference.photos.push_back({PhotoSnapshot::of(photo), photo->clipEmbedding()});
    }
    return reference;
}

void SceneSimilarityService::findSimilarScenes(std::span<const float> embedding, PhotoID excludingPhotoID,
                                               const SceneRolls& rolls, float threshold,
                                               const Callbacks& callbacks,
                                               const AnalysisCancellation& cancellation) const {
    DiscoveryProgress progress;
    for (const SceneRollRef& roll : *rolls) {
        for (const auto& photo : roll.photos) progress.total += photo.snapshot.id == excludingPhotoID ? 0 : 1;
    }
    std::vector<SceneMatch> matches;
    std::vector<FreshEmbedding> fresh;
    BatchPacer pacer(main_.clock());
    const auto handFresh = [&] {
        if (fresh.empty()) return;
        main_.post(
            [report = callbacks.onEmbeddingComputed, batch = std::exchange(fresh, {})] { report(batch); });
    };
    for (const SceneRollRef& roll : *rolls) {
        for (const auto& photo : roll.photos) {
            if (photo.snapshot.id == excludingPhotoID) continue;
            if (cancellation.isCancelled()) {
                handFresh();  // they are right, and a later search uses them
                return;
            }
            ++progress.processed;
            PhotoItem::Embedding vector = photo.clipEmbedding;
            if (!vector) {
                auto result = imageEmbeddingProvider_(photo.snapshot.sourceURL, photo.snapshot.rotation);
                if (!result || !*result) {
                    ++progress.failed;
                    continue;
                }
                vector = std::move(**result);
                fresh.push_back({roll.id, photo.snapshot, *vector});
            }
            const float similarity = cosineSimilarity(embedding, *vector);
            if (similarity >= threshold) {
                matches.push_back({roll.id, roll.name, photo.snapshot.id, photo.snapshot.filename,
                                   photo.snapshot.sourceURL, similarity, photo.snapshot.rotation});
            }
        }
        if (!pacer.isDue()) continue;
        handFresh();
        sortBySimilarity(matches);
        main_.post([report = callbacks.onProgressUpdate, matches, progress] { report(matches, progress); });
    }
    handFresh();
    sortBySimilarity(matches);
    main_.post([report = callbacks.onComplete, matches = std::move(matches), progress] {
        report(matches, progress);
    });
}

std::vector<SceneMatch> SceneSimilarityService::visibleMatches(std::span<const SceneMatch> matches,
                                                               bool showAllPossible) {
    return visibleOf(matches, strongThreshold, possibleLimit, showAllPossible);
}

}  // namespace kelvaris

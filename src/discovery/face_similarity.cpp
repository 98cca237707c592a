#include "discovery/face_similarity.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "analysis/face_vectors.h"
#include "base/vector_math.h"
#include "discovery/match_list.h"

namespace kelvaris {

PhotoPointer FaceRollRef::FacePhotoRef::current() const {
    PhotoPointer photo = snapshot.current();
    if (!photo || photo->rotation() != snapshot.rotation || photo->faceRegions() != snapshot.faceRegions ||
        photo->faceAnalysisStamp() != snapshot.faceAnalysisStamp) {
        return nullptr;
    }
    return photo;
}

bool FaceRollRef::FacePhotoRef::hasCurrentAnalysis() const {
    const auto& regions = snapshot.faceRegions;
    if (!regions || needsEmbeddings(*regions)) return false;
    const auto& stamp = snapshot.faceAnalysisStamp;
    if (!stamp) return !regions->empty();
    return stamp->version == currentFaceAnalysisStamp.version &&
           stamp->maxPixelSize >= currentFaceAnalysisStamp.maxPixelSize && stamp->includesEmbeddings;
}

FaceRollRef FaceRollRef::of(const FilmRoll& roll) {
    FaceRollRef reference{.id = roll.id(), .name = roll.name(), .photos = {}};
    reference.photos.reserve(roll.photos().size());
    for (const PhotoPointer& photo : roll.photos()) reference.photos.push_back({PhotoSnapshot::of(photo)});
    return reference;
}

void FaceSimilarityService::findSimilarFaces(std::span<const float> embedding, PhotoID excludingPhotoID,
                                             const FaceRolls& rolls, float threshold,
                                             const Callbacks& callbacks,
                                             const AnalysisCancellation& cancellation) const {
    DiscoveryProgress progress;
    for (const FaceRollRef& roll : *rolls) {
        for (const auto& photo : roll.photos) progress.total += photo.snapshot.id == excludingPhotoID ? 0 : 1;
    }
    std::vector<FaceMatch> matches;
    std::vector<FreshAnalysis> fresh;
    BatchPacer pacer(main_.clock());
    const auto handFresh = [&] {
        if (fresh.empty()) return;
        main_.post([report = callbacks.onFreshAnalysis, batch = std::exchange(fresh, {})] { report(batch); });
    };
    for (const FaceRollRef& roll : *rolls) {
        for (const auto& photo : roll.photos) {
            if (photo.snapshot.id == excludingPhotoID) continue;
            if (cancellation.isCancelled()) {
                handFresh();
                return;
            }
            ++progress.processed;
            PhotoItem::FaceRegions regions = photo.snapshot.faceRegions;
            if (!photo.hasCurrentAnalysis()) {
                auto found = faceRegionsProvider_(photo.snapshot.sourceURL, photo.snapshot.rotation);
                if (!found) {
                    ++progress.failed;
                    continue;
                }
                regions = std::move(*found);
                fresh.push_back({roll.id, photo, *regions});
            }
            auto match = bestMatch(embedding, photo.snapshot, *regions, roll, threshold);
            if (match) matches.push_back(std::move(*match));
            if ((match || !fresh.empty()) && pacer.isDue()) {
                handFresh();
                sortBySimilarity(matches);
                main_.post(
                    [report = callbacks.onProgressUpdate, matches, progress] { report(matches, progress); });
            }
        }
    }
    handFresh();
    sortBySimilarity(matches);
    main_.post([report = callbacks.onComplete, matches = std::move(matches), progress] {
        report(matches, progress);
    });
}

std::optional<FaceMatch> FaceSimilarityService::bestMatch(std::span<const float> embedding,
                                                          const PhotoSnapshot& photo,
                                                          std::span<const FaceRegion> regions,
                                                          const FaceRollRef& roll, float threshold) {
    if (!isUsableFaceVector(embedding) || !std::isfinite(threshold)) return std::nullopt;
    const FaceRegion* best = nullptr;
    float bestSimilarity = 0.0F;
    for (const FaceRegion& region : regions) {
        if (!hasUsableEmbedding(region)) continue;
        const float similarity = cosineSimilarity(embedding, region.embedding);
        if (best != nullptr && similarity <= bestSimilarity) continue;
        best = &region;
        bestSimilarity = similarity;
    }
    if (best == nullptr || bestSimilarity < threshold) return std::nullopt;
    return FaceMatch{roll.id,         roll.name,      photo.id,          photo.filename,
                     photo.sourceURL, bestSimilarity, best->boundingBox, photo.rotation};
}

std::vector<FaceMatchSection> FaceSimilarityService::grouped(std::span<const FaceMatch> matches,
                                                             bool showAllPossible) {
    std::vector<FaceMatchSection> sections;
    for (FaceMatch& match : visibleOf(matches, strongThreshold, possibleLimit, showAllPossible)) {
        auto section = std::find_if(sections.begin(), sections.end(), [&](const FaceMatchSection& each) {
            return each.rollID == match.rollID;
        });
        if (section == sections.end()) {
            section = sections.insert(sections.end(), {match.rollID, match.rollName, {}});
        }
        section->matches.push_back(std::move(match));
    }
    return sections;
}

}  // namespace kelvaris

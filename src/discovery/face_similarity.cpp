#include "discovery/face_similarity.h"

#include <cmath>
#include <unordered_map>
#include <utility>

#include "analysis/face_vectors.h"
#include "base/vector_math.h"

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
    for (const PhotoPointer& photo : roll.photos()) {
        reference.photos.push_back({PhotoSnapshot::of(photo)});
        // What is not known of a missing photo cannot be found out now, and is no failure of the search.
        if (photo->isMissing() && !reference.photos.back().hasCurrentAnalysis()) reference.photos.pop_back();
    }
    return reference;
}

void FaceSimilarityService::findSimilarFaces(std::span<const float> embedding, PhotoID excludingPhotoID,
                                             const FaceRolls& rolls, float threshold,
                                             const Callbacks& callbacks,
                                             const AnalysisCancellation& cancellation) const {
    const auto visit = [&](const FaceRollRef& roll, const FaceRollRef::FacePhotoRef& photo) {
        const PhotoSnapshot& snapshot = photo.snapshot;
        VisitedPhoto<FaceMatch, FreshAnalysis> visited;
        PhotoItem::FaceRegions regions = snapshot.faceRegions;
        if (!photo.hasCurrentAnalysis()) {
            auto found = faceRegionsProvider_(snapshot.sourceURL, snapshot.rotation);
            visited.isReadable = found.has_value();
            if (!found) return visited;
            regions = std::move(*found);
            visited.fresh = FreshAnalysis{roll.id, photo, regions};
        }
        visited.match = bestMatch(embedding, snapshot, *regions, roll, threshold);
        return visited;
    };
    walkForMatches(*rolls, excludingPhotoID, callbacks, cancellation, main_, visit);
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
    return FaceMatch{matchOf(roll, photo, bestSimilarity), best->boundingBox};
}

std::vector<FaceMatchSection> FaceSimilarityService::grouped(std::span<const FaceMatch> matches,
                                                             bool showAllPossible) {
    std::vector<FaceMatchSection> sections;
    std::unordered_map<RollID, std::size_t> sectionOf;
    for (FaceMatch& match : visibleOf(matches, strongThreshold, possibleLimit, showAllPossible)) {
        const auto [section, isNew] = sectionOf.emplace(match.rollID, sections.size());
        if (isNew) sections.push_back({match.rollID, match.rollName, {}});
        sections[section->second].matches.push_back(std::move(match));
    }
    return sections;
}

}  // namespace kelvaris

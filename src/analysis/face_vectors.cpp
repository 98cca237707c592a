#include "analysis/face_vectors.h"

#include <algorithm>
#include <cmath>

namespace kelvaris {

bool isUsableFaceVector(std::span<const float> embedding) {
    return embedding.size() == faceEmbeddingDimension &&
           std::all_of(embedding.begin(), embedding.end(),
                       [](float value) { return std::isfinite(value); }) &&
           std::any_of(embedding.begin(), embedding.end(), [](float value) { return value != 0.0F; });
}

bool hasUsableEmbedding(const FaceRegion& region) {
    return region.embeddingVersion == currentFaceEmbeddingVersion && isUsableFaceVector(region.embedding);
}

bool needsEmbeddings(std::span<const FaceRegion> regions) {
    return std::any_of(regions.begin(), regions.end(), [](const FaceRegion& region) {
        if (region.embeddingVersion < currentFaceEmbeddingVersion) return true;
        return !region.tooSmallToMatch.value_or(false) && !hasUsableEmbedding(region);
    });
}

}  // namespace kelvaris

#pragma once

#include <optional>
#include <vector>

namespace kelvaris {

/// A rectangle in an image's normalised coordinates: 0 to 1, origin at the bottom left.
struct NormalizedRect {
    double x = 0.0;
    double y = 0.0;
    double width = 0.0;
    double height = 0.0;

    bool operator==(const NormalizedRect&) const = default;
};

/// The current version of face vectors; older ones are made anew.
inline constexpr int currentFaceEmbeddingVersion = 3;
/// Floats in a face vector.
inline constexpr int faceEmbeddingDimension = 512;

/// One face of a photo as the system holds it.
struct FaceRegion {
    NormalizedRect boundingBox;
    std::vector<float> embedding;  ///< unit vector of faceEmbeddingDimension floats, or empty
    int embeddingVersion = 0;
    std::optional<bool> tooSmallToMatch;

    bool operator==(const FaceRegion&) const = default;
};

}  // namespace kelvaris

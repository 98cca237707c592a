#pragma once

#include <array>
#include <optional>
#include <span>

#include "platform/vision.h"
#include "vocabulary/face_region.h"

namespace kelvaris {

/// The side of the picture of a face that the face network takes, in pixels.
inline constexpr int alignedFaceSide = 112;

/// Left eye, right eye, nose, left and right corner of the mouth, in pixels with y pointing up.
using FivePoints = std::array<PixelPoint, 5>;

/// Where those points come to lie on an aligned face (Deng et al., "ArcFace", 2019), with y turned upward.
inline constexpr FivePoints arcfaceTemplateYUp{{
    {38.2946, 60.3037},
    {73.5318, 60.4986},
    {56.0252, 40.2634},
    {41.5493, 19.6345},
    {70.7299, 19.7959},
}};

/// The middles of the eyes and of the nose, and the outermost points of the lips.
/// @return nothing when one of the four groups is empty or holds a point that is not finite.
std::optional<FivePoints> extractFivePoints(const FaceLandmarks& landmarks);

/// Turns, scales and shifts, without mirroring: (a x - b y + tx, b x + a y + ty).
struct SimilarityTransform {
    double a = 1;
    double b = 0;
    double tx = 0;
    double ty = 0;

    PixelPoint operator()(const PixelPoint& point) const {
        return {(a * point.x) - (b * point.y) + tx, (b * point.x) + (a * point.y) + ty};
    }
    double scale() const;
    /// @pre the scale is not 0.
    SimilarityTransform inverse() const;
};

/// The transform that brings the source points nearest to the destination by least squares (Umeyama,
/// "Least-squares estimation of transformation parameters between two point patterns", 1991).
/// @return nothing for fewer than two points, unequal counts, and points that lie on each other.
std::optional<SimilarityTransform> computeSimilarityTransform(std::span<const PixelPoint> source,
                                                              std::span<const PixelPoint> destination);

/// The picture drawn through the transform onto a square of alignedFaceSide; black where there is none of
/// it. Both sides of the transform have y pointing up.
Bitmap alignedFace(const Bitmap& bitmap, const SimilarityTransform& transform);

/// A box in whole pixels, counted from the top left corner.
struct PixelBox {
    int x = 0;
    int y = 0;
    int width = 0;
    int height = 0;

    bool operator==(const PixelBox&) const = default;
};

/// The face's box with some of what surrounds it, within the picture; nothing when no pixel is left.
std::optional<PixelBox> naiveFaceBox(const NormalizedRect& box, int width, int height);

/// The shorter side of a box in pixels of the picture.
double faceSize(const NormalizedRect& box, int width, int height);

/// Whether a box is made of finite numbers and has a part of the picture in it.
bool liesInPicture(const NormalizedRect& box);

}  // namespace kelvaris

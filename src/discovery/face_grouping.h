#pragma once

#include <span>
#include <string>
#include <vector>

#include "base/path.h"
#include "vocabulary/face_grouping_edits.h"
#include "vocabulary/face_region.h"
#include "vocabulary/rotation_angle.h"

namespace kelvaris {

/// One found face, ready for grouping.
struct IndexedFace {
    FaceAnchor anchor;
    Path sourceURL;
    FaceRegion region;
    RotationAngle rotation = RotationAngle::none;

    bool operator==(const IndexedFace&) const = default;
};

/// Faces that seem to be of one person.
struct SuggestedFaceGroup {
    std::string id;  ///< of a manual group its UUID, otherwise the stable key of its first face
    std::vector<IndexedFace> faces;
    bool manual = false;  ///< comes from a correction and takes no new members

    bool operator==(const SuggestedFaceGroup&) const = default;
};

/// Finds the persons in a library by one greedy pass over the face vectors, and keeps the user's
/// corrections over repeated runs. Pure functions; any thread.
struct FaceGroupingService {
    /// The similarity from which the application counts two faces as one person.
    static constexpr float threshold = 0.5F;
    /// The share of their union from which two boxes of one photo are the same face.
    static constexpr double sameFaceOverlap = 0.5;

    /// The place of a face as text: roll, file name, x and y.
    static std::string stableKey(const FaceAnchor& anchor);

    /// Whether two anchors are the same face: same photo, intersection over union at least
    /// sameFaceOverlap.
    static bool overlap(const FaceAnchor& a, const FaceAnchor& b);

    /// Groups the faces, corrections first; largest group first, equal ones by id. The same faces and
    /// corrections give the same groups, whatever the order they come in. A face joins the group to whose
    /// farthest member it is nearest, if that is near enough and no other face of its photo is there.
    static std::vector<SuggestedFaceGroup> groups(std::vector<IndexedFace> faces,
                                                  const FaceGroupingEdits& edits, float threshold);

    /// The corrections in which these groups are pinned, so that they keep their identity.
    static FaceGroupingEdits preserve(std::span<const SuggestedFaceGroup> groups, FaceGroupingEdits edits);
};

}  // namespace kelvaris

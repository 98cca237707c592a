#pragma once

#include <span>

#include "discovery/face_grouping.h"

namespace kelvaris {

/// The corrections that a user makes to face groups. Each first pins the groups it touches, so that they
/// keep their identity, and gives edits in which no face belongs to two groups. Pure functions; any thread.
namespace face_corrections {

/// The second group's faces join the first's.
FaceGroupingEdits merged(const SuggestedFaceGroup& into, const SuggestedFaceGroup& from,
                         const FaceGroupingEdits& edits);

/// The face leaves one group for another.
FaceGroupingEdits moved(const FaceAnchor& face, const SuggestedFaceGroup& from, const SuggestedFaceGroup& to,
                        const FaceGroupingEdits& edits);

/// The face leaves the group and stands alone.
FaceGroupingEdits takenOut(const FaceAnchor& face, const SuggestedFaceGroup& from,
                           const FaceGroupingEdits& edits);

}  // namespace face_corrections

}  // namespace kelvaris

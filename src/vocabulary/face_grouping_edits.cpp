#include "vocabulary/face_grouping_edits.h"

#include <algorithm>

namespace kelvaris {

FaceGroupingEdits withoutRolls(FaceGroupingEdits edits, const std::vector<RollID>& gone) {
    const auto isGone = [&gone](const FaceAnchor& anchor) {
        return std::find(gone.begin(), gone.end(), anchor.rollID) != gone.end();
    };
    for (ManualFaceGroup& group : edits.groups) std::erase_if(group.members, isGone);
    std::erase_if(edits.groups, [](const ManualFaceGroup& group) { return group.members.empty(); });
    std::erase_if(edits.separated, isGone);
    return edits;
}

}  // namespace kelvaris

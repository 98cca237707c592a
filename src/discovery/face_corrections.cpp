#include "discovery/face_corrections.h"

#include <algorithm>
#include <utility>

namespace kelvaris::face_corrections {
namespace {

bool holds(std::span<const FaceAnchor> anchors, const FaceAnchor& face) {
    return std::any_of(anchors.begin(), anchors.end(), [&](const FaceAnchor& anchor) {
        return anchor == face || FaceGroupingService::overlap(anchor, face);
    });
}

void removeFrom(std::vector<FaceAnchor>& anchors, const FaceAnchor& face) {
    std::erase_if(anchors, [&](const FaceAnchor& anchor) {
        return anchor == face || FaceGroupingService::overlap(anchor, face);
    });
}

/// Pins the group and gives the identity that it has from then on. A face that stood alone has a group
/// again.
FaceGroupID pin(const SuggestedFaceGroup& group, FaceGroupingEdits& edits) {
    const auto id = FaceGroupID::parse(group.id);
    const std::size_t before = edits.groups.size();
    edits = FaceGroupingService::preserve(std::span(&group, 1), std::move(edits));
    for (const IndexedFace& face : group.faces) removeFrom(edits.separated, face.anchor);
    return edits.groups.size() > before ? edits.groups.back().id : *id;
}

ManualFaceGroup& groupOf(FaceGroupID id, FaceGroupingEdits& edits) {
    return *std::find_if(edits.groups.begin(), edits.groups.end(),
                         [id](const ManualFaceGroup& each) { return each.id == id; });
}

/// The face belongs to that group, and to nothing else.
void place(const FaceAnchor& face, FaceGroupID group, FaceGroupingEdits& edits) {
    for (ManualFaceGroup& each : edits.groups) {
        if (each.id != group) removeFrom(each.members, face);
    }
    removeFrom(edits.separated, face);
    auto& members = groupOf(group, edits).members;
    if (!holds(members, face)) members.push_back(face);
}

/// Without groups that have no members any more, and without second places of a face, as a file that was
/// edited by hand may hold them.
FaceGroupingEdits cleaned(FaceGroupingEdits edits) {
    std::vector<FaceAnchor> placed;
    for (ManualFaceGroup& group : edits.groups) {
        std::erase_if(group.members, [&](const FaceAnchor& member) { return holds(placed, member); });
        placed.insert(placed.end(), group.members.begin(), group.members.end());
    }
    std::erase_if(edits.groups, [](const ManualFaceGroup& group) { return group.members.empty(); });
    return edits;
}

}  // namespace

FaceGroupingEdits merged(const SuggestedFaceGroup& into, const SuggestedFaceGroup& from,
                         const FaceGroupingEdits& edits) {
    FaceGroupingEdits result = edits;
    const FaceGroupID target = pin(into, result);
    const FaceGroupID source = pin(from, result);
    if (target == source) return edits;
    // The stored members, not only the faces that are shown: those of photos that are away come along.
    const std::vector<FaceAnchor> members = groupOf(source, result).members;
    for (const FaceAnchor& member : members) place(member, target, result);
    return cleaned(std::move(result));
}

FaceGroupingEdits moved(const FaceAnchor& face, const SuggestedFaceGroup& from, const SuggestedFaceGroup& to,
                        const FaceGroupingEdits& edits) {
    if (from.id == to.id) return edits;
    FaceGroupingEdits result = edits;
    pin(from, result);
    place(face, pin(to, result), result);
    return cleaned(std::move(result));
}

FaceGroupingEdits takenOut(const FaceAnchor& face, const SuggestedFaceGroup& from,
                           const FaceGroupingEdits& edits) {
    FaceGroupingEdits result = edits;
    pin(from, result);
    for (ManualFaceGroup& group : result.groups) removeFrom(group.members, face);
    if (!holds(result.separated, face)) result.separated.push_back(face);
    return cleaned(std::move(result));
}

}  // namespace kelvaris::face_corrections

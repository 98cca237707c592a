#pragma once

#include <compare>
#include <string>
#include <vector>

#include "base/uuid.h"

namespace kelvaris {

/// The identity of one face in one photo. It holds when the face is found again with a slightly
/// different box, since comparisons go by overlap; equality is exact.
struct FaceAnchor {
    RollID rollID;
    std::string filename;
    double x = 0.0;  ///< normalised, 0 to 1, origin at the bottom left
    double y = 0.0;
    double width = 0.0;
    double height = 0.0;

    auto operator<=>(const FaceAnchor&) const = default;
};

using FaceGroupID = Identifier<struct FaceGroupTag>;

/// Faces that the user joined.
struct ManualFaceGroup {
    FaceGroupID id;
    std::vector<FaceAnchor> members;

    bool operator==(const ManualFaceGroup&) const = default;
};

/// The user's lasting corrections of face groups. Two empty lists are no corrections.
struct FaceGroupingEdits {
    std::vector<ManualFaceGroup> groups;
    std::vector<FaceAnchor> separated;  ///< faces that stand alone

    bool operator==(const FaceGroupingEdits&) const = default;
};

/// The corrections without those of faces in rolls that are gone for good. A group that loses its last face
/// goes with it. Pure.
FaceGroupingEdits withoutRolls(FaceGroupingEdits edits, const std::vector<RollID>& gone);

template <class Visitor>
void describe(Visitor& visitor, FaceAnchor& record) {
    visitor.required("rollID", record.rollID, "The photo's roll");
    visitor.required("filename", record.filename, "The photo's file name");
    visitor.required("x", record.x, "Left edge, 0 to 1 from the left");
    visitor.required("y", record.y, "Lower edge, 0 to 1 from the bottom");
    visitor.required("width", record.width, "Width, 0 to 1");
    visitor.required("height", record.height, "Height, 0 to 1");
}

template <class Visitor>
void describe(Visitor& visitor, ManualFaceGroup& record) {
    visitor.required("id", record.id, "Identity of the group");
    visitor.required("members", record.members, "Faces in the group");
}

template <class Visitor>
void describe(Visitor& visitor, FaceGroupingEdits& record) {
    visitor.required("groups", record.groups, "Groups made by hand");
    visitor.required("separated", record.separated, "Faces taken out of their groups");
}

}  // namespace kelvaris

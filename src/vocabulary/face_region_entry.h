#pragma once

#include <optional>

namespace kelvaris {

/// One face of a photo as a roll's file holds it; its vector lives in the sidecar.
struct FaceRegionEntry {
    double x = 0.0;  ///< normalised, 0 to 1, origin at the bottom left
    double y = 0.0;
    double width = 0.0;
    double height = 0.0;
    std::optional<int> embeddingVersion;
    std::optional<bool> tooSmallToMatch;

    bool operator==(const FaceRegionEntry&) const = default;
};

template <class Visitor>
void describe(Visitor& visitor, FaceRegionEntry& record) {
    visitor.required("x", record.x, "Left edge, 0 to 1 from the left");
    visitor.required("y", record.y, "Lower edge, 0 to 1 from the bottom");
    visitor.required("width", record.width, "Width, 0 to 1");
    visitor.required("height", record.height, "Height, 0 to 1");
    visitor.optional("embeddingVersion", record.embeddingVersion, "Version of the face's vector");
    visitor.optional("tooSmallToMatch", record.tooSmallToMatch, "Whether the face is too small for a vector");
}

}  // namespace kelvaris

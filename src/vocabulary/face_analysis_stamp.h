#pragma once

namespace kelvaris {

/// How a photo's faces were looked for.
struct FaceAnalysisStamp {
    int version = 0;
    int maxPixelSize = 0;  ///< long side of the picture that was searched
    bool includesEmbeddings = false;

    bool operator==(const FaceAnalysisStamp&) const = default;
};

/// What stands after faces were found and embedded by the current method.
inline constexpr FaceAnalysisStamp currentFaceAnalysisStamp{1, 4000, true};

template <class Visitor>
void describe(Visitor& visitor, FaceAnalysisStamp& record) {
    visitor.required("version", record.version, "Version of the search for faces");
    visitor.required("maxPixelSize", record.maxPixelSize, "Long side of the searched picture in pixels");
    visitor.required("includesEmbeddings", record.includesEmbeddings, "Whether vectors were made");
}

}  // namespace kelvaris

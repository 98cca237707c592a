#pragma once

#include <memory>
#include <optional>
#include <string>

#include "library/photo_item.h"

namespace kelvaris {

/// A photo as a worker sees it: a value made on the main thread. What was computed from it is written
/// back only while it is current, so a rotation, a new run of analysis or a relocation made meanwhile
/// discards the result.
struct PhotoSnapshot {
    std::weak_ptr<PhotoItem> photo;
    PhotoID id;
    Path sourceURL;
    std::string filename;
    RotationAngle rotation = RotationAngle::none;
    int revision = 0;
    RunStamp generation;
    bool eligible = false;  ///< analysed, not blank, and readable when last tried
    PhotoItem::FaceRegions faceRegions;
    std::optional<FaceAnalysisStamp> faceAnalysisStamp;

    /// Main thread.
    static PhotoSnapshot of(const PhotoPointer& photo) {
        return {.photo = photo,
                .id = photo->id(),
                .sourceURL = photo->sourceURL(),
                .filename = photo->filename(),
                .rotation = photo->rotation(),
                .revision = photo->rotationRevision(),
                .generation = photo->analysisGeneration(),
                .eligible = photo->labelsAnalyzed() && !photo->labels().contains(PhotoLabel::blank) &&
                            photo->loadState() != PhotoItem::LoadState::failed,
                .faceRegions = photo->faceRegions(),
                .faceAnalysisStamp = photo->faceAnalysisStamp()};
    }

    /// The photo, while it lives and rotation, generation and file are as they were. Main thread.
    PhotoPointer current() const {
        PhotoPointer live = photo.lock();
        if (!live || live->rotationRevision() != revision || live->analysisGeneration() != generation ||
            live->sourceURL() != sourceURL) {
            return nullptr;
        }
        return live;
    }
    bool isCurrent() const { return current() != nullptr; }
};

}  // namespace kelvaris

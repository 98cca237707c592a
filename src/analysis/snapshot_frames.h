#pragma once

#include "analysis/photo_snapshot.h"
#include "analysis/picture_model.h"
#include "images/image_loading.h"

namespace kelvaris {

/// The long side at which faces are looked for.
inline constexpr int facePicturePixels = currentFaceAnalysisStamp.maxPixelSize;

/// The decodes of one photo that the models of a pass share: each is made when it is first asked for.
/// A worker's; null where the file gives no picture.
class SnapshotFrames {
public:
    SnapshotFrames(const ImageLoading& loading, const PhotoSnapshot& snapshot)
        : loading_(loading), snapshot_(snapshot) {}

    const Image& whole() { return decoded(whole_, wholePicturePixels); }
    const Image& large() { return decoded(large_, facePicturePixels); }

private:
    const Image& decoded(std::optional<Image>& kept, int pixels) {
        if (!kept) {
            kept = loading_.coordinatedThumbnail(snapshot_.sourceURL, pixels, false, snapshot_.rotation);
        }
        return *kept;
    }

    const ImageLoading& loading_;
    const PhotoSnapshot& snapshot_;
    std::optional<Image> whole_;
    std::optional<Image> large_;
};

}  // namespace kelvaris

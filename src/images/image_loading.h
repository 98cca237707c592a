#pragma once

#include "base/path.h"
#include "platform/images.h"
#include "vocabulary/rotation_angle.h"

namespace kelvaris {

/// The one road to scaled pixels of a file. Any thread but the main one: a read may wait for a file that
/// is not on this machine yet.
class ImageLoading {
public:
    /// @param codec must outlive this.
    explicit ImageLoading(ImageCodec& codec) : codec_(codec) {}

    /// The picture upright, then turned clockwise by the rotation, its long side at most that long.
    /// @param preferEmbedded take the small picture inside the file when there is one.
    /// @return null when there is none; the log tells why.
    Image coordinatedThumbnail(const Path& path, int maxPixelSize, bool preferEmbedded,
                               RotationAngle rotation) const;

    /// The orientation by which stored pixels become upright: the top-level one, else that of the TIFF
    /// tags; 1 for values beyond 1 to 8 and when there is none.
    static int exifOrientation(const ImageProperties& properties);

    /// The picture made upright by the orientation, then turned clockwise by the rotation.
    /// With nothing to turn the image itself comes back. @param image not null.
    static Image transformed(const Image& image, int exifOrientation, RotationAngle rotation);

private:
    ImageCodec& codec_;
};

}  // namespace kelvaris

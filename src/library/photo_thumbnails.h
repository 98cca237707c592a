#pragma once

#include <optional>

#include "base/main_queue.h"
#include "library/photo_item.h"
#include "platform/files.h"
#include "platform/images.h"

namespace kelvaris {

/// What a worker needs to know of a photo to load its thumbnail; made on the main thread.
struct ThumbnailRequest {
    explicit ThumbnailRequest(PhotoPointer photo);

    PhotoPointer photo;
    Path sourceURL;  ///< as it stood when the work was given out
    bool isMissing;  ///< the cache alone is asked
};

/// The tools of a worker that loads thumbnails.
struct ThumbnailTools {
    MainQueue& main;
    Files& files;
    ImageCodec& images;
    const ExifService& exif;
};

struct ThumbnailOutcome {
    enum class Kind {
        alreadyLoaded,
        fromCache,   ///< the source was not touched
        fromSource,  ///< the source was read
        failed,      ///< the source could not be read
        missing,     ///< the source is known to be gone, and the cache has nothing
    };
    Kind kind;
    Image analysisBitmap;  ///< of fromSource: for whoever analyses the photo
};

/// The long sides of the picture for strip and sidebar, and of the bitmap for analysis.
inline constexpr int thumbnailPixelSize = 300;
inline constexpr int analysisPixelSize = 800;

/// Loads the photo's thumbnail from the cache folder, else from the source, in which case it is put
/// into the cache and place and date of the file are offered to the photo. One opened source gives the
/// file's own small picture as a stop-gap, the thumbnail and the bitmap for analysis, so that a file far
/// away is read once. What it finds reaches the photo through the main queue, in order.
/// @param bitmapPixelSize the long side of the bitmap for analysis, at most.
/// On a worker, which it blocks.
ThumbnailOutcome loadThumbnail(const ThumbnailRequest& request, const std::optional<Path>& cacheDirectory,
                               const ThumbnailTools& tools, int bitmapPixelSize = analysisPixelSize);

/// Keeps the picture as "<filename without extension>.jpg" in the folder, which is made when missing.
/// Failures are ignored: the cache only saves time. Any thread.
void writeThumbnailCache(const Bitmap& image, const std::string& filename, const Path& directory,
                         const ThumbnailTools& tools);

}  // namespace kelvaris

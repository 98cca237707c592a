#include "library/photo_thumbnails.h"

#include "base/log.h"

namespace kelvaris {
namespace {

constexpr double cacheQuality = 0.85;

Path cachePath(const std::string& filename, const Path& directory) {
    return directory / (Path(filename).stem() + ".jpg");
}

/// Nothing on a miss, also when the cached file does not decode.
Image readThumbnailCache(const std::string& filename, const Path& directory, const ThumbnailTools& tools) {
    const Path path = cachePath(filename, directory);
    if (!tools.files.exists(path)) return nullptr;
    auto source = tools.images.open(path);
    if (!source) return nullptr;
    auto image = (*source)->decode(thumbnailPixelSize);
    return image ? *image : nullptr;
}

void showThumbnail(PhotoItem& photo, const Image& image) {
    photo.setThumbnail(image);
    photo.setThumbnailIsPlaceholder(false);
    photo.setLoadState(PhotoItem::LoadState::loaded);
}

ThumbnailOutcome failed(const ThumbnailRequest& request, const ThumbnailTools& tools) {
    tools.main.post([photo = request.photo] { photo->setLoadState(PhotoItem::LoadState::failed); });
    return {ThumbnailOutcome::Kind::failed, nullptr};
}

}  // namespace

ThumbnailRequest::ThumbnailRequest(PhotoPointer photo)
    : photo(std::move(photo)), sourceURL(this->photo->sourceURL()), isMissing(this->photo->isMissing()) {}

ThumbnailOutcome loadThumbnail(const ThumbnailRequest& request, const std::optional<Path>& cacheDirectory,
                               const ThumbnailTools& tools, int bitmapPixelSize) {
    const PhotoPointer& photo = request.photo;
    if (photo->thumbnailState() == PhotoItem::ThumbnailState::complete) {
        return {ThumbnailOutcome::Kind::alreadyLoaded, nullptr};
    }
    if (cacheDirectory) {
        if (const Image cached = readThumbnailCache(photo->filename(), *cacheDirectory, tools)) {
            tools.main.post([photo, cached] { showThumbnail(*photo, cached); });
            return {ThumbnailOutcome::Kind::fromCache, nullptr};
        }
    }

    if (request.isMissing) return {ThumbnailOutcome::Kind::missing, nullptr};
    auto source = tools.images.open(request.sourceURL);
    if (!source) {
        log::error("Images", "Could not open {}: {}", photo->filename(), source.error().message);
        return failed(request, tools);
    }
    if (photo->thumbnailState() == PhotoItem::ThumbnailState::none) {
        if (auto embedded = (*source)->embeddedThumbnail(thumbnailPixelSize)) {
            tools.main.post([photo, image = *embedded] {
                if (photo->thumbnail()) return;
                photo->setThumbnailIsPlaceholder(true);
                photo->setThumbnail(image);
            });
        }
    }
    const EXIFResult exif = tools.exif.readEXIF(**source);
    auto bitmap = (*source)->decode(bitmapPixelSize);
    if (!bitmap) {
        log::error("Images", "Could not decode {}: {}", photo->filename(), bitmap.error().message);
        return failed(request, tools);
    }
    auto thumbnail = tools.images.reduced(*bitmap, thumbnailPixelSize);
    if (!thumbnail) return failed(request, tools);

    if (cacheDirectory) writeThumbnailCache(**thumbnail, photo->filename(), *cacheDirectory, tools);
    tools.main.post([photo, image = *thumbnail, exif] {
        showThumbnail(*photo, image);
        photo->applyEXIF(exif);
    });
    return {ThumbnailOutcome::Kind::fromSource, *bitmap};
}

void writeThumbnailCache(const Bitmap& image, const std::string& filename, const Path& directory,
                         const ThumbnailTools& tools) {
    if (!tools.files.createDirectories(directory)) return;
    const auto jpeg = tools.images.encodeJpeg(image, cacheQuality);
    if (!jpeg) return;
    (void)tools.files.writeAtomically(cachePath(filename, directory), *jpeg, Durability::cache);
}

}  // namespace kelvaris

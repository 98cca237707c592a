#include "library/roll_selection.h"

#include <algorithm>

#include "base/log.h"
#include "images/image_cache.h"

namespace kelvaris {
namespace {

/// The whole picture, upright; null when the file cannot be read. On a worker.
Image decodePreview(ImageCodec& codec, const Path& path) {
    auto source = codec.open(path);
    auto image =
        source ? (*source)->decode(std::nullopt) : ImageResult<Image>(Unexpected(std::move(source).error()));
    if (image) return *image;
    log::error("Images", "Could not read {}: {}", path.filename(), image.error().message);
    return nullptr;
}

void showPreview(FilmRoll& roll, PhotoItem& photo, const Image& image) {
    if (roll.selectedPhoto().get() != &photo) return;
    if (image) photo.setPreviewImage(image);
    photo.setLoadState(image ? PhotoItem::LoadState::loaded : PhotoItem::LoadState::failed);
}

void loadPreview(FilmRoll& roll, const PhotoPointer& photo) {
    if (photo->isMissing()) return;
    if (Image cached = roll.services().imageCache.image(photo->sourceURL())) {
        photo->setPreviewImage(std::move(cached));
        return;
    }
    const auto cancelled = std::make_shared<std::atomic<bool>>(false);
    roll.setCurrentLoadTask(cancelled);
    const LibraryServices& services = roll.services();
    services.userQueue.add(
        [weak = roll.weak_from_this(), photo, path = photo->sourceURL(), cancelled, &services] {
            if (*cancelled) return;
            const Image image = decodePreview(services.images, path);
            if (image) services.imageCache.insert(path, image, ImageCache::estimateCost(image));
            services.main.post([weak, photo, image, cancelled] {
                const RollPointer living = weak.lock();
                if (!living || *cancelled) return;
                living->setCurrentLoadTask(nullptr);
                showPreview(*living, *photo, image);
            });
        },
        OperationPriority::high);
}

/// The shown photo that follows the selected one in the direction, or null.
PhotoPointer neighbour(const FilmRoll& roll, bool forward) {
    if (!roll.selectedPhoto()) return nullptr;
    PhotoList photos = roll.photos();
    if (!forward) std::reverse(photos.begin(), photos.end());
    auto at = std::find(photos.begin(), photos.end(), roll.selectedPhoto());
    if (at == photos.end()) return nullptr;
    const auto shown = [&roll](const PhotoPointer& photo) {
        return !roll.hideFlagged() || photo->sortedQualityLabels().empty();
    };
    at = std::find_if(at + 1, photos.end(), shown);
    return at == photos.end() ? nullptr : *at;
}

void selectNeighbour(FilmRoll& roll, bool forward) {
    if (const PhotoPointer photo = neighbour(roll, forward)) selectPhoto(roll, photo);
}

}  // namespace

void selectPhoto(FilmRoll& roll, const PhotoPointer& photo) {
    const PhotoPointer before = roll.selectedPhoto();
    if (before == photo) return;

    if (roll.currentLoadTask()) *roll.currentLoadTask() = true;
    roll.setCurrentLoadTask(nullptr);
    if (before) before->setPreviewImage(nullptr);
    roll.setSelectedPhoto(photo);
    if (photo && !roll.needsFullActivation()) loadPreview(roll, photo);
}

void showPhoto(FilmRoll& roll, const PhotoPointer& photo) {
    const PhotoList& photos = roll.photos();
    if (std::find(photos.begin(), photos.end(), photo) != photos.end()) selectPhoto(roll, photo);
}

void loadSelectedPreview(FilmRoll& roll) {
    const PhotoPointer& photo = roll.selectedPhoto();
    if (photo && !photo->previewImage() && !roll.currentLoadTask()) loadPreview(roll, photo);
}

void selectNext(FilmRoll& roll) { selectNeighbour(roll, true); }
void selectPrevious(FilmRoll& roll) { selectNeighbour(roll, false); }

void selectPhotoByDisplayNumber(FilmRoll& roll, int n) {
    const PhotoList shown = roll.displayPhotos();
    if (n >= 1 && static_cast<std::size_t>(n) <= shown.size()) {
        selectPhoto(roll, shown[static_cast<std::size_t>(n - 1)]);
    }
}

void unloadThumbnails(FilmRoll& roll, int keepSidebarCount) {
    int position = 0;
    for (const PhotoPointer& photo : roll.photos()) {
        if (position++ >= keepSidebarCount) {
            photo->setThumbnail(nullptr);
            photo->setThumbnailIsPlaceholder(false);
        }
        photo->setPreviewImage(nullptr);
    }
    roll.setNeedsFullActivation(true);
}

}  // namespace kelvaris

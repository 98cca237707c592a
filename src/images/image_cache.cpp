#include "images/image_cache.h"

#include <utility>

namespace kelvaris {

Image ImageCache::image(const Path& path) {
    const std::lock_guard guard(mutex_);
    const auto found = byPath_.find(path);
    if (found == byPath_.end()) return nullptr;
    entries_.splice(entries_.begin(), entries_, found->second);
    return found->second->image;
}

void ImageCache::insert(const Path& path, Image image, std::int64_t cost) {
    const std::lock_guard guard(mutex_);
    if (const auto found = byPath_.find(path); found != byPath_.end()) drop(found->second);
    if (!image || cost > costLimit_) return;
    entries_.push_front({path, std::move(image), cost});
    byPath_[path] = entries_.begin();
    cost_ += cost;
    while (entries_.size() > countLimit_ || cost_ > costLimit_) drop(std::prev(entries_.end()));
}

void ImageCache::remove(const Path& path) {
    const std::lock_guard guard(mutex_);
    if (const auto found = byPath_.find(path); found != byPath_.end()) drop(found->second);
}

void ImageCache::removeAll() {
    const std::lock_guard guard(mutex_);
    entries_.clear();
    byPath_.clear();
    cost_ = 0;
}

void ImageCache::drop(std::list<Entry>::iterator entry) {
    cost_ -= entry->cost;
    byPath_.erase(entry->path);
    entries_.erase(entry);
}

std::int64_t ImageCache::estimateCost(const Image& image) {
    return image ? static_cast<std::int64_t>(image->width) * image->height * 4 : 0;
}

}  // namespace kelvaris

#pragma once

#include <cstddef>
#include <cstdint>
#include <list>
#include <mutex>
#include <unordered_map>

#include "base/path.h"
#include "platform/images.h"

namespace kelvaris {

/// Keeps the previews that were looked at last, within a count and a cost in bytes. Any thread.
class ImageCache {
public:
    static constexpr std::size_t defaultCountLimit = 10;
    static constexpr std::int64_t defaultCostLimit = 1'500'000'000;

    explicit ImageCache(std::size_t countLimit = defaultCountLimit, std::int64_t costLimit = defaultCostLimit)
        : countLimit_(countLimit), costLimit_(costLimit) {}

    /// @return null when it is not kept.
    Image image(const Path& path);
    /// Takes the place of an earlier image of that path; those not asked for the longest make room.
    /// An image that costs more than the whole limit is not kept.
    void insert(const Path& path, Image image, std::int64_t cost);
    void remove(const Path& path);
    void removeAll();

    /// What a preview costs on its way to a screen: four bytes a pixel; 0 for none.
    static std::int64_t estimateCost(const Image& image);

private:
    struct Entry {
        Path path;
        Image image;
        std::int64_t cost;
    };

    void drop(std::list<Entry>::iterator entry);

    const std::size_t countLimit_;
    const std::int64_t costLimit_;
    std::mutex mutex_;
    std::list<Entry> entries_;  // the latest used first
    std::unordered_map<Path, std::list<Entry>::iterator> byPath_;
    std::int64_t cost_ = 0;
};

}  // namespace kelvaris

#include "discovery/similarity_service.h"

#include <algorithm>
#include <bit>
#include <charconv>
#include <utility>

namespace kelvaris {
namespace {

using Near = SimilarityService::Near;

[[gnu::always_inline]] inline void appendNear(std::uint64_t source, std::span<const std::uint64_t> hashes,
                                              int threshold, std::vector<Near>& near) {
    for (std::size_t i = 0; i < hashes.size(); ++i) {
        const int distance = std::popcount(source ^ hashes[i]);
        if (distance <= threshold) near.push_back({static_cast<std::uint32_t>(i), distance});
    }
}

#if defined(__x86_64__)
/// With the processor's own instruction, which the build's base level does not use.
__attribute__((target("popcnt"))) void appendNearCounted(std::uint64_t source,
                                                         std::span<const std::uint64_t> hashes, int threshold,
                                                         std::vector<Near>& near) {
    appendNear(source, hashes, threshold, near);
}
#endif

}  // namespace

std::optional<std::uint64_t> SimilarityService::parseHash(std::string_view text) {
    const bool isNegative = text.starts_with('-');
    if (isNegative || text.starts_with('+')) text.remove_prefix(1);
    std::uint64_t value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value, 16);
    if (error != std::errc() || end != text.data() + text.size()) return std::nullopt;
    if (isNegative && value != 0) return std::nullopt;
    return value;
}

std::vector<SimilarityService::Near> SimilarityService::nearHashes(std::uint64_t source,
                                                                   std::span<const std::uint64_t> hashes,
                                                                   int threshold) {
    std::vector<Near> near;
#if defined(__x86_64__)
    static const bool countsBits = __builtin_cpu_supports("popcnt");
    if (countsBits) {
        appendNearCounted(source, hashes, threshold, near);
    } else {
        appendNear(source, hashes, threshold, near);
    }
#else
    appendNear(source, hashes, threshold, near);
#endif
    std::stable_sort(near.begin(), near.end(),
                     [](const Near& a, const Near& b) { return a.distance < b.distance; });
    return near;
}

std::vector<SimilarPhoto> SimilarityService::findSimilar(std::string_view hash, PhotoID excludingPhotoID,
                                                         std::span<const FilmRollRef> rolls, int threshold) {
    const auto source = parseHash(hash);
    if (!source) return {};
    std::vector<std::uint64_t> hashes;
    std::vector<std::pair<const FilmRollRef*, const FilmRollRef::PhotoRef*>> photos;
    for (const FilmRollRef& roll : rolls) {
        for (const auto& photo : roll.photos) {
            if (photo.id == excludingPhotoID || !photo.perceptualHash) continue;
            const auto parsed = parseHash(*photo.perceptualHash);
            if (!parsed) continue;
            hashes.push_back(*parsed);
            photos.emplace_back(&roll, &photo);
        }
    }
    std::vector<SimilarPhoto> similar;
    for (const Near& near : nearHashes(*source, hashes, threshold)) {
        const auto& [roll, photo] = photos[near.index];
        similar.push_back(
            {roll->id, roll->name, photo->id, photo->filename, photo->sourceURL, near.distance});
    }
    return similar;
}

}  // namespace kelvaris

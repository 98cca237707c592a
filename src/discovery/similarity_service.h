#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "base/path.h"
#include "base/uuid.h"

namespace kelvaris {

/// A value copy of a roll for the search for near-duplicates.
struct FilmRollRef {
    struct PhotoRef {
        PhotoID id;
        std::string filename;
        Path sourceURL;
        std::optional<std::string> perceptualHash;
    };

    RollID id;
    std::string name;
    std::vector<PhotoRef> photos;
};

/// One near-duplicate.
struct SimilarPhoto {
    RollID rollID;
    std::string rollName;
    PhotoID photoID;
    std::string filename;
    Path sourceURL;
    int distance = 0;  ///< number of differing bits

    bool operator==(const SimilarPhoto&) const = default;
};

/// Compares 64-bit perceptual hashes. Pure functions; any thread.
struct SimilarityService {
    static constexpr int threshold = 12;

    /// An unsigned number of at most 64 bits in hex digits of either case, with an optional "+", or "-"
    /// before zero; anything else is no hash.
    static std::optional<std::uint64_t> parseHash(std::string_view text);

    /// One near hash among many.
    struct Near {
        std::uint32_t index;
        int distance;

        bool operator==(const Near&) const = default;
    };
    /// The hashes that differ from the source in at most `threshold` bits, nearest first, equal ones in
    /// their order. One pass over the hashes.
    static std::vector<Near> nearHashes(std::uint64_t source, std::span<const std::uint64_t> hashes,
                                        int threshold);

    /// The photos of all rolls, but for the excluded one, whose hashes are near the source's; nearest
    /// first, equal ones in their order. Photos without a readable hash are left out.
    static std::vector<SimilarPhoto> findSimilar(std::string_view hash, PhotoID excludingPhotoID,
                                                 std::span<const FilmRollRef> rolls, int threshold);
};

}  // namespace kelvaris

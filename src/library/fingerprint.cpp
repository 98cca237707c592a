#include "library/fingerprint.h"

#include <algorithm>

#include "library/film_roll.h"

namespace kelvaris {

std::vector<FileFingerprint> fingerprintOf(const std::vector<FolderEntry>& listing) {
    std::vector<FileFingerprint> fingerprint;
    for (const FolderEntry& entry : listing) {
        if (!entry.info || !entry.info->isRegularFile || !FilmRoll::isImageFile(entry.path)) continue;
        fingerprint.push_back({.filename = entry.path.filename(), .size = entry.info->size});
    }
    std::sort(fingerprint.begin(), fingerprint.end(),
              [](const auto& a, const auto& b) { return a.filename < b.filename; });
    return fingerprint;
}

std::vector<FileFingerprint> computeFingerprint(const Files& files, const Path& folder) {
    const auto listing = files.list(folder);
    return listing ? fingerprintOf(*listing) : std::vector<FileFingerprint>();
}

}  // namespace kelvaris

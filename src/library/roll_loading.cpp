#include "library/roll_loading.h"

#include <algorithm>

#include "library/roll_analysis.h"
#include "library/roll_selection.h"

namespace kelvaris {
namespace {

constexpr Spring revealSpring{.response = 0.25, .dampingFraction = 1.0, .blendDuration = 0.0};

struct Found {
    const FolderEntry* entry;
    std::string sortKey;
};

/// A file whose values cannot be read is listed all the same; folders and pipes with a picture's name
/// are not.
bool isPhoto(const FolderEntry& entry) {
    return FilmRoll::isImageFile(entry.path) && (!entry.info || entry.info->isRegularFile);
}

PhotoList photosOf(const std::vector<FolderEntry>& listing, const Language& language) {
    std::vector<Found> found;
    for (const FolderEntry& entry : listing) {
        if (isPhoto(entry)) found.push_back({&entry, language.naturalSortKey(entry.path.filename())});
    }
    std::stable_sort(found.begin(), found.end(),
                     [](const Found& a, const Found& b) { return a.sortKey < b.sortKey; });
    PhotoList photos;
    photos.reserve(found.size());
    for (const Found& each : found) {
        auto photo = std::make_shared<PhotoItem>(each.entry->path, static_cast<int>(photos.size()));
        if (each.entry->info) {
            photo->setFileCreationDate(each.entry->info->created);
            photo->setFileModificationDate(each.entry->info->modified);
        }
        photos.push_back(std::move(photo));
    }
    return photos;
}

std::optional<Instant> earliestCreation(const PhotoList& photos) {
    std::optional<Instant> earliest;
    for (const PhotoPointer& photo : photos) {
        const auto& created = photo->fileCreationDate();
        if (created && (!earliest || *created < *earliest)) earliest = created;
    }
    return earliest;
}

}  // namespace

void loadFolder(FilmRoll& roll, bool analyze) {
    const auto listing = roll.services().files.list(roll.sourceFolder());
    if (!listing) {
        roll.setStatusNotification(StatusNotification::error("Could not read folder"));
        return;
    }
    roll.setPhotos(photosOf(*listing, roll.services().language));
    if (const auto earliest = earliestCreation(roll.photos())) roll.setBaseDate(*earliest);
    roll.setSortOption(SortOption::filename);
    roll.setSortAscending(true);
    if (!analyze) roll.setNeedsFullActivation(true);
    selectPhoto(roll, roll.photos().empty() ? nullptr : roll.photos().front());
    if (!analyze) return;

    startAnalysisPipeline(roll, false, nullptr);
    roll.setStatusNotification(StatusNotification::opened(static_cast<int>(roll.photos().size())));
    staggerVisibility(roll);
}

void staggerVisibility(FilmRoll& roll) {
    loadSelectedPreview(roll);
    int index = 0;
    for (const PhotoPointer& photo : roll.photos()) {
        if (index >= staggeredPhotoCount) {
            photo->setIsVisible(true);
            continue;
        }
        roll.services().main.postAfter(index * staggerStep, [weak = roll.weak_from_this(), photo] {
            const RollPointer living = weak.lock();
            if (!living) return;
            living->services().animate(revealSpring, [&] { photo->setIsVisible(true); });
        });
        ++index;
    }
}

void activateAnalysis(FilmRoll& roll) {
    roll.setNeedsFullActivation(false);
    if (roll.isDisconnected() || roll.photos().empty() || roll.isAnalyzing()) return;
    startAnalysisPipeline(roll, false, nullptr);
    staggerVisibility(roll);
}

}  // namespace kelvaris

#include "library/roll_loading.h"

#include <algorithm>
#include <string_view>
#include <unordered_map>

#include "library/fingerprint.h"
#include "library/roll_analysis.h"
#include "library/roll_editing.h"
#include "library/roll_selection.h"
#include "library/sort_indices.h"

namespace kelvaris {
namespace {

constexpr Spring revealSpring{.response = 0.25, .dampingFraction = 1.0, .blendDuration = 0.0};

/// A file whose values cannot be read is listed all the same; folders and pipes with a picture's name
/// are not.
bool isPhoto(const FolderEntry& entry) {
    return FilmRoll::isImageFile(entry.path) && (!entry.info || entry.info->isRegularFile);
}

/// The picture files of a listing in natural order of their names.
std::vector<const FolderEntry*> picturesOf(const std::vector<FolderEntry>& listing,
                                           const Language& language) {
    struct Found {
        const FolderEntry* entry;
        std::string sortKey;
    };
    std::vector<Found> found;
    for (const FolderEntry& entry : listing) {
        if (isPhoto(entry)) found.push_back({&entry, language.naturalSortKey(entry.path.filename())});
    }
    std::stable_sort(found.begin(), found.end(),
                     [](const Found& a, const Found& b) { return a.sortKey < b.sortKey; });
    std::vector<const FolderEntry*> pictures;
    pictures.reserve(found.size());
    for (const Found& each : found) pictures.push_back(each.entry);
    return pictures;
}

void takeFile(PhotoItem& photo, const FolderEntry& entry) {
    photo.setSourceURL(entry.path);
    photo.setIsMissing(false);
    if (!entry.info) return;
    photo.setFileCreationDate(entry.info->created);
    photo.setFileModificationDate(entry.info->modified);
}

using PhotosByName = std::unordered_map<std::string_view, PhotoPointer>;

PhotosByName byName(const PhotoList& photos) {
    PhotosByName named;
    named.reserve(photos.size());
    for (const PhotoPointer& photo : photos) named.emplace(photo->filename(), photo);
    return named;
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

void takeListing(FilmRoll& roll, const std::vector<FolderEntry>& listing) {
    PhotosByName known = byName(roll.photos());
    const PhotosByName removed = byName(roll.removedPhotos());
    const bool isNew = known.empty() && removed.empty();
    PhotoList photos = roll.photos();
    SortIndices indices;
    for (const PhotoPointer& photo : photos) indices.take(photo->sortIndex());

    int position = 0;
    for (const FolderEntry* entry : picturesOf(listing, roll.services().language)) {
        const std::string name = entry->path.filename();
        if (const auto out = removed.find(name); out != removed.end()) {
            takeFile(*out->second, *entry);
            continue;
        }
        if (auto here = known.extract(name)) {
            takeFile(*here.mapped(), *entry);
        } else {
            photos.push_back(std::make_shared<PhotoItem>(entry->path, indices.takeOrNext(position)));
            takeFile(*photos.back(), *entry);
        }
        ++position;
    }
    for (const auto& [name, photo] : known) {
        photo->setSourceURL(roll.sourceFolder() / photo->filename());
        photo->setIsMissing(true);
    }
    roll.setPhotos(std::move(photos));
    // Until its first save a roll would take any folder for its own.
    if (roll.storedFingerprint().empty()) roll.setStoredFingerprint(fingerprintOf(listing));
    if (isNew) {
        if (const auto earliest = earliestCreation(roll.photos())) roll.setBaseDate(*earliest);
        roll.setSortOption(SortOption::filename);
        roll.setSortAscending(true);
        return;
    }
    const bool keepsIndices =
        roll.sortOption() == SortOption::filename || roll.sortOption() == SortOption::custom;
    keepsIndices ? orderPhotos(roll) : sortPhotos(roll);
}

void leaveFolder(FilmRoll& roll, std::string reason) {
    roll.setIsDisconnected(true);
    roll.setAwayReason(std::move(reason));
    for (const PhotoPointer& photo : roll.photos()) photo->setIsMissing(true);
}

void loadFolder(FilmRoll& roll, bool analyze) {
    const auto listing = roll.services().files.list(roll.sourceFolder());
    if (!listing) {
        roll.setStatusNotification(StatusNotification::error("Could not read folder"));
        return;
    }
    takeListing(roll, *listing);
    showLoaded(roll, analyze);
}

void showLoaded(FilmRoll& roll, bool analyze) {
    if (!analyze) roll.setNeedsFullActivation(true);
    if (!roll.selectedPhoto()) selectPhoto(roll, roll.photos().empty() ? nullptr : roll.photos().front());
    if (!analyze) return;

    startAnalysisPipeline(roll, false);
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
    startAnalysisPipeline(roll, false);
    staggerVisibility(roll);
}

}  // namespace kelvaris

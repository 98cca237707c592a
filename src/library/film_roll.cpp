#include "library/film_roll.h"

#include <algorithm>

#include "base/text.h"
#include "vocabulary/cloud_storage_provider.h"

namespace kelvaris {

bool FilmRoll::isImageFile(const Path& path) {
    const std::string extension = asciiLowercased(path.extension());
    return std::find(imageExtensions.begin(), imageExtensions.end(), extension) != imageExtensions.end();
}

std::shared_ptr<FilmRoll> FilmRoll::make(Path sourceFolder, RollID id, const LibraryServices& services) {
    return std::shared_ptr<FilmRoll>(new FilmRoll(std::move(sourceFolder), id, services));
}

FilmRoll::FilmRoll(Path sourceFolder, RollID id, const LibraryServices& services)
    : id_(id),
      services_(services),
      name_(sourceFolder.filename()),
      sourceFolder_(std::move(sourceFolder)),
      baseDate_(services.clock.now()),
      dateOpened_(baseDate_) {
    resetCloudAvailability();
}

bool isStored(RollField field) {
    switch (field) {
        case RollField::sourceFolder:
        case RollField::folderBookmarkData:
        case RollField::photos:
        case RollField::baseDate:
        case RollField::sortOption:
        case RollField::sortAscending:
        case RollField::workflowState:
        case RollField::lastExported:
        case RollField::exportDirty:
        case RollField::dateOpened:
        case RollField::cameraMake:
        case RollField::cameraModel:
        case RollField::cameraFormat:
        case RollField::filmName:
        case RollField::filmISO:
        case RollField::notes:
        case RollField::removedPhotos:
            return true;
        case RollField::name:  // the folder's
        case RollField::selectedPhoto:
        case RollField::isExporting:
        case RollField::exportProgress:
        case RollField::statusNotification:
        case RollField::hideFlagged:
        case RollField::isAnalyzing:
        case RollField::isQueuedForReanalysis:
        case RollField::needsFullActivation:
        case RollField::isDisconnected:
        case RollField::storedFingerprint:  // what a save found in the folder
        case RollField::analysisRunID:
        case RollField::cloudAvailability:
        case RollField::contentRevision:
            return false;
    }
    return false;
}

FilmRoll::~FilmRoll() {
    for (const PhotoList* list : {&photos_, &removedPhotos_}) {
        for (const PhotoPointer& photo : *list) photo->setKeeper(nullptr);
    }
}

void FilmRoll::touch() {
    ++contentRevision_;
    notify(RollField::contentRevision);
}

void FilmRoll::photoChanged(PhotoItem&, PhotoField field) {
    if (kelvaris::isStored(field)) touch();
}

void FilmRoll::setPhotos(PhotoList value) { setPhotoList(RollField::photos, photos_, std::move(value)); }

void FilmRoll::setRemovedPhotos(PhotoList value) {
    setPhotoList(RollField::removedPhotos, removedPhotos_, std::move(value));
}

void FilmRoll::setPhotoList(RollField field, PhotoList& list, PhotoList value) {
    for (const PhotoPointer& photo : list) photo->setKeeper(nullptr);
    for (const PhotoPointer& photo : value) photo->setKeeper(this);
    // A photo that goes from one list to the other is for a moment in both, or in neither.
    for (const PhotoList* other : {&photos_, &removedPhotos_}) {
        if (other == &list) continue;
        for (const PhotoPointer& photo : *other) photo->setKeeper(this);
    }
    assign(field, list, std::move(value));
}

PhotoPointer FilmRoll::photoNamed(std::string_view filename) const {
    const auto found = std::find_if(photos_.begin(), photos_.end(), [filename](const PhotoPointer& photo) {
        return photo->filename() == filename;
    });
    return found == photos_.end() ? nullptr : *found;
}

bool FilmRoll::isCloudHosted() const { return detectCloudStorage(sourceFolder_, services_.home).has_value(); }

void FilmRoll::resetCloudAvailability() {
    setCloudAvailability(isCloudHosted() ? CloudAvailability::unknown : CloudAvailability::available);
}

PhotoList FilmRoll::displayPhotos() const {
    if (!hideFlagged_) return photos_;
    PhotoList shown;
    for (const PhotoPointer& photo : photos_) {
        if (photo->sortedQualityLabels().empty()) shown.push_back(photo);
    }
    return shown;
}

int FilmRoll::flaggedCount() const {
    return static_cast<int>(std::count_if(photos_.begin(), photos_.end(), [](const PhotoPointer& photo) {
        return !photo->sortedQualityLabels().empty();
    }));
}

void FilmRoll::renumberPhotos() {
    int index = 0;
    for (const PhotoPointer& photo : photos_) photo->setSortIndex(index++);
}

std::string FilmRoll::cameraDisplayName() const {
    std::vector<std::string> parts;
    if (!cameraMake_.empty()) parts.push_back(cameraMake_);
    if (!cameraModel_.empty()) parts.push_back(cameraModel_);
    return joined(parts, " ");
}

RollContext FilmRoll::searchContext() const {
    return {.cameraMake = cameraMake_,
            .cameraModel = cameraModel_,
            .filmName = filmName_,
            .filmISO = filmISO_,
            .notes = notes_};
}

void FilmRoll::markExportDirty() {
    if (lastExported_) setExportDirty(true);
}

bool FilmRoll::hasCameraOrFilmMetadata() const {
    return !cameraMake_.empty() || !cameraModel_.empty() || !filmName_.empty() || !notes_.empty() ||
           filmISO_.has_value();
}

bool FilmRoll::hasMetadataAtRisk() const { return removalWarning().has_value(); }

std::optional<std::string> FilmRoll::removalWarning() const {
    if (workflowState_ == WorkflowState::metadataAssigned) {
        return "This roll has dates assigned that haven't been exported yet. Removing it will permanently "
               "delete this metadata. Reopening the folder won't restore it.";
    }
    if (workflowState_ == WorkflowState::exported && exportDirty_ == true) {
        return "This roll has changes since its last export that haven't been saved to the files. Removing "
               "it will permanently delete those changes.";
    }
    if (hasCameraOrFilmMetadata()) {
        return "This roll has camera and film metadata that will be permanently deleted.";
    }
    return std::nullopt;
}

std::optional<std::pair<Instant, Instant>> FilmRoll::captureDateRange() const {
    std::optional<std::pair<Instant, Instant>> range;
    for (const PhotoPointer& photo : photos_) {
        if (!photo->captureDate()) continue;
        const Instant date = *photo->captureDate();
        if (!range) range.emplace(date, date);
        range->first = std::min(range->first, date);
        range->second = std::max(range->second, date);
    }
    return range;
}

std::string FilmRoll::dateRange() const {
    const auto range = captureDateRange();
    if (!range) return {};
    const std::string first = services_.language.mediumDate(range->first);
    const std::string last = services_.language.mediumDate(range->second);
    return first == last ? first : first + " – " + last;
}

std::string FilmRoll::sourceFolderBreadcrumb() const {
    std::string_view path = sourceFolder_.string();
    std::vector<std::string> parts;
    const std::string& home = services_.home.string();
    if (!home.empty() && path.starts_with(home) && (path.size() == home.size() || path[home.size()] == '/')) {
        parts.emplace_back("~");
        path.remove_prefix(home.size());
    }
    for (std::string& part : split(path, '/')) {
        if (!part.empty()) parts.push_back(std::move(part));
    }
    return joined(parts, " › ");
}

}  // namespace kelvaris

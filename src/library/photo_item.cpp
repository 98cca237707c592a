#include "library/photo_item.h"

#include "library/undo_stack.h"

namespace kelvaris {

bool isStored(PhotoField field) {
    switch (field) {
        case PhotoField::sortIndex:
        case PhotoField::captureDate:
        case PhotoField::latitude:
        case PhotoField::longitude:
        case PhotoField::dateSource:
        case PhotoField::locationSource:
        case PhotoField::placeName:
        case PhotoField::rotation:
        case PhotoField::orientationDecision:
        case PhotoField::orientationCacheVersion:
        case PhotoField::rotationSource:
        case PhotoField::visionTags:
        case PhotoField::clipEmbedding:
        case PhotoField::labels:
        case PhotoField::manualLabelOverrides:
        case PhotoField::qualityScore:
        case PhotoField::nimaScore:
        case PhotoField::dominantColors:
        case PhotoField::perceptualHash:
        case PhotoField::placeCategories:
        case PhotoField::clipLabels:
        case PhotoField::faceRegions:
        case PhotoField::faceAnalysisStamp:
        case PhotoField::discoveryRevision:
        case PhotoField::peopleCount:
        case PhotoField::labelsAnalyzed:
        case PhotoField::isMissing:
            return true;
        case PhotoField::sourceURL:
        case PhotoField::isVisible:
        case PhotoField::fileCreationDate:
        case PhotoField::fileModificationDate:
        case PhotoField::exifDateTaken:
        case PhotoField::rotationRevision:
        case PhotoField::analysisGeneration:
        case PhotoField::displayRotationDegrees:
        case PhotoField::thumbnail:
        case PhotoField::thumbnailIsPlaceholder:
        case PhotoField::previewImage:
        case PhotoField::loadState:
        case PhotoField::sortedQualityLabels:
        case PhotoField::sortedSubjectLabels:
        case PhotoField::sortedLabels:
        case PhotoField::displaySubjectLabels:
        case PhotoField::thumbnailCGImage:
            return false;
    }
    return false;
}

PhotoItem::PhotoItem(Path sourceURL, int sortIndex)
    : sourceURL_(std::move(sourceURL)), filename_(sourceURL_.filename()), sortIndex_(sortIndex) {}

const TagConfidences& PhotoItem::visionTags() const {
    static const TagConfidences none;
    return visionTags_ ? *visionTags_ : none;
}

void PhotoItem::setVisionTags(TagConfidences value) {
    SharedValue<TagConfidences> shared;
    if (!value.empty()) shared = std::move(value);
    assign(PhotoField::visionTags, visionTags_, std::move(shared));
}

void PhotoItem::clearLocation() {
    setLatitude(std::nullopt);
    setLongitude(std::nullopt);
    setLocationSource(std::nullopt);
    setPlaceName(std::nullopt);
}

void PhotoItem::setRotation(RotationAngle value) {
    if (value == rotation_) return;
    rotation_ = value;
    ++rotationRevision_;
    notify(PhotoField::rotation);
    notify(PhotoField::rotationRevision);
}

bool PhotoItem::needsRotationReview() const {
    if (rotationSource_ == MetadataSource::photo) return false;
    return orientationDecision_ && orientationDecision_->status == OrientationDecision::Status::uncertain;
}

void PhotoItem::invalidateOrientationCaches() {
    setClipEmbedding(std::nullopt);
    setFaceRegions(std::nullopt);
    setFaceAnalysisStamp(std::nullopt);
    setDiscoveryRevision(std::nullopt);
    setPerceptualHash(std::nullopt);
    setOrientationDecision(std::nullopt);
}

void PhotoItem::setThumbnail(Image value) {
    if (value == thumbnail_) return;
    thumbnail_ = std::move(value);
    updateThumbnailState();
    notify(PhotoField::thumbnail);
}

void PhotoItem::setThumbnailIsPlaceholder(bool value) {
    if (value == thumbnailIsPlaceholder_) return;
    thumbnailIsPlaceholder_ = value;
    updateThumbnailState();
    notify(PhotoField::thumbnailIsPlaceholder);
}

void PhotoItem::updateThumbnailState() {
    ThumbnailState state = ThumbnailState::none;
    if (thumbnail_) state = thumbnailIsPlaceholder_ ? ThumbnailState::placeholder : ThumbnailState::complete;
    thumbnailState_.store(state, std::memory_order_relaxed);
}

PhotoLabelSet PhotoItem::displaySubjectLabels() const {
    return sortedSubjectLabels() - PhotoLabelSet{PhotoLabel::face, PhotoLabel::person};
}

void PhotoItem::setLabels(PhotoLabelSet value) {
    if (value == labels_) return;
    const PhotoLabelSet changed = (value - labels_) | (labels_ - value);
    const PhotoLabelSet displayedBefore = displaySubjectLabels();
    labels_ = value;
    notify(PhotoField::labels);
    notify(PhotoField::sortedLabels);
    if (!(changed & qualityLabelSet).empty()) notify(PhotoField::sortedQualityLabels);
    if (!(changed & subjectLabelSet).empty()) notify(PhotoField::sortedSubjectLabels);
    if (displaySubjectLabels() != displayedBefore) notify(PhotoField::displaySubjectLabels);
}

void PhotoItem::applySuggestedLabels(const PhotoLabelSet& suggested) {
    PhotoLabelSet merged = labels_;
    for (const PhotoLabel label : suggested) {
        const auto override = manualLabelOverrides_.find(std::string(rawValue(label)));
        if (override != manualLabelOverrides_.end() && !override->second) continue;
        const bool isNewSubject = isSubjectLabel(label) && !merged.contains(label);
        if (isNewSubject && (merged & subjectLabelSet).size() >= suggestedSubjectLimit) continue;
        merged.insert(label);
    }
    for (const auto& [word, present] : manualLabelOverrides_) {
        const auto label = fromRawValue<PhotoLabel>(word);
        if (!label) continue;
        if (present) {
            merged.insert(*label);
        } else {
            merged.erase(*label);
        }
    }
    setLabels(merged);
}

void PhotoItem::clearSuggestedLabels() {
    PhotoLabelSet forced;
    for (const auto& [word, present] : manualLabelOverrides_) {
        const auto label = fromRawValue<PhotoLabel>(word);
        if (label && present) forced.insert(*label);
    }
    setLabels(forced);
}

void PhotoItem::setOverride(PhotoLabel label, std::optional<bool> present) {
    auto overrides = manualLabelOverrides_;
    if (present) {
        overrides[std::string(rawValue(label))] = *present;
    } else {
        overrides.erase(std::string(rawValue(label)));
    }
    setManualLabelOverrides(std::move(overrides));
}

void PhotoItem::setLabelPresent(PhotoLabel label, bool present) {
    PhotoLabelSet changed = labels_;
    if (present) {
        changed.insert(label);
    } else {
        changed.erase(label);
    }
    setLabels(changed);
}

void PhotoItem::setManualLabel(PhotoLabel label, bool present, UndoStack* undoStack,
                               std::function<void()> selectPhoto) {
    std::optional<bool> oldOverride;
    const auto found = manualLabelOverrides_.find(std::string(rawValue(label)));
    if (found != manualLabelOverrides_.end()) oldOverride = found->second;
    const bool wasPresent = labels_.contains(label);

    setOverride(label, present);
    setLabelPresent(label, present);
    if (!undoStack) return;

    const auto show = [selectPhoto = std::move(selectPhoto)] {
        if (selectPhoto) selectPhoto();
    };
    undoStack->push({.label = (present ? "Add " : "Remove ") + std::string(displayName(label)),
                     .undo =
                         [photo = shared_from_this(), show, label, oldOverride, wasPresent] {
                             show();
                             photo->setOverride(label, oldOverride);
                             photo->setLabelPresent(label, wasPresent);
                         },
                     .redo =
                         [photo = shared_from_this(), show, label, present] {
                             show();
                             photo->setOverride(label, present);
                             photo->setLabelPresent(label, present);
                         }});
}

void PhotoItem::applyEXIF(const EXIFResult& result) {
    if ((!latitude_ || !longitude_) && result.latitude && result.longitude) {
        setLatitude(result.latitude);
        setLongitude(result.longitude);
        setLocationSource(MetadataSource::exif);
    }
    if (!captureDate_ && result.captureDate) {
        setCaptureDate(result.captureDate);
        setDateSource(MetadataSource::exif);
    }
    if (!captureDate_ && fileCreationDate_) setCaptureDate(fileCreationDate_);
}

}  // namespace kelvaris

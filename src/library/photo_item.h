#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "base/instant.h"
#include "base/observable.h"
#include "base/path.h"
#include "base/uuid.h"
#include "metadata/exif_service.h"
#include "platform/images.h"
#include "vocabulary/analysis_result.h"
#include "vocabulary/face_analysis_stamp.h"
#include "vocabulary/face_region.h"
#include "vocabulary/metadata_source.h"
#include "vocabulary/orientation_decision.h"
#include "vocabulary/photo_label.h"
#include "vocabulary/rotation_angle.h"
#include "vocabulary/shared_value.h"

namespace kelvaris {

class UndoStack;

/// What of a photo can be watched.
enum class PhotoField : std::uint8_t {
    sourceURL,
    sortIndex,
    isVisible,
    captureDate,
    fileCreationDate,
    fileModificationDate,
    exifDateTaken,
    latitude,
    longitude,
    dateSource,
    locationSource,
    placeName,
    rotation,
    rotationRevision,
    analysisGeneration,
    orientationDecision,
    orientationCacheVersion,
    displayRotationDegrees,
    rotationSource,
    visionTags,
    clipEmbedding,
    thumbnail,
    thumbnailIsPlaceholder,
    previewImage,
    labels,
    manualLabelOverrides,
    qualityScore,
    nimaScore,
    dominantColors,
    perceptualHash,
    placeCategories,
    clipLabels,
    faceRegions,
    faceAnalysisStamp,
    discoveryRevision,
    peopleCount,
    labelsAnalyzed,
    loadState,
    sortedQualityLabels,
    sortedSubjectLabels,
    sortedLabels,
    displaySubjectLabels,
    isMissing,
    thumbnailCGImage,
};

/// Whether the roll's file or its sidecar holds the field, so that a change of it has to be saved.
bool isStored(PhotoField field);

class PhotoItem;

/// What a photo belongs to: hears of every change of its fields, after its observers. One for each photo,
/// since a library holds half a million of them and watching each one would cost more than it holds.
class PhotoKeeper {
public:
    virtual void photoChanged(PhotoItem& photo, PhotoField field) = 0;

protected:
    ~PhotoKeeper() = default;
};

/// One scanned frame of a roll: its file, everything known about it, and the state of its pixels.
///
/// Held by shared pointer; main thread, but for thumbnailState(). Photos number in the hundreds of
/// thousands, so what most photos lack takes little room here.
class PhotoItem : public Observable<PhotoField>, public std::enable_shared_from_this<PhotoItem> {
public:
    enum class LoadState : std::uint8_t { pending, loaded, failed };
    using EXIFResult = kelvaris::EXIFResult;
    using Embedding = SharedValue<std::vector<float>>;
    using FaceRegions = SharedValue<std::vector<FaceRegion>>;

    /// The orientation cache version that results of the current orientation model leave behind.
    static constexpr int currentOrientationCacheVersion = 1;
    /// Subject labels that suggestions may bring a photo to.
    static constexpr std::size_t suggestedSubjectLimit = 4;

    PhotoItem(Path sourceURL, int sortIndex);

    /// Identity in this session; not stored.
    PhotoID id() const { return id_; }
    /// The key of the photo in the roll's file.
    const std::string& filename() const { return filename_; }
    /// The roll that the photo is in; null outside of any. It outlives its hold on the photo.
    PhotoKeeper* keeper() const { return keeper_; }
    void setKeeper(PhotoKeeper* keeper) { keeper_ = keeper; }

    const Path& sourceURL() const { return sourceURL_; }
    void setSourceURL(Path value) { assign(PhotoField::sourceURL, sourceURL_, std::move(value)); }
    int sortIndex() const { return sortIndex_; }
    void setSortIndex(int value) { assign(PhotoField::sortIndex, sortIndex_, value); }
    /// Set by the staggered reveal.
    bool isVisible() const { return isVisible_; }
    void setIsVisible(bool value) { assign(PhotoField::isVisible, isVisible_, value); }

    // --- When and where

    /// The date that the user sees.
    const std::optional<Instant>& captureDate() const { return captureDate_; }
    void setCaptureDate(std::optional<Instant> value) {
        assign(PhotoField::captureDate, captureDate_, value);
    }
    const std::optional<Instant>& fileCreationDate() const { return fileCreationDate_; }
    void setFileCreationDate(std::optional<Instant> value) {
        assign(PhotoField::fileCreationDate, fileCreationDate_, value);
    }
    const std::optional<Instant>& fileModificationDate() const { return fileModificationDate_; }
    void setFileModificationDate(std::optional<Instant> value) {
        assign(PhotoField::fileModificationDate, fileModificationDate_, value);
    }
    /// The date in the file, written by the analysis pipeline alone.
    const std::optional<Instant>& exifDateTaken() const { return exifDateTaken_; }
    void setExifDateTaken(std::optional<Instant> value) {
        assign(PhotoField::exifDateTaken, exifDateTaken_, value);
    }
    /// Degrees, south negative.
    const std::optional<double>& latitude() const { return latitude_; }
    void setLatitude(std::optional<double> value) { assign(PhotoField::latitude, latitude_, value); }
    /// Degrees, west negative.
    const std::optional<double>& longitude() const { return longitude_; }
    void setLongitude(std::optional<double> value) { assign(PhotoField::longitude, longitude_, value); }
    const std::optional<MetadataSource>& dateSource() const { return dateSource_; }
    void setDateSource(std::optional<MetadataSource> value) {
        assign(PhotoField::dateSource, dateSource_, value);
    }
    const std::optional<MetadataSource>& locationSource() const { return locationSource_; }
    void setLocationSource(std::optional<MetadataSource> value) {
        assign(PhotoField::locationSource, locationSource_, value);
    }
    const std::optional<std::string>& placeName() const { return placeName_; }
    void setPlaceName(std::optional<std::string> value) {
        assign(PhotoField::placeName, placeName_, std::move(value));
    }
    /// Sets latitude, longitude, locationSource and placeName to none.
    void clearLocation();

    // --- Rotation

    /// How the photo is shown and exported.
    RotationAngle rotation() const { return rotation_; }
    /// A change raises rotationRevision.
    void setRotation(RotationAngle value);
    int rotationRevision() const { return rotationRevision_; }
    const std::optional<MetadataSource>& rotationSource() const { return rotationSource_; }
    void setRotationSource(std::optional<MetadataSource> value) {
        assign(PhotoField::rotationSource, rotationSource_, value);
    }
    /// The angle that an animated view turns by; may be -90 where the rotation says 270, and beyond 360.
    double displayRotationDegrees() const { return displayRotationDegrees_; }
    void setDisplayRotationDegrees(double value) {
        assign(PhotoField::displayRotationDegrees, displayRotationDegrees_, value);
    }
    const SharedValue<OrientationDecision>& orientationDecision() const { return orientationDecision_; }
    void setOrientationDecision(SharedValue<OrientationDecision> value) {
        assign(PhotoField::orientationDecision, orientationDecision_, std::move(value));
    }
    const std::optional<int>& orientationCacheVersion() const { return orientationCacheVersion_; }
    void setOrientationCacheVersion(std::optional<int> value) {
        assign(PhotoField::orientationCacheVersion, orientationCacheVersion_, value);
    }
    bool isOrthogonalRotation() const {
        return rotation_ == RotationAngle::clockwise90 || rotation_ == RotationAngle::clockwise270;
    }
    /// Whether the user should look at the orientation: an uncertain decision that is not their own.
    bool needsRotationReview() const;
    /// Drops what was computed from the pixels as they stood: vectors, faces, hash and decision. Labels
    /// and scores stay. Called before a rotation is changed.
    void invalidateOrientationCaches();

    // --- Pixels (caches; never stored)

    /// At most 300 pixels on the long side.
    const Image& thumbnail() const { return thumbnail_; }
    void setThumbnail(Image value);
    /// The thumbnail is the file's own small picture, a stop-gap.
    bool thumbnailIsPlaceholder() const { return thumbnailIsPlaceholder_; }
    void setThumbnailIsPlaceholder(bool value);
    /// The large picture of the selected photo.
    const Image& previewImage() const { return previewImage_; }
    void setPreviewImage(Image value) { assign(PhotoField::previewImage, previewImage_, std::move(value)); }
    /// The bitmap kept for analysis between loading and use.
    const Image& thumbnailCGImage() const { return thumbnailCGImage_; }
    void setThumbnailCGImage(Image value) {
        assign(PhotoField::thumbnailCGImage, thumbnailCGImage_, std::move(value));
    }
    LoadState loadState() const { return loadState_; }
    void setLoadState(LoadState value) { assign(PhotoField::loadState, loadState_, value); }

    enum class ThumbnailState : std::uint8_t { none, placeholder, complete };
    /// Any thread: a worker asks it just before it reads a file.
    ThumbnailState thumbnailState() const { return thumbnailState_.load(std::memory_order_relaxed); }

    // --- Labels

    /// The truth of labelling. The sorted lists below are views of it, so they never lag behind.
    const PhotoLabelSet& labels() const { return labels_; }
    void setLabels(PhotoLabelSet value);
    PhotoLabelSet sortedLabels() const { return labels_; }
    PhotoLabelSet sortedQualityLabels() const { return labels_ & qualityLabelSet; }
    PhotoLabelSet sortedSubjectLabels() const { return labels_ & subjectLabelSet; }
    /// Without face and person.
    PhotoLabelSet displaySubjectLabels() const;
    /// By stored word: true forces the label on, false forces it off. Foreign words are kept.
    const std::map<std::string, bool>& manualLabelOverrides() const { return manualLabelOverrides_; }
    void setManualLabelOverrides(std::map<std::string, bool> value) {
        assign(PhotoField::manualLabelOverrides, manualLabelOverrides_, std::move(value));
    }

    /// Adds what analysis suggests: in label order, up to suggestedSubjectLimit subject labels, never
    /// against an override; then every override is applied. Takes nothing away that was there before.
    void applySuggestedLabels(const PhotoLabelSet& suggested);
    /// Leaves exactly the labels that the user forced on.
    void clearSuggestedLabels();
    /// The user's label command.
    /// @param undoStack gets "Add <name>" or "Remove <name>"; may be null.
    /// @param selectPhoto shows the photo again before its undo and redo; may be empty.
    void setManualLabel(PhotoLabel label, bool present, UndoStack* undoStack,
                        std::function<void()> selectPhoto);

    // --- What analysis found

    double qualityScore() const { return qualityScore_; }
    void setQualityScore(double value) { assign(PhotoField::qualityScore, qualityScore_, value); }
    const std::optional<double>& nimaScore() const { return nimaScore_; }
    void setNimaScore(std::optional<double> value) { assign(PhotoField::nimaScore, nimaScore_, value); }
    int peopleCount() const { return peopleCount_; }
    void setPeopleCount(int value) { assign(PhotoField::peopleCount, peopleCount_, value); }
    /// The photo has taken a complete pass of analysis.
    bool labelsAnalyzed() const { return labelsAnalyzed_; }
    void setLabelsAnalyzed(bool value) { assign(PhotoField::labelsAnalyzed, labelsAnalyzed_, value); }
    /// Stamp of the latest analysis run that took this photo.
    RunStamp analysisGeneration() const { return analysisGeneration_; }
    void setAnalysisGeneration(RunStamp value) {
        assign(PhotoField::analysisGeneration, analysisGeneration_, value);
    }
    const TagConfidences& visionTags() const;
    /// The same, shared with whoever takes a snapshot; none when empty.
    const SharedValue<TagConfidences>& sharedVisionTags() const { return visionTags_; }
    void setVisionTags(TagConfidences value);
    const std::optional<TagConfidences>& placeCategories() const { return placeCategories_; }
    void setPlaceCategories(std::optional<TagConfidences> value) {
        assign(PhotoField::placeCategories, placeCategories_, std::move(value));
    }
    const std::optional<std::vector<std::string>>& dominantColors() const { return dominantColors_; }
    void setDominantColors(std::optional<std::vector<std::string>> value) {
        assign(PhotoField::dominantColors, dominantColors_, std::move(value));
    }
    const std::optional<std::string>& perceptualHash() const { return perceptualHash_; }
    void setPerceptualHash(std::optional<std::string> value) {
        assign(PhotoField::perceptualHash, perceptualHash_, std::move(value));
    }
    const std::optional<std::vector<std::string>>& clipLabels() const { return clipLabels_; }
    void setClipLabels(std::optional<std::vector<std::string>> value) {
        assign(PhotoField::clipLabels, clipLabels_, std::move(value));
    }
    const Embedding& clipEmbedding() const { return clipEmbedding_; }
    void setClipEmbedding(Embedding value) {
        assign(PhotoField::clipEmbedding, clipEmbedding_, std::move(value));
    }
    /// None: faces were not looked for; empty: none were found.
    const FaceRegions& faceRegions() const { return faceRegions_; }
    void setFaceRegions(FaceRegions value) {
        assign(PhotoField::faceRegions, faceRegions_, std::move(value));
    }
    const std::optional<FaceAnalysisStamp>& faceAnalysisStamp() const { return faceAnalysisStamp_; }
    void setFaceAnalysisStamp(std::optional<FaceAnalysisStamp> value) {
        assign(PhotoField::faceAnalysisStamp, faceAnalysisStamp_, value);
    }
    const std::optional<std::string>& discoveryRevision() const { return discoveryRevision_; }
    void setDiscoveryRevision(std::optional<std::string> value) {
        assign(PhotoField::discoveryRevision, discoveryRevision_, std::move(value));
    }

    /// The file is gone from the folder, or the folder is away. What is known of the photo stays; nothing
    /// that needs its pixels is done with it.
    bool isMissing() const { return isMissing_; }
    void setIsMissing(bool value) { assign(PhotoField::isMissing, isMissing_, value); }

    /// Takes over what the file says, never over anything that is set; without any date, the file's
    /// creation date, with no source.
    void applyEXIF(const EXIFResult& result);

private:
    template <class T, class U>
    void assign(PhotoField field, T& member, U&& value) {
        if (Observable::assign(field, member, std::forward<U>(value)) && keeper_) {
            keeper_->photoChanged(*this, field);
        }
    }
    void notify(PhotoField field) {
        Observable::notify(field);
        if (keeper_) keeper_->photoChanged(*this, field);
    }

    void setOverride(PhotoLabel label, std::optional<bool> present);
    void setLabelPresent(PhotoLabel label, bool present);
    void updateThumbnailState();

    const PhotoID id_ = PhotoID::random();
    PhotoKeeper* keeper_ = nullptr;
    Path sourceURL_;
    const std::string filename_;
    std::optional<Instant> captureDate_;
    std::optional<Instant> fileCreationDate_;
    std::optional<Instant> fileModificationDate_;
    std::optional<Instant> exifDateTaken_;
    std::optional<double> latitude_;
    std::optional<double> longitude_;
    std::optional<double> nimaScore_;
    double displayRotationDegrees_ = 0.0;
    double qualityScore_ = 0.0;
    RunStamp analysisGeneration_ = RunStamp::random();
    SharedValue<OrientationDecision> orientationDecision_;
    Embedding clipEmbedding_;
    FaceRegions faceRegions_;
    Image thumbnail_;
    Image previewImage_;
    Image thumbnailCGImage_;
    std::map<std::string, bool> manualLabelOverrides_;
    SharedValue<TagConfidences> visionTags_;
    std::optional<TagConfidences> placeCategories_;
    std::optional<std::string> placeName_;
    std::optional<std::string> perceptualHash_;
    std::optional<std::string> discoveryRevision_;
    std::optional<std::vector<std::string>> dominantColors_;
    std::optional<std::vector<std::string>> clipLabels_;
    std::optional<FaceAnalysisStamp> faceAnalysisStamp_;
    std::optional<int> orientationCacheVersion_;
    PhotoLabelSet labels_;
    int sortIndex_;
    int rotationRevision_ = 0;
    int peopleCount_ = 0;
    std::optional<MetadataSource> dateSource_;
    std::optional<MetadataSource> locationSource_;
    std::optional<MetadataSource> rotationSource_;
    RotationAngle rotation_ = RotationAngle::none;
    LoadState loadState_ = LoadState::pending;
    std::atomic<ThumbnailState> thumbnailState_{ThumbnailState::none};
    bool isVisible_ = false;
    bool thumbnailIsPlaceholder_ = false;
    bool labelsAnalyzed_ = false;
    bool isMissing_ = false;
};

template <>
struct RawValues<PhotoItem::LoadState> {
    static constexpr std::array rows{
        std::pair{PhotoItem::LoadState::pending, std::string_view("pending")},
        std::pair{PhotoItem::LoadState::loaded, std::string_view("loaded")},
        std::pair{PhotoItem::LoadState::failed, std::string_view("failed")},
    };
};

using PhotoPointer = std::shared_ptr<PhotoItem>;
using PhotoList = std::vector<PhotoPointer>;

}  // namespace kelvaris

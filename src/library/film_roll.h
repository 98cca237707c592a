#pragma once

#include <array>
#include <atomic>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "base/instant.h"
#include "base/observable.h"
#include "base/path.h"
#include "base/uuid.h"
#include "library/library_services.h"
#include "library/photo_item.h"
#include "metadata/location_service.h"
#include "vocabulary/file_fingerprint.h"
#include "vocabulary/film_format.h"
#include "vocabulary/roll_context.h"
#include "vocabulary/sort_option.h"
#include "vocabulary/status_notification.h"
#include "vocabulary/workflow_state.h"

namespace kelvaris {

/// What of a roll can be watched.
enum class RollField : std::uint8_t {
    name,
    sourceFolder,
    folderBookmarkData,
    photos,
    selectedPhoto,
    baseDate,
    sortOption,
    sortAscending,
    isExporting,
    exportProgress,
    statusNotification,
    hideFlagged,
    isAnalyzing,
    isQueuedForReanalysis,
    needsFullActivation,
    workflowState,
    lastExported,
    exportDirty,
    dateOpened,
    isDisconnected,
    storedFingerprint,
    cameraMake,
    cameraModel,
    cameraFormat,
    filmName,
    filmISO,
    notes,
    analysisRunID,
    cloudAvailability,
    removedPhotos,
    contentRevision,
};

/// Whether the roll's file holds the field, so that a change of it has to be saved.
bool isStored(RollField field);

/// A worker's task that can be called off; checked by the worker before its long steps.
using CancellationFlag = std::shared_ptr<std::atomic<bool>>;

/// One folder of scans seen as one roll of film: its photos, what the photographer says about them, and
/// how far loading and analysis have come.
///
/// The record alone. What is done with a roll stands in free functions beside it: roll_loading,
/// roll_analysis, roll_selection, roll_dates, roll_editing, roll_export. Main thread only; held by
/// shared pointer, and weakly by everything that comes back later.
class FilmRoll : public Observable<RollField>,
                 public std::enable_shared_from_this<FilmRoll>,
                 private PhotoKeeper {
public:
    /// Whether the bytes of a roll in cloud storage could be had. A local folder is always available.
    enum class CloudAvailability : std::uint8_t { unknown, available, unavailable };

    /// Extensions, in lower case, of files that are photos.
    static constexpr std::array<std::string_view, 6> imageExtensions{"jpg",  "jpeg", "png",
                                                                     "tiff", "tif",  "heic"};
    /// Whether the name's extension, in any case, is one of imageExtensions.
    static bool isImageFile(const Path& path);

    /// @param services outlives the roll.
    static std::shared_ptr<FilmRoll> make(Path sourceFolder, RollID id, const LibraryServices& services);

    ~FilmRoll();

    RollID id() const { return id_; }
    /// Rises with every change of a value that is stored, of the roll itself or of one of its photos. Whoever
    /// saves remembers the number that it saved: another number means unsaved work, whoever did it.
    std::uint64_t contentRevision() const { return contentRevision_; }
    const LibraryServices& services() const { return services_; }
    LocationService& locationService() { return locationService_; }
    const LocationService& locationService() const { return locationService_; }

    // --- The folder

    /// The folder's name, and the name that the user sees.
    const std::string& name() const { return name_; }
    void setName(std::string value) { assign(RollField::name, name_, std::move(value)); }
    const Path& sourceFolder() const { return sourceFolder_; }
    void setSourceFolder(Path value) { assign(RollField::sourceFolder, sourceFolder_, std::move(value)); }
    /// The token by which the folder is found after a restart; opaque.
    const std::optional<std::string>& folderBookmarkData() const { return folderBookmarkData_; }
    void setFolderBookmarkData(std::optional<std::string> value) {
        assign(RollField::folderBookmarkData, folderBookmarkData_, std::move(value));
    }
    /// The folder cannot be reached; the roll stands on its stored data alone, and all its photos are
    /// missing.
    bool isDisconnected() const { return isDisconnected_; }
    void setIsDisconnected(bool value) { assign(RollField::isDisconnected, isDisconnected_, value); }
    /// Why the roll is away, as "its folder holds other files"; empty when it is not.
    const std::string& awayReason() const { return awayReason_; }
    void setAwayReason(std::string value) {
        assign(RollField::isDisconnected, awayReason_, std::move(value));
    }
    /// The folder's files as they were at the last load or save.
    const std::vector<FileFingerprint>& storedFingerprint() const { return storedFingerprint_; }
    void setStoredFingerprint(std::vector<FileFingerprint> value) {
        assign(RollField::storedFingerprint, storedFingerprint_, std::move(value));
    }
    CloudAvailability cloudAvailability() const { return cloudAvailability_; }
    void setCloudAvailability(CloudAvailability value) {
        assign(RollField::cloudAvailability, cloudAvailability_, value);
    }
    /// Whether the folder lies in a cloud service's tree.
    bool isCloudHosted() const;
    /// As at creation: available for a local folder, unknown for one in the cloud.
    void resetCloudAvailability();

    // --- Photos

    /// In display order.
    const PhotoList& photos() const { return photos_; }
    void setPhotos(PhotoList value);
    /// Photos that the user took out. Their files stay in the folder and what is known of them in the roll's
    /// file, so that they stay out over restarts and come back whole.
    const PhotoList& removedPhotos() const { return removedPhotos_; }
    void setRemovedPhotos(PhotoList value);
    /// The photo of that file name among the photos; null when there is none.
    PhotoPointer photoNamed(std::string_view filename) const;
    const PhotoPointer& selectedPhoto() const { return selectedPhoto_; }
    /// The field alone; use selectPhoto() of roll_selection.h to select.
    void setSelectedPhoto(PhotoPointer value) {
        assign(RollField::selectedPhoto, selectedPhoto_, std::move(value));
    }
    SortOption sortOption() const { return sortOption_; }
    void setSortOption(SortOption value) { assign(RollField::sortOption, sortOption_, value); }
    bool sortAscending() const { return sortAscending_; }
    void setSortAscending(bool value) { assign(RollField::sortAscending, sortAscending_, value); }
    /// Hides photos with a quality label from displayPhotos().
    bool hideFlagged() const { return hideFlagged_; }
    void setHideFlagged(bool value) { assign(RollField::hideFlagged, hideFlagged_, value); }
    /// Where the date assignment begins; at first the earliest file creation date.
    Instant baseDate() const { return baseDate_; }
    void setBaseDate(Instant value) { assign(RollField::baseDate, baseDate_, value); }

    PhotoList displayPhotos() const;
    /// Photos with at least one quality label.
    int flaggedCount() const;
    /// Numbers each photo's sortIndex by its position, from 0.
    void renumberPhotos();

    // --- Camera and film

    const std::string& cameraMake() const { return cameraMake_; }
    void setCameraMake(std::string value) { assign(RollField::cameraMake, cameraMake_, std::move(value)); }
    const std::string& cameraModel() const { return cameraModel_; }
    void setCameraModel(std::string value) { assign(RollField::cameraModel, cameraModel_, std::move(value)); }
    FilmFormat cameraFormat() const { return cameraFormat_; }
    void setCameraFormat(FilmFormat value) { assign(RollField::cameraFormat, cameraFormat_, value); }
    const std::string& filmName() const { return filmName_; }
    void setFilmName(std::string value) { assign(RollField::filmName, filmName_, std::move(value)); }
    const std::optional<int>& filmISO() const { return filmISO_; }
    void setFilmISO(std::optional<int> value) { assign(RollField::filmISO, filmISO_, value); }
    const std::string& notes() const { return notes_; }
    void setNotes(std::string value) { assign(RollField::notes, notes_, std::move(value)); }

    /// Make and model, joined by a blank.
    std::string cameraDisplayName() const;
    RollContext searchContext() const;

    // --- Workflow

    const std::optional<WorkflowState>& workflowState() const { return workflowState_; }
    void setWorkflowState(std::optional<WorkflowState> value) {
        assign(RollField::workflowState, workflowState_, value);
    }
    const std::optional<Instant>& lastExported() const { return lastExported_; }
    void setLastExported(std::optional<Instant> value) {
        assign(RollField::lastExported, lastExported_, value);
    }
    /// True: changed since the last export.
    const std::optional<bool>& exportDirty() const { return exportDirty_; }
    void setExportDirty(std::optional<bool> value) { assign(RollField::exportDirty, exportDirty_, value); }
    /// A roll that was exported has changed since; one that never was has nothing to be behind of.
    void markExportDirty();
    Instant dateOpened() const { return dateOpened_; }
    void setDateOpened(Instant value) { assign(RollField::dateOpened, dateOpened_, value); }

    /// Whether removing the roll loses something that the user entered.
    bool hasMetadataAtRisk() const;
    /// What to tell before removing the roll; nothing when nothing is lost.
    std::optional<std::string> removalWarning() const;

    // --- State of running work

    /// The latest message to the user.
    const std::optional<StatusNotification>& statusNotification() const { return statusNotification_; }
    void setStatusNotification(std::optional<StatusNotification> value) {
        assign(RollField::statusNotification, statusNotification_, std::move(value));
    }
    bool isAnalyzing() const { return isAnalyzing_; }
    void setIsAnalyzing(bool value) { assign(RollField::isAnalyzing, isAnalyzing_, value); }
    bool isQueuedForReanalysis() const { return isQueuedForReanalysis_; }
    void setIsQueuedForReanalysis(bool value) {
        assign(RollField::isQueuedForReanalysis, isQueuedForReanalysis_, value);
    }
    /// Restored or left behind: the photos are known, their pixels are not loaded.
    bool needsFullActivation() const { return needsFullActivation_; }
    void setNeedsFullActivation(bool value) {
        assign(RollField::needsFullActivation, needsFullActivation_, value);
    }
    /// Stamp of the latest run of analysis; an older run's end sees another stamp and does nothing.
    RunStamp analysisRunID() const { return analysisRunID_; }
    void setAnalysisRunID(RunStamp value) { assign(RollField::analysisRunID, analysisRunID_, value); }
    bool isExporting() const { return isExporting_; }
    void setIsExporting(bool value) { assign(RollField::isExporting, isExporting_, value); }
    /// 0 to 1.
    double exportProgress() const { return exportProgress_; }
    void setExportProgress(double value) { assign(RollField::exportProgress, exportProgress_, value); }
    /// The preview load in flight; null when there is none.
    const CancellationFlag& currentLoadTask() const { return currentLoadTask_; }
    void setCurrentLoadTask(CancellationFlag value) { currentLoadTask_ = std::move(value); }

    // --- Display texts

    /// The earliest and the latest capture date; nothing without dated photos.
    std::optional<std::pair<Instant, Instant>> captureDateRange() const;
    /// "14 Mar 2026", "14 Mar 2026 – 16 Mar 2026", or empty without dates.
    std::string dateRange() const;
    /// The folders that lead to the scans: "~ › Pictures › scans".
    std::string sourceFolderBreadcrumb() const;

private:
    FilmRoll(Path sourceFolder, RollID id, const LibraryServices& services);

    template <class T, class U>
    void assign(RollField field, T& member, U&& value) {
        if (Observable::assign(field, member, std::forward<U>(value)) && isStored(field)) touch();
    }
    void touch();
    void photoChanged(PhotoItem& photo, PhotoField field) override;
    void setPhotoList(RollField field, PhotoList& list, PhotoList value);

    bool hasCameraOrFilmMetadata() const;

    const RollID id_;
    const LibraryServices& services_;
    LocationService locationService_;
    std::string name_;
    Path sourceFolder_;
    std::optional<std::string> folderBookmarkData_;
    PhotoList photos_;
    PhotoList removedPhotos_;
    std::uint64_t contentRevision_ = 0;
    std::string awayReason_;
    PhotoPointer selectedPhoto_;
    Instant baseDate_;
    SortOption sortOption_ = SortOption::filename;
    bool sortAscending_ = true;
    bool isExporting_ = false;
    double exportProgress_ = 0.0;
    std::optional<StatusNotification> statusNotification_;
    bool hideFlagged_ = false;
    bool isAnalyzing_ = false;
    bool isQueuedForReanalysis_ = false;
    bool needsFullActivation_ = false;
    bool isDisconnected_ = false;
    std::optional<WorkflowState> workflowState_;
    std::optional<Instant> lastExported_;
    std::optional<bool> exportDirty_;
    Instant dateOpened_;
    std::vector<FileFingerprint> storedFingerprint_;
    std::string cameraMake_;
    std::string cameraModel_;
    FilmFormat cameraFormat_ = FilmFormat::thirtyFiveMM;
    std::string filmName_;
    std::optional<int> filmISO_;
    std::string notes_;
    RunStamp analysisRunID_ = RunStamp::random();
    CancellationFlag currentLoadTask_;
    CloudAvailability cloudAvailability_ = CloudAvailability::unknown;
};

template <>
struct RawValues<FilmRoll::CloudAvailability> {
    static constexpr std::array rows{
        std::pair{FilmRoll::CloudAvailability::unknown, std::string_view("unknown")},
        std::pair{FilmRoll::CloudAvailability::available, std::string_view("available")},
        std::pair{FilmRoll::CloudAvailability::unavailable, std::string_view("unavailable")},
    };
};

using RollPointer = std::shared_ptr<FilmRoll>;

}  // namespace kelvaris

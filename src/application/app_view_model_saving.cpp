// When a change reaches the disk.

#include <algorithm>
#include <array>

#include "application/app_view_model.h"

namespace kelvaris {

namespace {

/// The fields of the open roll whose change schedules a save.
constexpr std::array savedRollFields{
    RollField::cameraMake, RollField::cameraModel, RollField::filmName,   RollField::filmISO,
    RollField::notes,      RollField::baseDate,    RollField::sortOption, RollField::sortAscending,
};

/// The fields of the selected photo whose change schedules a save.
constexpr std::array savedPhotoFields{
    PhotoField::captureDate, PhotoField::latitude, PhotoField::longitude,
    PhotoField::labels,      PhotoField::rotation,
};

/// Work on the whole roll ends with one of these writes: an analysis, an export, an assignment of dates.
bool endsWork(const FilmRoll& roll, RollField field) {
    return (field == RollField::isAnalyzing && !roll.isAnalyzing()) || field == RollField::workflowState ||
           field == RollField::lastExported;
}

template <class Fields, class Field>
bool contains(const Fields& fields, Field field) {
    return std::find(fields.begin(), fields.end(), field) != fields.end();
}

}  // namespace

void AppViewModel::observeActiveRoll() {
    photoObserver_.disconnect();
    rollObserver_.disconnect();
    if (!activeRoll_) return;
    rollObserver_ = activeRoll_->observe([this](RollField field) {
        if (field == RollField::selectedPhoto) observeSelectedPhoto();
        if (contains(savedRollFields, field) || endsWork(*activeRoll_, field)) scheduleSave(activeRoll_);
    });
    observeSelectedPhoto();
}

void AppViewModel::observeSelectedPhoto() {
    photoObserver_.disconnect();
    const PhotoPointer& photo = activeRoll_->selectedPhoto();
    if (!photo) return;
    photoObserver_ = photo->observe([this](PhotoField field) {
        if (contains(savedPhotoFields, field)) scheduleSave(activeRoll_);
    });
}

void AppViewModel::scheduleSave(const RollPointer& roll) {
    if (isResettingData_ || std::find(rolls_.begin(), rolls_.end(), roll) == rolls_.end()) return;
    services_.vault.scheduleSave(roll);
}

void AppViewModel::flushPendingSaves() {
    if (isResettingData_) return;
    const std::vector<RollPointer> waiting = services_.vault.pendingSaves();
    services_.vault.cancelPendingSaves();
    for (const RollPointer& roll : waiting) services_.vault.save(*roll);
    services_.favorites.flushPendingSaves();
    services_.preferences.flushVaultSync();
}

}  // namespace kelvaris

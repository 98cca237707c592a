#include "library/roll_editing.h"

#include <algorithm>
#include <compare>
#include <functional>
#include <unordered_map>

#include "library/roll_act.h"
#include "library/roll_selection.h"
#include "library/undo_stack.h"

namespace kelvaris {
namespace {

constexpr Spring dragSpring{.response = 0.25, .dampingFraction = 0.85, .blendDuration = 0.05};
constexpr Spring rotationSpring{.response = 0.3, .dampingFraction = 0.9, .blendDuration = 0.0};

/// A date that is not there counts as the greatest.
std::weak_ordering compareDates(const std::optional<Instant>& a, const std::optional<Instant>& b) {
    if (!a || !b) return b.has_value() <=> a.has_value();
    return *a <=> *b;
}

/// Every key that a sort may ask for, taken once a photo.
struct Keyed {
    PhotoPointer photo;
    std::string nameKey;
};

template <class Compare>
void stableSort(std::vector<Keyed>& photos, bool ascending, Compare compare) {
    std::stable_sort(photos.begin(), photos.end(), [&](const Keyed& a, const Keyed& b) {
        const auto order = compare(a, b);
        return ascending ? order < 0 : order > 0;
    });
}

void sortByPeople(std::vector<Keyed>& photos, bool ascending) {
    std::stable_sort(photos.begin(), photos.end(), [ascending](const Keyed& a, const Keyed& b) {
        const int left = a.photo->peopleCount();
        const int right = b.photo->peopleCount();
        if (left == 0 || right == 0) return left != 0 && right == 0;
        return ascending ? left < right : left > right;
    });
}

/// Everything about a photo that a rotation changes and its undo restores.
struct RotationState {
    RotationAngle rotation;
    std::optional<MetadataSource> source;
    double displayDegrees;
};

RotationState rotationState(const PhotoItem& photo) {
    return {photo.rotation(), photo.rotationSource(), photo.displayRotationDegrees()};
}

void applyRotation(FilmRoll& roll, PhotoItem& photo, const RotationState& state) {
    photo.invalidateOrientationCaches();
    photo.setRotation(state.rotation);
    roll.markExportDirty();
    photo.setRotationSource(state.source);
    roll.services().animate(rotationSpring, [&] { photo.setDisplayRotationDegrees(state.displayDegrees); });
}

void pushRotation(FilmRoll& roll, const PhotoPointer& photo, UndoStack* undoStack, const char* label,
                  const RotationState& before, const RotationState& after) {
    if (!undoStack) return;
    const auto restore = [weak = roll.weak_from_this(), photo](const RotationState& state) {
        const RollPointer living = weak.lock();
        if (!living) return;
        showPhoto(*living, photo);
        applyRotation(*living, *photo, state);
    };
    undoStack->push({.label = label,
                     .undo = [restore, before] { restore(before); },
                     .redo = [restore, after] { restore(after); },
                     .roll = roll.id()});
}

void rotateSelected(FilmRoll& roll, UndoStack* undoStack, const char* label,
                    RotationAngle (*next)(RotationAngle), double degrees) {
    const PhotoPointer photo = roll.selectedPhoto();
    if (!photo) return;
    const RotationState before = rotationState(*photo);
    const RotationState after{next(before.rotation), MetadataSource::photo, before.displayDegrees + degrees};
    applyRotation(roll, *photo, after);
    roll.services().play(Sound::rotate);
    pushRotation(roll, photo, undoStack, label, before, after);
}

}  // namespace

void orderPhotos(FilmRoll& roll) {
    const SortOption option = roll.sortOption();
    const Language& language = roll.services().language;
    std::vector<Keyed> photos;
    photos.reserve(roll.photos().size());
    for (const PhotoPointer& photo : roll.photos()) {
        photos.push_back({photo, option == SortOption::filename ? language.naturalSortKey(photo->filename())
                                                                : std::string()});
    }
    const bool ascending = roll.sortAscending();
    switch (option) {
        case SortOption::filename:
            stableSort(photos, ascending,
                       [](const Keyed& a, const Keyed& b) { return a.nameKey <=> b.nameKey; });
            break;
        case SortOption::captureDate:
            stableSort(photos, ascending, [](const Keyed& a, const Keyed& b) {
                return compareDates(a.photo->captureDate(), b.photo->captureDate());
            });
            break;
        case SortOption::fileModificationDate:
            stableSort(photos, ascending, [](const Keyed& a, const Keyed& b) {
                return compareDates(a.photo->fileModificationDate(), b.photo->fileModificationDate());
            });
            break;
        case SortOption::peopleCount:
            sortByPeople(photos, ascending);
            break;
        case SortOption::custom:
            stableSort(photos, true, [](const Keyed& a, const Keyed& b) {
                return a.photo->sortIndex() <=> b.photo->sortIndex();
            });
            break;
    }
    PhotoList ordered;
    ordered.reserve(photos.size());
    for (Keyed& each : photos) ordered.push_back(std::move(each.photo));
    roll.setPhotos(std::move(ordered));
}

void sortPhotos(FilmRoll& roll) {
    if (isManual(roll.sortOption())) {
        // An order by name leaves gaps and new numbers behind; what is shown is what the hand begins with.
        if (!std::ranges::is_sorted(roll.photos(), std::less<>(), &PhotoItem::sortIndex))
            roll.renumberPhotos();
        return;
    }
    orderPhotos(roll);
    roll.renumberPhotos();
}

bool dragPhotoOver(FilmRoll& roll, PhotoID dragged, PhotoID target, bool searchActive) {
    if (searchActive || dragged == target) return false;
    PhotoList photos = roll.photos();
    const auto withID = [&photos](PhotoID id) {
        return std::find_if(photos.begin(), photos.end(),
                            [id](const PhotoPointer& photo) { return photo->id() == id; });
    };
    const auto from = withID(dragged);
    const auto to = withID(target);
    if (from == photos.end() || to == photos.end()) return false;
    if (from < to) {
        std::rotate(from, from + 1, to + 1);
    } else {
        std::rotate(to, from, from + 1);
    }
    roll.services().animate(dragSpring, [&] { roll.setPhotos(std::move(photos)); });
    return true;
}

std::vector<PhotoID> photoOrder(const FilmRoll& roll) {
    std::vector<PhotoID> order;
    order.reserve(roll.photos().size());
    for (const PhotoPointer& photo : roll.photos()) order.push_back(photo->id());
    return order;
}

bool finishDrag(FilmRoll& roll, const std::vector<PhotoID>& preDragOrder, UndoStack* undoStack) {
    if (photoOrder(roll) == preDragOrder) return false;
    // The photos moved while they were dragged: the step begins with the order before.
    PhotoList dragged = roll.photos();
    std::unordered_map<PhotoID, PhotoPointer> byID;
    for (const PhotoPointer& photo : dragged) byID.emplace(photo->id(), photo);
    PhotoList before;
    for (const PhotoID id : preDragOrder) {
        if (const auto found = byID.find(id); found != byID.end()) before.push_back(found->second);
    }
    if (undoStack && before.size() == dragged.size()) roll.setPhotos(std::move(before));
    const RollAct act(roll);
    roll.setPhotos(std::move(dragged));
    roll.setSortOption(SortOption::custom);
    roll.renumberPhotos();
    act.end(undoStack, "Reorder Photos");
    roll.services().play(Sound::reorder);
    return true;
}

void rotateSelectedClockwise(FilmRoll& roll, UndoStack* undoStack) {
    rotateSelected(roll, undoStack, "Rotate Clockwise", rotatedClockwise, 90.0);
}

void rotateSelectedCounterClockwise(FilmRoll& roll, UndoStack* undoStack) {
    rotateSelected(roll, undoStack, "Rotate Counter-Clockwise", rotatedCounterClockwise, -90.0);
}

void confirmSuggestedRotation(FilmRoll& roll, const PhotoPointer& photo, UndoStack* undoStack) {
    if (photo->rotationSource() == MetadataSource::photo || !photo->orientationDecision()) return;
    const auto suggestion = photo->orientationDecision()->reviewRotation();
    if (!suggestion) return;

    const RotationState before = rotationState(*photo);
    const RotationState after{*suggestion, MetadataSource::photo, displayDegrees(*suggestion)};
    selectPhoto(roll, photo);
    applyRotation(roll, *photo, after);
    pushRotation(roll, photo, undoStack, "Confirm Suggested Rotation", before, after);
}

void removePhoto(FilmRoll& roll, const PhotoPointer& removed, UndoStack* undoStack) {
    const PhotoPointer photo = removed;  // the caller's reference may be the list's own
    PhotoList photos = roll.photos();
    const auto found = std::find(photos.begin(), photos.end(), photo);
    if (found == photos.end()) return;
    const RollAct act(roll);
    const auto position = static_cast<std::size_t>(found - photos.begin());
    photos.erase(found);
    PhotoList out = roll.removedPhotos();
    out.push_back(photo);
    roll.setPhotos(std::move(photos));
    roll.setRemovedPhotos(std::move(out));
    roll.renumberPhotos();
    if (roll.selectedPhoto() == photo) {
        const PhotoList& left = roll.photos();
        selectPhoto(roll, left.empty() ? nullptr : left[std::min(position, left.size() - 1)]);
    }
    act.end(undoStack, "Take Out Photo");
    roll.services().play(Sound::remove);
}

void bringBackPhoto(FilmRoll& roll, const PhotoPointer& removed, UndoStack* undoStack) {
    const PhotoPointer photo = removed;
    PhotoList out = roll.removedPhotos();
    if (std::erase(out, photo) == 0) return;
    const RollAct act(roll);
    PhotoList photos = roll.photos();
    // Taking it out moved the others up by one, so this is its old place among them.
    const auto place = std::min(photos.size(), static_cast<std::size_t>(std::max(photo->sortIndex(), 0)));
    photos.insert(photos.begin() + static_cast<std::ptrdiff_t>(place), photo);
    roll.setRemovedPhotos(std::move(out));
    roll.setPhotos(std::move(photos));
    if (!isManual(roll.sortOption())) orderPhotos(roll);
    roll.renumberPhotos();
    roll.markExportDirty();
    selectPhoto(roll, photo);
    act.end(undoStack, "Bring Back Photo");
}

}  // namespace kelvaris

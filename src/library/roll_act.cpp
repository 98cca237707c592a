#include "library/roll_act.h"

#include <algorithm>
#include <unordered_map>
#include <unordered_set>
#include <utility>

#include "library/roll_selection.h"
#include "library/undo_stack.h"

namespace kelvaris {
namespace {

using Facts = RollAct::Facts;
using PhotoFacts = RollAct::PhotoFacts;
using State = RollAct::State;

PhotoFacts factsOf(const PhotoItem& photo) {
    return {.sortIndex = photo.sortIndex(),
            .captureDate = photo.captureDate(),
            .dateSource = photo.dateSource(),
            .latitude = photo.latitude(),
            .longitude = photo.longitude(),
            .locationSource = photo.locationSource(),
            .placeName = photo.placeName()};
}

State stateOf(const FilmRoll& roll) {
    State state{.facts = {.cameraMake = roll.cameraMake(),
                          .cameraModel = roll.cameraModel(),
                          .cameraFormat = roll.cameraFormat(),
                          .filmName = roll.filmName(),
                          .filmISO = roll.filmISO(),
                          .notes = roll.notes(),
                          .baseDate = roll.baseDate(),
                          .workflowState = roll.workflowState(),
                          .sortOption = roll.sortOption(),
                          .sortAscending = roll.sortAscending()},
                .photos = roll.photos(),
                .removed = roll.removedPhotos(),
                .photoFacts = {}};
    for (const PhotoList* list : {&state.photos, &state.removed}) {
        for (const PhotoPointer& photo : *list) state.photoFacts.push_back(factsOf(*photo));
    }
    return state;
}

struct PhotoChange {
    PhotoPointer photo;
    PhotoFacts before;
    PhotoFacts after;
};

/// The photos of which both states know something else.
std::vector<PhotoChange> photoChanges(const State& before, const State& after) {
    std::unordered_map<const PhotoItem*, const PhotoFacts*> known;
    std::size_t position = 0;
    for (const PhotoList* list : {&before.photos, &before.removed}) {
        for (const PhotoPointer& photo : *list) known.emplace(photo.get(), &before.photoFacts[position++]);
    }
    std::vector<PhotoChange> changes;
    position = 0;
    for (const PhotoList* list : {&after.photos, &after.removed}) {
        for (const PhotoPointer& photo : *list) {
            const PhotoFacts& now = after.photoFacts[position++];
            const auto found = known.find(photo.get());
            if (found != known.end() && *found->second != now)
                changes.push_back({photo, *found->second, now});
        }
    }
    return changes;
}

/// Puts back one value where the act changed it.
template <class Value, class Set>
void put(const Value& from, const Value& to, Set set) {
    if (from != to) set(to);
}

void putFacts(FilmRoll& roll, const Facts& from, const Facts& to) {
    put(from.cameraMake, to.cameraMake, [&](const auto& value) { roll.setCameraMake(value); });
    put(from.cameraModel, to.cameraModel, [&](const auto& value) { roll.setCameraModel(value); });
    put(from.cameraFormat, to.cameraFormat, [&](const auto& value) { roll.setCameraFormat(value); });
    put(from.filmName, to.filmName, [&](const auto& value) { roll.setFilmName(value); });
    put(from.filmISO, to.filmISO, [&](const auto& value) { roll.setFilmISO(value); });
    put(from.notes, to.notes, [&](const auto& value) { roll.setNotes(value); });
    put(from.baseDate, to.baseDate, [&](const auto& value) { roll.setBaseDate(value); });
    put(from.workflowState, to.workflowState, [&](const auto& value) { roll.setWorkflowState(value); });
    put(from.sortOption, to.sortOption, [&](const auto& value) { roll.setSortOption(value); });
    put(from.sortAscending, to.sortAscending, [&](const auto& value) { roll.setSortAscending(value); });
}

void putPhotoFacts(PhotoItem& photo, const PhotoFacts& from, const PhotoFacts& to) {
    put(from.sortIndex, to.sortIndex, [&](const auto& value) { photo.setSortIndex(value); });
    put(from.captureDate, to.captureDate, [&](const auto& value) { photo.setCaptureDate(value); });
    put(from.dateSource, to.dateSource, [&](const auto& value) { photo.setDateSource(value); });
    put(from.latitude, to.latitude, [&](const auto& value) { photo.setLatitude(value); });
    put(from.longitude, to.longitude, [&](const auto& value) { photo.setLongitude(value); });
    put(from.locationSource, to.locationSource, [&](const auto& value) { photo.setLocationSource(value); });
    put(from.placeName, to.placeName, [&](const auto& value) { photo.setPlaceName(value); });
}

/// The lists as they are to be, of photos that the roll still knows; those that came since stay behind.
void putLists(FilmRoll& roll, const PhotoList& photos, const PhotoList& removed) {
    std::unordered_set<const PhotoItem*> left;
    for (const PhotoList* list : {&roll.photos(), &roll.removedPhotos()}) {
        for (const PhotoPointer& photo : *list) left.insert(photo.get());
    }
    const auto known = [&left](const PhotoList& list) {
        PhotoList result;
        for (const PhotoPointer& photo : list) {
            if (left.erase(photo.get()) > 0) result.push_back(photo);
        }
        return result;
    };
    PhotoList newPhotos = known(photos);
    PhotoList newRemoved = known(removed);
    for (const PhotoPointer& photo : roll.photos()) {
        if (left.contains(photo.get())) newPhotos.push_back(photo);
    }
    for (const PhotoPointer& photo : roll.removedPhotos()) {
        if (left.contains(photo.get())) newRemoved.push_back(photo);
    }
    roll.setPhotos(std::move(newPhotos));
    roll.setRemovedPhotos(std::move(newRemoved));
}

/// The selection must be one of the photos; one that has come back is shown.
void selectAmong(FilmRoll& roll, const PhotoList& photosBefore) {
    const PhotoList& photos = roll.photos();
    for (const PhotoPointer& photo : photos) {
        if (std::find(photosBefore.begin(), photosBefore.end(), photo) == photosBefore.end()) {
            selectPhoto(roll, photo);
            return;
        }
    }
    const auto isSelected = std::find(photos.begin(), photos.end(), roll.selectedPhoto());
    if (isSelected == photos.end()) selectPhoto(roll, photos.empty() ? nullptr : photos.front());
}

/// What an act changed, both ways.
struct Change {
    State before;
    State after;
    std::vector<PhotoChange> photos;
    bool changesLists = false;

    void apply(FilmRoll& roll, bool forward) const {
        const State& from = forward ? before : after;
        const State& to = forward ? after : before;
        const PhotoList photosBefore = roll.photos();
        putFacts(roll, from.facts, to.facts);
        for (const PhotoChange& change : photos) {
            putPhotoFacts(*change.photo, forward ? change.before : change.after,
                          forward ? change.after : change.before);
        }
        if (changesLists) {
            putLists(roll, to.photos, to.removed);
            selectAmong(roll, photosBefore);
        }
        roll.markExportDirty();
    }
};

}  // namespace

RollAct::RollAct(FilmRoll& roll) : roll_(roll), before_(stateOf(roll)) {}

void RollAct::end(UndoStack* stack, std::string label) const {
    if (!stack) return;
    const auto change = std::make_shared<Change>(Change{before_, stateOf(roll_), {}, false});
    change->photos = photoChanges(change->before, change->after);
    change->changesLists =
        change->before.photos != change->after.photos || change->before.removed != change->after.removed;
    if (change->photos.empty() && !change->changesLists && change->before.facts == change->after.facts)
        return;
    if (!change->changesLists) {
        // Only the lists' changes need the lists; without one they would hold photos for nothing.
        change->before.photos = change->after.photos = {};
        change->before.removed = change->after.removed = {};
    }
    change->before.photoFacts = change->after.photoFacts = {};
    const auto apply = [weak = roll_.weak_from_this(), change](bool forward) {
        if (const RollPointer living = weak.lock()) change->apply(*living, forward);
    };
    stack->push({.label = std::move(label),
                 .undo = [apply] { apply(false); },
                 .redo = [apply] { apply(true); },
                 .roll = roll_.id()});
}

}  // namespace kelvaris

#pragma once

#include <vector>

#include "library/film_roll.h"

namespace kelvaris {

class UndoStack;

// Edits of a roll by the user. Main thread. An edit never fails; saving is left to whoever watches.

/// Puts the photos in the order of the roll's option and direction, stably; a hand-made order is that of the
/// sort indices. No index changes.
void orderPhotos(FilmRoll& roll);

/// Sorts the photos by the roll's option and direction, stably, and renumbers them. A hand-made order
/// stands as it is shown. Undated photos come last in an ascending sort and first in a descending one; photos
/// without people come last in either.
void sortPhotos(FilmRoll& roll);

/// Live reordering: moves the dragged photo to the place of the one that it is over.
/// @return whether it moved; never while a search narrows the strip.
bool dragPhotoOver(FilmRoll& roll, PhotoID dragged, PhotoID target, bool searchActive);

/// The end of a drag: an order other than the one before becomes the roll's hand-made order.
/// @param preDragOrder the photos' ids as they stood when the drag began.
/// @param undoStack gets "Reorder Photos"; may be null.
/// @return whether the order changed.
bool finishDrag(FilmRoll& roll, const std::vector<PhotoID>& preDragOrder, UndoStack* undoStack = nullptr);

/// The photos' ids in order.
std::vector<PhotoID> photoOrder(const FilmRoll& roll);

/// A quarter turn of the selected photo; nothing without one.
/// @param undoStack may be null.
void rotateSelectedClockwise(FilmRoll& roll, UndoStack* undoStack);
void rotateSelectedCounterClockwise(FilmRoll& roll, UndoStack* undoStack);

/// Accepts the rotation that the orientation model offers for review; nothing when it offers none or
/// the rotation is the user's own already.
/// @param undoStack may be null.
void confirmSuggestedRotation(FilmRoll& roll, const PhotoPointer& photo, UndoStack* undoStack);

/// Takes the photo out of the roll; its file stays, and all that is known of it, for the day on which it is
/// brought back. The one that moves into its place is selected if it was.
/// @param undoStack gets "Take Out Photo"; may be null.
void removePhoto(FilmRoll& roll, const PhotoPointer& photo, UndoStack* undoStack = nullptr);

/// Brings a photo back that was taken out, as it was, and selects it.
/// @param undoStack gets "Bring Back Photo"; may be null.
void bringBackPhoto(FilmRoll& roll, const PhotoPointer& photo, UndoStack* undoStack = nullptr);

}  // namespace kelvaris

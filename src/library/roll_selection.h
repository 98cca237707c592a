#pragma once

#include "library/film_roll.h"

namespace kelvaris {

/// How many thumbnails a roll keeps for the sidebar when it is left.
inline constexpr int sidebarKeepCount = 3;

/// Shows the photo: from the preview cache at once, else by reading the file on a worker. The load of
/// the photo selected before is called off and its preview dropped. Nothing happens when the photo is
/// selected already. In a roll whose pixels are not loaded it is selected alone. Main thread.
/// @param photo null selects none.
void selectPhoto(FilmRoll& roll, const PhotoPointer& photo);

/// Selects the photo if it is one of the roll's: an undo must not select what was taken out meanwhile.
void showPhoto(FilmRoll& roll, const PhotoPointer& photo);

/// Loads the preview of the selected photo if it is neither there nor on its way: a roll that comes back
/// on screen has kept its selection and let go of its pixels.
void loadSelectedPreview(FilmRoll& roll);

/// One place on among the photos that are shown; nothing at the end or without a selection.
void selectNext(FilmRoll& roll);
void selectPrevious(FilmRoll& roll);
/// The n-th of the photos that are shown, counted from 1; nothing when there is none.
void selectPhotoByDisplayNumber(FilmRoll& roll, int n);

/// Lets go of the pixels of a roll that is left, but for its first thumbnails; going back reloads them.
void unloadThumbnails(FilmRoll& roll, int keepSidebarCount);

}  // namespace kelvaris

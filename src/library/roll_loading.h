#pragma once

#include "library/film_roll.h"

namespace kelvaris {

/// Photos that are dealt one by one; the rest appears at once.
inline constexpr int staggeredPhotoCount = 40;
inline constexpr std::chrono::milliseconds staggerStep{30};

/// Reads the folder's immediate contents into the roll, in natural order of the file names, and selects
/// the first photo. The photo list is written once. A folder that cannot be listed leaves the photos as
/// they were and raises "Could not read folder". Main thread.
/// @param analyze false for rolls that are restored: no pixel is read and the roll waits for its
/// activation.
void loadFolder(FilmRoll& roll, bool analyze);

/// Brings the roll on screen: reveals the photos like cards being dealt, and sees to the preview of the
/// selected one.
void staggerVisibility(FilmRoll& roll);

/// The late start of a roll that was loaded without analysis. Nothing is started for a disconnected
/// roll, one without photos, or one that is being analysed.
void activateAnalysis(FilmRoll& roll);

}  // namespace kelvaris

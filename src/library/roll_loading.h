#pragma once

#include <string>
#include <vector>

#include "library/film_roll.h"

namespace kelvaris {

/// Photos that are dealt one by one; the rest appears at once.
inline constexpr int staggeredPhotoCount = 40;
inline constexpr std::chrono::milliseconds staggerStep{30};

/// Joins the roll's photos with the files that lie in its folder, by file name. A photo that is known keeps
/// all that is known of it; one whose file is not there is missing, and whole again when the file is back. A
/// file that nobody knows is a new photo; one that the user took out stays out. The photo list is written
/// once. A roll without any photo takes them in natural order of the file names. Main thread.
void takeListing(FilmRoll& roll, const std::vector<FolderEntry>& listing);

/// The folder is away, or is not the roll's own: the roll stands on what is stored, all its photos missing.
/// @param reason for the user, as "the folder cannot be read".
void leaveFolder(FilmRoll& roll, std::string reason);

/// Reads the folder's immediate contents into the roll (takeListing) and shows it (showLoaded). A folder
/// that cannot be listed leaves the photos as they were and raises "Could not read folder". Main thread.
/// @param analyze false for rolls that are restored: no pixel is read and the roll waits for its
/// activation.
void loadFolder(FilmRoll& roll, bool analyze);

/// Selects the first photo, unless one is selected, and begins the analysis, or leaves it for the roll's
/// activation.
void showLoaded(FilmRoll& roll, bool analyze);

/// Brings the roll on screen: reveals the photos like cards being dealt, and sees to the preview of the
/// selected one.
void staggerVisibility(FilmRoll& roll);

/// The late start of a roll that was loaded without analysis. Nothing is started for a disconnected
/// roll, one without photos, or one that is being analysed.
void activateAnalysis(FilmRoll& roll);

}  // namespace kelvaris

#pragma once

#include <functional>

#include "library/film_roll.h"

namespace kelvaris {

/// Lets the user choose a location history and loads it; nothing happens when none is chosen.
/// Main thread.
void loadTimeline(FilmRoll& roll);

/// Reads a location history on a worker and gives its records to the roll. A history that cannot be read
/// raises an error and leaves the records that the roll had. Main thread.
/// @param completion told whether the records were taken; may be empty. Not called once the roll is gone.
void loadTimeline(FilmRoll& roll, const Path& file, std::function<void(bool)> completion);

}  // namespace kelvaris

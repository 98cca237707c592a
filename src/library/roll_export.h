#pragma once

#include "library/film_roll.h"

namespace kelvaris {

/// Writes every dated photo as an upright, tagged JPEG into the export folder inside the roll's own, one
/// photo at a time on a worker. The scans are never changed; copies of an earlier export are replaced.
///
/// The outcome is told through isExporting, exportProgress and statusNotification. A photo that fails is
/// counted and logged, and the others are exported. Main thread.
void exportAll(FilmRoll& roll);

}  // namespace kelvaris

#pragma once

#include "library/film_roll.h"

namespace kelvaris {

/// Writes every dated photo as an upright, tagged JPEG into the export folder inside the roll's own, one
/// photo at a time on a worker. The scans are never changed; copies of an earlier export are replaced.
///
/// The outcome is told through isExporting, exportProgress and statusNotification. A photo that fails is
/// counted and logged, and the others are exported; one whose file is missing is left out. When the folder
/// is not the roll's own, goes away meanwhile, or takes not a single copy, that is an error and the roll
/// stays as it was; the roll's folder is never made. Main thread.
void exportAll(FilmRoll& roll);

}  // namespace kelvaris

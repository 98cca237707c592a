#pragma once

#include <functional>
#include <optional>
#include <string>

#include "library/film_roll.h"

namespace kelvaris {

class UndoStack;

/// How many photos have a date, by who set it. Photos without a date count nowhere.
struct MetadataOverwriteSummary {
    int exif = 0;
    int photo = 0;
    int roll = 0;
    int other = 0;  ///< set by analysis, or by nobody known

    bool operator==(const MetadataOverwriteSummary&) const = default;

    /// What to tell before dates are assigned; empty when only an earlier assignment is replaced.
    std::string warningMessage() const;
};

MetadataOverwriteSummary dateOverwriteSummary(const FilmRoll& roll);

/// Whether an assignment would replace a date that somebody knew: one of the file, of the user, or read from
/// the picture. A date without a source is a guess from the file system and no loss, as is one of an earlier
/// assignment.
bool hasDatesAtRisk(const FilmRoll& roll);

/// Whether every date of an assignment from that start can be stored: the years 0 to 9999, an interval of 0
/// or more.
bool canAssignDates(const FilmRoll& roll, Instant start, double intervalSeconds);

/// Gives each photo, in order, a date spaced from the roll's base date, and the place where the location
/// history says the user was; a place of an earlier assignment goes where the history does not cover the new
/// date. The first photos are written one by one as a movement, the others at once; the roll's state, the
/// step for undo and the completion follow when the last is written. Nothing is written once the roll is
/// gone. Main thread.
/// @param intervalSeconds absent takes the user's preference.
/// @param completion may be empty.
/// @param undoStack gets "Assign Dates"; may be null.
/// @return false, with nothing done but an error raised, when a date could not be stored.
bool assignDates(FilmRoll& roll, std::optional<double> intervalSeconds, std::function<void()> completion,
                 UndoStack* undoStack = nullptr);

}  // namespace kelvaris

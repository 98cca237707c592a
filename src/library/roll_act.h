#pragma once

#include <string>
#include <vector>

#include "library/film_roll.h"

namespace kelvaris {

class UndoStack;

/// One act of the user on a roll, as a step that can be taken back: what the user says of the roll, the
/// order of its photos and which were taken out, dates and places.
///
/// Made before the act and ended after it. What differs between the two is what undo and redo put back, and
/// nothing else: what came meanwhile, a new file or another edit, stays. Main thread; the roll outlives this.
class RollAct {
public:
    explicit RollAct(FilmRoll& roll);

    /// Pushes the step, named by the label; nothing when nothing differs. @param stack may be null.
    void end(UndoStack* stack, std::string label) const;

    /// What the user says of the roll.
    struct Facts {
        std::string cameraMake;
        std::string cameraModel;
        FilmFormat cameraFormat;
        std::string filmName;
        std::optional<int> filmISO;
        std::string notes;
        Instant baseDate;
        std::optional<WorkflowState> workflowState;
        SortOption sortOption;
        bool sortAscending;

        bool operator==(const Facts&) const = default;
    };
    struct PhotoFacts {
        int sortIndex = 0;
        std::optional<Instant> captureDate;
        std::optional<MetadataSource> dateSource;
        std::optional<double> latitude;
        std::optional<double> longitude;
        std::optional<MetadataSource> locationSource;
        std::optional<std::string> placeName;

        bool operator==(const PhotoFacts&) const = default;
    };
    struct State {
        Facts facts;
        PhotoList photos;
        PhotoList removed;
        std::vector<PhotoFacts> photoFacts;  ///< of the photos, then of the removed ones
    };

private:
    FilmRoll& roll_;
    const State before_;
};

}  // namespace kelvaris

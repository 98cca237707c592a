#pragma once

#include <optional>
#include <vector>

#include "base/uuid.h"
#include "library/film_roll.h"

namespace kelvaris {

/// The photo of that id in the roll, or null.
inline PhotoPointer photoOf(const FilmRoll& roll, PhotoID id) {
    for (const PhotoPointer& each : roll.photos()) {
        if (each->id() == id) return each;
    }
    return nullptr;
}

/// The library as the searches see it, which lives above them. Main thread.
class DiscoveryLibrary {
public:
    virtual ~DiscoveryLibrary() = default;

    /// All rolls, in the order of the list.
    virtual std::vector<RollPointer> rolls() const = 0;
    /// The open roll, or null.
    virtual RollPointer activeRoll() const = 0;
    /// Opens the roll and, when given, selects the photo. Ids that are gone change nothing.
    virtual void navigate(RollID roll, std::optional<PhotoID> photo) = 0;
    /// What analysis found about a photo of the roll has changed.
    virtual void scheduleSave(FilmRoll& roll) = 0;
    /// A screen is about to show these photos of the roll.
    virtual void loadThumbnails(const FilmRoll& roll, const PhotoList& photos) = 0;

    RollPointer roll(RollID id) const {
        for (const RollPointer& each : rolls()) {
            if (each->id() == id) return each;
        }
        return nullptr;
    }
    /// The roll that holds the photo, or null.
    RollPointer rollOf(PhotoID id) const {
        for (const RollPointer& each : rolls()) {
            if (photoOf(*each, id)) return each;
        }
        return nullptr;
    }
};

}  // namespace kelvaris

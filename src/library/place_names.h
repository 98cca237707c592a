#pragma once

#include "library/film_roll.h"

namespace kelvaris {

/// Looks up, one after the other, the names of the places of photos that have coordinates and no name.
/// A name is written unless the photo has another place or name by then. Ends early with the roll.
void lookUpPlaceNames(const RollPointer& roll);

}  // namespace kelvaris

#pragma once

#include <vector>

#include "library/film_roll.h"
#include "platform/language.h"
#include "vocabulary/sort_option.h"

namespace kelvaris {

/// Sorts the list of rolls. Names compare as a person reads them; a roll without dates counts as the latest.
/// Equal rolls keep the order of their names, and then their present order.
void sortRolls(std::vector<RollPointer>& rolls, RollSortOption option, bool ascending,
               const Language& language);

}  // namespace kelvaris

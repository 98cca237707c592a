#pragma once

#include <string_view>

#include "advisor/catalog_service.h"
#include "advisor/roll_snapshot.h"
#include "advisor/shooting_profile.h"
#include "platform/language.h"

namespace kelvaris {

/// Sums up a library in one pass over its photos. Only analyzed photos count for the fractions, and with
/// none at all the profile holds nothing but the numbers of rolls and photos. Any thread.
ShootingProfile buildProfile(const RollSnapshot& snapshot, const CatalogService& catalog,
                             const Language& language);

enum class ColorTemperature { warm, cool, neutral };

/// Of a color "#RRGGBB" (the sign is optional); whatever is no color is neutral.
ColorTemperature colorTemperature(std::string_view hex);

}  // namespace kelvaris

#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "advisor/shooting_profile.h"
#include "vocabulary/gear_recommendations.h"

namespace kelvaris {

/// A section of the profile, whoever writes its body.
struct ProfileSectionTitle {
    std::string_view title;
    std::string_view icon;
};

inline constexpr ProfileSectionTitle yourEye{"Your Eye", "eye"};
inline constexpr ProfileSectionTitle yourStyle{"Your Style", "paintpalette"};
inline constexpr ProfileSectionTitle roomToGrow{"Room to Grow", "arrow.up.right"};

/// The profile in sentences that need no language model. Nothing without an analyzed photo; no style
/// section without a trait or a habit of exposure.
std::vector<CodableProfileSection> generateProfileSections(const ShootingProfile& profile);

/// A fraction as a whole number of percent, rounded.
int wholePercent(double fraction);

/// Over- or underexposure when more than a tenth of the frames suffer from it.
enum class ExposureHabit { none, underexposes, overexposes };
ExposureHabit exposureHabit(const ShootingProfile& profile);

}  // namespace kelvaris

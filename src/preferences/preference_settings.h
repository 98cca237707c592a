#pragma once

#include <array>
#include <cmath>
#include <optional>
#include <string>
#include <string_view>

#include "preferences/vault_preferences.h"

namespace kelvaris {

/// One setting: its key in the user defaults, its value when absent or not acceptable, and its place in
/// the durable record (nullptr for a setting that stays on this machine).
template <class Value>
struct Setting {
    std::string_view key;
    Value fallback;
    std::optional<Value> VaultPreferences::*inFile;
    bool (*accepts)(const Value&) = nullptr;  ///< nullptr accepts every value

    bool isAcceptable(const Value& value) const { return accepts == nullptr || accepts(value); }
};

using SwitchSetting = Setting<bool>;
using NumberSetting = Setting<double>;

/// Every plain setting with its read rule, once. The others (colours, gear, the mirror) have rules of
/// their own in UserPreferences.
namespace settings {

inline constexpr NumberSetting exportQuality{"exportQuality", 1.0, &VaultPreferences::exportQuality,
                                             [](const double& q) { return q >= 0.0 && q <= 1.0; }};
inline constexpr NumberSetting dateIntervalSeconds{
    "dateIntervalSeconds", 1.0, &VaultPreferences::dateIntervalSeconds,
    [](const double& seconds) { return std::isfinite(seconds) && seconds >= 0.0; }};
inline constexpr NumberSetting locationMaxGapHours{
    "locationMaxGapHours", 24.0, &VaultPreferences::locationMaxGapHours,
    [](const double& hours) { return hours >= 1.0 && hours <= 168.0; }};

inline constexpr SwitchSetting showLocationBadges{"showLocationBadges", true,
                                                  &VaultPreferences::showLocationBadges};
inline constexpr SwitchSetting soundEffectsEnabled{"soundEffectsEnabled", false,
                                                   &VaultPreferences::soundEffectsEnabled};
inline constexpr SwitchSetting rollSortAscending{"rollSortAscending", false,
                                                 &VaultPreferences::rollSortAscending};
inline constexpr SwitchSetting filmIssuesEnabled{"filmIssuesEnabled", true,
                                                 &VaultPreferences::filmIssuesEnabled};
inline constexpr SwitchSetting gemSpotterEnabled{"gemSpotterEnabled", true,
                                                 &VaultPreferences::gemSpotterEnabled};
inline constexpr SwitchSetting faceFinderEnabled{"faceFinderEnabled", true,
                                                 &VaultPreferences::faceFinderEnabled};
inline constexpr SwitchSetting sceneScoutEnabled{"sceneScoutEnabled", true,
                                                 &VaultPreferences::sceneScoutEnabled};
inline constexpr SwitchSetting timeStamperEnabled{"timeStamperEnabled", true,
                                                  &VaultPreferences::timeStamperEnabled};
inline constexpr SwitchSetting colorSenseEnabled{"colorSenseEnabled", true,
                                                 &VaultPreferences::colorSenseEnabled};
inline constexpr SwitchSetting deepAnalysisEnabled{"deepAnalysisEnabled", false,
                                                   &VaultPreferences::deepAnalysisEnabled};
/// The key kept the word of the time when opening a folder was called an import.
inline constexpr SwitchSetting autoRotateOnOpen{"autoRotateOnImport", true, nullptr};

inline constexpr std::array numbers{exportQuality, dateIntervalSeconds, locationMaxGapHours};
inline constexpr std::array switches{
    showLocationBadges, soundEffectsEnabled, rollSortAscending, filmIssuesEnabled,
    gemSpotterEnabled,  faceFinderEnabled,   sceneScoutEnabled, timeStamperEnabled,
    colorSenseEnabled,  deepAnalysisEnabled, autoRotateOnOpen,
};

}  // namespace settings

/// A feature of the analysis that the user can switch off.
struct Capability {
    SwitchSetting setting;
    std::string_view displayName;
};

inline constexpr std::array capabilities{
    Capability{settings::filmIssuesEnabled, "Film Issues"},
    Capability{settings::gemSpotterEnabled, "Gem Spotter"},
    Capability{settings::faceFinderEnabled, "Face Finder"},
    Capability{settings::sceneScoutEnabled, "Scene Scout"},
    Capability{settings::timeStamperEnabled, "Time Stamper"},
    Capability{settings::colorSenseEnabled, "Color Sense"},
    Capability{settings::deepAnalysisEnabled, "Deep Analysis"},
};

}  // namespace kelvaris

#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <variant>

#include "base/uuid.h"
#include "vocabulary/raw_value.h"

namespace kelvaris {

/// What can be done that needs no further word. The raw values name the commands to scripts.
enum class Command : std::uint8_t {
    backToRolls,
    openFolder,
    loadTimeline,
    exportAll,
    locateFolder,
    zoomIn,
    zoomOut,
    zoomReset,
    reanalyzePhoto,
    reanalyzeRoll,
    reanalyzeAllRolls,
    copyImage,
    revealInFinder,
    rotateClockwise,
    rotateCounterClockwise,
    toggleSoundEffects,
    cycleRollSort,
    toggleSortDirection,
    openSettings,
    undo,
    redo,
    resetAllData,
    findSimilar,
    quit,
    nextPhoto,
    previousPhoto,
    nextRoll,
    previousRoll,
    navigateHistoryBack,
    navigateHistoryForward,
    showShortcuts,
    focusSearch,
};

template <>
struct RawValues<Command> {
    static constexpr std::array rows{
        std::pair{Command::backToRolls, std::string_view("backToRolls")},
        std::pair{Command::openFolder, std::string_view("openFolder")},
        std::pair{Command::loadTimeline, std::string_view("loadTimeline")},
        std::pair{Command::exportAll, std::string_view("exportAll")},
        std::pair{Command::locateFolder, std::string_view("locateFolder")},
        std::pair{Command::zoomIn, std::string_view("zoomIn")},
        std::pair{Command::zoomOut, std::string_view("zoomOut")},
        std::pair{Command::zoomReset, std::string_view("zoomReset")},
        std::pair{Command::reanalyzePhoto, std::string_view("reanalyzePhoto")},
        std::pair{Command::reanalyzeRoll, std::string_view("reanalyzeRoll")},
        std::pair{Command::reanalyzeAllRolls, std::string_view("reanalyzeAllRolls")},
        std::pair{Command::copyImage, std::string_view("copyImage")},
        std::pair{Command::revealInFinder, std::string_view("revealInFinder")},
        std::pair{Command::rotateClockwise, std::string_view("rotateClockwise")},
        std::pair{Command::rotateCounterClockwise, std::string_view("rotateCounterClockwise")},
        std::pair{Command::toggleSoundEffects, std::string_view("toggleSoundEffects")},
        std::pair{Command::cycleRollSort, std::string_view("cycleRollSort")},
        std::pair{Command::toggleSortDirection, std::string_view("toggleSortDirection")},
        std::pair{Command::openSettings, std::string_view("openSettings")},
        std::pair{Command::undo, std::string_view("undo")},
        std::pair{Command::redo, std::string_view("redo")},
        std::pair{Command::resetAllData, std::string_view("resetAllData")},
        std::pair{Command::findSimilar, std::string_view("findSimilar")},
        std::pair{Command::quit, std::string_view("quit")},
        std::pair{Command::nextPhoto, std::string_view("nextPhoto")},
        std::pair{Command::previousPhoto, std::string_view("previousPhoto")},
        std::pair{Command::nextRoll, std::string_view("nextRoll")},
        std::pair{Command::previousRoll, std::string_view("previousRoll")},
        std::pair{Command::navigateHistoryBack, std::string_view("navigateHistoryBack")},
        std::pair{Command::navigateHistoryForward, std::string_view("navigateHistoryForward")},
        std::pair{Command::showShortcuts, std::string_view("showShortcuts")},
        std::pair{Command::focusSearch, std::string_view("focusSearch")},
    };
};

struct NavigateToRoll {
    RollID id;
    bool operator==(const NavigateToRoll&) const = default;
};

struct NavigateToPhoto {
    PhotoID id;
    bool operator==(const NavigateToPhoto&) const = default;
};

struct OpenSettingsTab {
    std::string name;
    bool operator==(const OpenSettingsTab&) const = default;
};

/// Every action of the palette and the menus.
using CommandAction = std::variant<Command, NavigateToRoll, NavigateToPhoto, OpenSettingsTab>;

}  // namespace kelvaris

template <>
struct std::hash<kelvaris::NavigateToRoll> {
    std::size_t operator()(const kelvaris::NavigateToRoll& action) const noexcept {
        return std::hash<kelvaris::RollID>()(action.id);
    }
};

template <>
struct std::hash<kelvaris::NavigateToPhoto> {
    std::size_t operator()(const kelvaris::NavigateToPhoto& action) const noexcept {
        return std::hash<kelvaris::PhotoID>()(action.id);
    }
};

template <>
struct std::hash<kelvaris::OpenSettingsTab> {
    std::size_t operator()(const kelvaris::OpenSettingsTab& action) const noexcept {
        return std::hash<std::string>()(action.name);
    }
};

#pragma once

#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "base/uuid.h"
#include "platform/language.h"
#include "vocabulary/command_action.h"
#include "vocabulary/sort_option.h"

namespace kelvaris {

/// What the palette needs to know of the moment it opens. The views live as long as what they were
/// taken from.
struct PaletteState {
    struct Roll {
        RollID id;
        std::string_view name;
        std::size_t photoCount = 0;
    };
    struct Photo {
        PhotoID id;
        std::string_view filename;
    };

    std::vector<Roll> rolls;
    bool isRollOpen = false;
    bool isOpenRollDisconnected = false;
    std::vector<Photo> openRollPhotos;
    bool isPhotoSelected = false;
    bool canUndo = false;
    bool canRedo = false;
    std::optional<std::string> undoLabel;
    std::optional<std::string> redoLabel;
    RollSortOption rollSortOption = RollSortOption::dateOpened;
    bool rollSortAscending = false;
    bool soundEffectsEnabled = false;
};

/// A row of the palette.
struct CommandItem {
    Uuid id;  ///< fresh per build
    CommandAction action;
    std::string title;
    std::optional<std::string> subtitle;
    std::string_view icon;  ///< a symbol name
    std::string_view category;
    std::optional<std::string_view> shortcut;  ///< for display only
};

/// Everything that can be done at the moment, in the palette's order.
std::vector<CommandItem> buildCommandMenuItems(const PaletteState& state);

/// The items whose title, subtitle or category contains the query, in either case, in their order; all
/// of them for an empty query.
std::vector<CommandItem> filterCommandItems(std::span<const CommandItem> items, std::string_view query,
                                            const Language& language);

/// The items by category, categories in the order of their first appearance.
std::vector<std::pair<std::string_view, std::vector<CommandItem>>> groupCommandItems(
    std::span<const CommandItem> items);

}  // namespace kelvaris

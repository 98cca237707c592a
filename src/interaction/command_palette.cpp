#include "interaction/command_palette.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cstdint>

namespace kelvaris {

namespace {

using State = PaletteState;

bool always(const State&) { return true; }
bool isRollOpen(const State& state) { return state.isRollOpen; }
bool isNoRollOpen(const State& state) { return !state.isRollOpen; }
bool hasOtherRoll(const State& state) { return state.isRollOpen && state.rolls.size() >= 2; }
bool hasPhotos(const State& state) { return state.isRollOpen && !state.openRollPhotos.empty(); }
bool isPhotoSelected(const State& state) { return state.isRollOpen && state.isPhotoSelected; }
bool isDisconnected(const State& state) { return state.isRollOpen && state.isOpenRollDisconnected; }
bool listAscends(const State& state) { return !state.isRollOpen && state.rollSortAscending; }
bool listDescends(const State& state) { return !state.isRollOpen && !state.rollSortAscending; }
bool isLoud(const State& state) { return state.soundEffectsEnabled; }
bool isMute(const State& state) { return !state.soundEffectsEnabled; }
bool canUndo(const State& state) { return state.canUndo; }
bool canRedo(const State& state) { return state.canRedo; }

std::string sortSubtitle(const State& state) {
    return fmt::format("Currently: {}", displayName(state.rollSortOption));
}
std::string labelled(std::string_view word, const std::optional<std::string>& label) {
    return label && !label->empty() ? fmt::format("{} {}", word, *label) : std::string(word);
}
std::string undoTitle(const State& state) { return labelled("Undo", state.undoLabel); }
std::string redoTitle(const State& state) { return labelled("Redo", state.redoLabel); }

/// A command that is listed while its condition holds.
struct CommandRow {
    std::string_view title;
    std::string_view subtitle;
    std::string_view icon;
    std::string_view category;
    std::string_view shortcut;
    Command command;
    bool (*isPresent)(const State&);
    std::string (*titleNow)(const State&) = nullptr;     ///< in place of the title
    std::string (*subtitleNow)(const State&) = nullptr;  ///< in place of the subtitle
};

constexpr std::string_view cycle = "arrow.clockwise";

constexpr std::array rowsBeforeRolls{
    CommandRow{"Back to Rolls", "", "chevron.left", "Navigation", "Esc", Command::backToRolls, isRollOpen},
    CommandRow{"Next Photo", "", "chevron.down", "Navigation", "↓", Command::nextPhoto, isRollOpen},
    CommandRow{"Previous Photo", "", "chevron.up", "Navigation", "↑", Command::previousPhoto, isRollOpen},
    CommandRow{"Next Roll", "", "chevron.right.2", "Navigation", "⇧]", Command::nextRoll, hasOtherRoll},
    CommandRow{"Previous Roll", "", "chevron.left.2", "Navigation", "⇧[", Command::previousRoll,
               hasOtherRoll},
};

constexpr std::array rowsBeforeSettingsTabs{
    CommandRow{"Open Photos", "", "folder.badge.plus", "Actions", "⌘O", Command::openFolder, always},
    CommandRow{"Reanalyze All Rolls", "", cycle, "Actions", "⌘⇧R", Command::reanalyzeAllRolls, isNoRollOpen},
    CommandRow{"Cycle Sort Order", "", "arrow.up.arrow.down", "Sort", "", Command::cycleRollSort,
               isNoRollOpen, nullptr, sortSubtitle},
    CommandRow{"Switch to Descending", "", "chevron.down", "Sort", "", Command::toggleSortDirection,
               listAscends},
    CommandRow{"Switch to Ascending", "", "chevron.up", "Sort", "", Command::toggleSortDirection,
               listDescends},
    CommandRow{"Load Timeline", "", "location.circle", "Actions", "", Command::loadTimeline, hasPhotos},
    CommandRow{"Reanalyze Photo", "Re-run analysis on selected photo", cycle, "Actions", "⌘R",
               Command::reanalyzePhoto, isPhotoSelected},
    CommandRow{"Reanalyze Roll", "Re-run analysis on all photos", cycle, "Actions", "⌘⇧R",
               Command::reanalyzeRoll, isRollOpen},
    CommandRow{"Copy Image", "Copy selected photo to clipboard", "doc.on.clipboard", "Actions", "⌘C",
               Command::copyImage, isPhotoSelected},
    CommandRow{"Reveal in Finder", "Show selected photo in Finder", "folder", "Actions", "⌘⇧F",
               Command::revealInFinder, isPhotoSelected},
    CommandRow{"Rotate Clockwise", "", "rotate.right", "Actions", "R", Command::rotateClockwise,
               isPhotoSelected},
    CommandRow{"Rotate Counter-Clockwise", "", "rotate.left", "Actions", "⇧R",
               Command::rotateCounterClockwise, isPhotoSelected},
    CommandRow{"Find Similar Photos", "Find visually similar photos across all rolls",
               "square.on.square.badge.person.crop", "Actions", "", Command::findSimilar, isPhotoSelected},
    CommandRow{"Export All", "", "square.and.arrow.up", "Actions", "⌘E", Command::exportAll, hasPhotos},
    CommandRow{"Locate Folder", "", "folder.badge.questionmark", "Actions", "", Command::locateFolder,
               isDisconnected},
    CommandRow{"Zoom In", "", "plus.magnifyingglass", "Zoom", "+", Command::zoomIn, isPhotoSelected},
    CommandRow{"Zoom Out", "", "minus.magnifyingglass", "Zoom", "−", Command::zoomOut, isPhotoSelected},
    CommandRow{"Reset Zoom", "Fit to View", "viewfinder", "Zoom", "0", Command::zoomReset, isPhotoSelected},
    CommandRow{"Undo", "", "arrow.uturn.backward", "Commands", "⌘Z", Command::undo, canUndo, undoTitle},
    CommandRow{"Redo", "", "arrow.uturn.forward", "Commands", "⌘⇧Z", Command::redo, canRedo, redoTitle},
    CommandRow{"Mute Sound Effects", "", "speaker.slash", "System", "M", Command::toggleSoundEffects, isLoud},
    CommandRow{"Unmute Sound Effects", "", "speaker.wave.2", "System", "M", Command::toggleSoundEffects,
               isMute},
    CommandRow{"Settings", "", "gearshape", "System", "⌘,", Command::openSettings, always},
};

struct SettingsTab {
    std::string_view name;
    std::string_view icon;
};

constexpr std::array settingsTabs{
    SettingsTab{"Gear", "camera"},
    SettingsTab{"Appearance", "paintpalette"},
    SettingsTab{"Workflow", "slider.horizontal.3"},
    SettingsTab{"Models", "cpu"},
    SettingsTab{"Data", "externaldrive"},
    SettingsTab{"Shortcuts", "keyboard"},
    SettingsTab{"Stats", "chart.bar"},
    SettingsTab{"About", "info.circle"},
};

constexpr std::array rowsAtTheEnd{
    CommandRow{"Search", "", "magnifyingglass", "Navigation", "⌘F", Command::focusSearch, always},
    CommandRow{"Navigate Back", "", "chevron.left", "Navigation", "⌘←", Command::navigateHistoryBack, always},
    CommandRow{"Navigate Forward", "", "chevron.right", "Navigation", "⌘→", Command::navigateHistoryForward,
               always},
    CommandRow{"Keyboard Shortcuts", "", "keyboard", "System", "⇧?", Command::showShortcuts, always},
    CommandRow{"Reset All Data", "Delete all rolls, preferences, and caches", "trash", "System", "",
               Command::resetAllData, always},
    CommandRow{"Quit Kelvaris", "", "xmark.circle", "System", "⌘Q", Command::quit, always},
};

/// Gathers items and numbers them: one random identifier a build, counted up, since drawing thousands
/// would take longer than all the rest.
class Builder {
public:
    explicit Builder(std::size_t capacity) { items_.reserve(capacity); }

    void add(CommandAction action, std::string title, std::optional<std::string> subtitle,
             std::string_view icon, std::string_view category,
             std::optional<std::string_view> shortcut = std::nullopt) {
        items_.push_back(
            {nextID(), std::move(action), std::move(title), std::move(subtitle), icon, category, shortcut});
    }

    void add(std::span<const CommandRow> rows, const State& state) {
        for (const CommandRow& row : rows) {
            if (!row.isPresent(state)) continue;
            std::string subtitle = row.subtitleNow ? row.subtitleNow(state) : std::string(row.subtitle);
            add(row.command, row.titleNow ? row.titleNow(state) : std::string(row.title),
                subtitle.empty() ? std::nullopt : std::optional(std::move(subtitle)), row.icon, row.category,
                row.shortcut.empty() ? std::nullopt : std::optional(row.shortcut));
        }
    }

    std::vector<CommandItem> take() { return std::move(items_); }

private:
    Uuid nextID() {
        auto bytes = first_.bytes();
        const auto number = static_cast<std::uint32_t>(items_.size());
        for (int i = 0; i < 4; ++i) bytes[12 + i] ^= static_cast<std::uint8_t>(number >> (8 * i));
        return Uuid(bytes);
    }

    const Uuid first_ = Uuid::random();
    std::vector<CommandItem> items_;
};

}  // namespace

std::vector<CommandItem> buildCommandMenuItems(const PaletteState& state) {
    Builder items(state.rolls.size() + state.openRollPhotos.size() + rowsBeforeRolls.size() +
                  rowsBeforeSettingsTabs.size() + settingsTabs.size() + rowsAtTheEnd.size());
    items.add(rowsBeforeRolls, state);
    for (const State::Roll& roll : state.rolls) {
        items.add(NavigateToRoll{roll.id}, std::string(roll.name),
                  fmt::format("{} {}", roll.photoCount, roll.photoCount == 1 ? "photo" : "Photos"), "film",
                  "Rolls");
    }
    if (state.isRollOpen) {
        for (const State::Photo& photo : state.openRollPhotos) {
            items.add(NavigateToPhoto{photo.id}, std::string(photo.filename), std::nullopt, "photo",
                      "Photos");
        }
    }
    items.add(rowsBeforeSettingsTabs, state);
    for (const SettingsTab& tab : settingsTabs) {
        items.add(OpenSettingsTab{std::string(tab.name)}, fmt::format("Settings → {}", tab.name),
                  std::nullopt, tab.icon, "Settings");
    }
    items.add(rowsAtTheEnd, state);
    return items.take();
}

std::vector<CommandItem> filterCommandItems(std::span<const CommandItem> items, std::string_view query,
                                            const Language& language) {
    if (query.empty()) return {items.begin(), items.end()};
    const std::string wanted = language.lowercased(query);
    const auto contains = [&](std::string_view text) {
        return language.lowercased(text).find(wanted) != std::string::npos;
    };
    std::vector<CommandItem> matching;
    for (const CommandItem& item : items) {
        if (contains(item.title) || (item.subtitle && contains(*item.subtitle)) || contains(item.category)) {
            matching.push_back(item);
        }
    }
    return matching;
}

std::vector<std::pair<std::string_view, std::vector<CommandItem>>> groupCommandItems(
    std::span<const CommandItem> items) {
    std::vector<std::pair<std::string_view, std::vector<CommandItem>>> groups;
    for (const CommandItem& item : items) {
        auto group = std::ranges::find(groups, item.category, [](const auto& each) { return each.first; });
        if (group == groups.end()) group = groups.insert(groups.end(), {item.category, {}});
        group->second.push_back(item);
    }
    return groups;
}

}  // namespace kelvaris

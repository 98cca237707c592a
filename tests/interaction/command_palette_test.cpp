#include "interaction/command_palette.h"

#include <gmock/gmock.h>

#include <set>
#include <unordered_set>

#include "platform_fake/fake_language.h"

namespace kelvaris {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

std::vector<std::string> told(const std::vector<CommandItem>& items) {
    std::vector<std::string> lines;
    for (const CommandItem& item : items) {
        std::string line = std::string(item.category) + ": " + item.title;
        if (item.subtitle) line += " (" + *item.subtitle + ")";
        if (item.shortcut) line += " " + std::string(*item.shortcut);
        lines.push_back(line);
    }
    return lines;
}

const RollID kyoto = RollID::random();
const RollID lisbon = RollID::random();

PaletteState openRoll() {
    return {.rolls = {{kyoto, "Kyoto", 1}, {lisbon, "Zoom In", 36}},
            .isRollOpen = true,
            .isOpenRollDisconnected = true,
            .openRollPhotos = {{PhotoID::random(), "001.jpg"}},
            .isPhotoSelected = true,
            .canUndo = true,
            .canRedo = true,
            .undoLabel = "Rotate Clockwise",
            .soundEffectsEnabled = true};
}

TEST(CommandPalette, ListsEverythingForAnOpenRollInOrder) {
    EXPECT_THAT(
        told(buildCommandMenuItems(openRoll())),
        ElementsAre(
            "Navigation: Back to Rolls Esc", "Navigation: Next Photo ↓", "Navigation: Previous Photo ↑",
            "Navigation: Next Roll ⇧]", "Navigation: Previous Roll ⇧[", "Rolls: Kyoto (1 photo)",
            "Rolls: Zoom In (36 Photos)", "Photos: 001.jpg", "Actions: Open Photos ⌘O",
            "Actions: Load Timeline", "Actions: Reanalyze Photo (Re-run analysis on selected photo) ⌘R",
            "Actions: Reanalyze Roll (Re-run analysis on all photos) ⌘⇧R",
            "Actions: Copy Image (Copy selected photo to clipboard) ⌘C",
            "Actions: Reveal in Finder (Show selected photo in Finder) ⌘⇧F", "Actions: Rotate Clockwise R",
            "Actions: Rotate Counter-Clockwise ⇧R",
            "Actions: Find Similar Photos (Find visually similar photos across all rolls)",
            "Actions: Export All ⌘E", "Actions: Locate Folder", "Zoom: Zoom In +", "Zoom: Zoom Out −",
            "Zoom: Reset Zoom (Fit to View) 0", "Commands: Undo Rotate Clockwise ⌘Z", "Commands: Redo ⌘⇧Z",
            "System: Mute Sound Effects M", "System: Settings ⌘,", "Settings: Settings → Gear",
            "Settings: Settings → Appearance", "Settings: Settings → Workflow", "Settings: Settings → Models",
            "Settings: Settings → Data", "Settings: Settings → Shortcuts", "Settings: Settings → Stats",
            "Settings: Settings → About", "Navigation: Search ⌘F", "Navigation: Navigate Back ⌘←",
            "Navigation: Navigate Forward ⌘→", "System: Keyboard Shortcuts ⇧?",
            "System: Reset All Data (Delete all rolls, preferences, and caches)",
            "System: Quit Kelvaris ⌘Q"));
}

TEST(CommandPalette, ListsTheLibrarysCommandsWhenNoRollIsOpen) {
    PaletteState state{.rolls = {{kyoto, "Kyoto", 0}}, .rollSortOption = RollSortOption::filmStock};
    auto lines = told(buildCommandMenuItems(state));
    lines.resize(7);
    EXPECT_THAT(lines, ElementsAre("Rolls: Kyoto (0 Photos)", "Actions: Open Photos ⌘O",
                                   "Actions: Reanalyze All Rolls ⌘⇧R",
                                   "Sort: Cycle Sort Order (Currently: Film)", "Sort: Switch to Ascending",
                                   "System: Unmute Sound Effects M", "System: Settings ⌘,"));
    state.rollSortAscending = true;
    EXPECT_EQ(told(buildCommandMenuItems(state))[4], "Sort: Switch to Descending");
}

TEST(CommandPalette, LeavesOutWhatHasNothingToWorkOn) {
    const PaletteState state{.rolls = {{kyoto, "Kyoto", 0}}, .isRollOpen = true, .isPhotoSelected = false};
    std::unordered_set<CommandAction> listed;
    for (const CommandItem& item : buildCommandMenuItems(state)) listed.insert(item.action);
    for (const Command absent :
         {Command::nextRoll, Command::loadTimeline, Command::exportAll, Command::copyImage, Command::zoomIn,
          Command::locateFolder, Command::undo, Command::redo, Command::reanalyzeAllRolls,
          Command::cycleRollSort, Command::findSimilar}) {
        EXPECT_FALSE(listed.contains(absent)) << rawValue(absent);
    }
    for (const Command present : {Command::backToRolls, Command::nextPhoto, Command::reanalyzeRoll}) {
        EXPECT_TRUE(listed.contains(present)) << rawValue(present);
    }
    EXPECT_TRUE(listed.contains(NavigateToRoll{kyoto}));
    EXPECT_TRUE(listed.contains(OpenSettingsTab{"Models"}));
}

TEST(CommandPalette, GivesEveryItemAFreshIdentifier) {
    std::set<Uuid> ids;
    const auto first = buildCommandMenuItems(openRoll());
    const auto second = buildCommandMenuItems(openRoll());
    for (const auto* items : {&first, &second}) {
        for (const CommandItem& item : *items) ids.insert(item.id);
    }
    EXPECT_EQ(ids.size(), first.size() + second.size());
}

TEST(CommandPalette, FiltersByPlainSubstrings) {
    const FakeLanguage language;
    const auto items = buildCommandMenuItems(openRoll());
    const auto filtered = [&](std::string_view query) {
        return told(filterCommandItems(items, query, language));
    };
    EXPECT_THAT(filtered("zoom IN"), ElementsAre("Rolls: Zoom In (36 Photos)", "Zoom: Zoom In +"));
    EXPECT_THAT(filtered("zoom"), ElementsAre("Rolls: Zoom In (36 Photos)", "Zoom: Zoom In +",
                                              "Zoom: Zoom Out −", "Zoom: Reset Zoom (Fit to View) 0"));
    EXPECT_THAT(filtered("clipboard"),
                ElementsAre("Actions: Copy Image (Copy selected photo to clipboard) ⌘C"));
    EXPECT_THAT(filtered("rolls kyoto"), IsEmpty());
    EXPECT_EQ(filtered("").size(), items.size());
}

TEST(CommandPalette, GroupsByFirstAppearance) {
    const auto groups = groupCommandItems(buildCommandMenuItems(openRoll()));
    std::vector<std::string_view> categories;
    for (const auto& [category, items] : groups) categories.push_back(category);
    EXPECT_THAT(categories, ElementsAre("Navigation", "Rolls", "Photos", "Actions", "Zoom", "Commands",
                                        "System", "Settings"));
    EXPECT_EQ(groups[0].second.back().title, "Navigate Forward");
    EXPECT_THAT(groupCommandItems({}), IsEmpty());
}

}  // namespace
}  // namespace kelvaris

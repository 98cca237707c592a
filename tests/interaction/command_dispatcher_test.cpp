#include "interaction/command_dispatcher.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <set>

#include "app_world.h"

namespace kelvaris {
namespace {

using ::testing::ElementsAre;

class Screen final : public ScreenCommands {
public:
    bool perform(const CommandAction& action) override {
        performed.push_back(action);
        return true;
    }
    std::vector<CommandAction> performed;
};

class CommandDispatcherTest : public ::testing::Test {
protected:
    AppViewModel& app() { return world.app(); }
    bool perform(const CommandAction& action) {
        const bool done = dispatcher.perform(action);
        world.machine.settle();
        return done;
    }

    testing::AppWorld world;
    Screen screen;
    CommandDispatcher dispatcher{world.app(), world.machine.shell, screen};
};

// A row without an effect would be a lie of the palette, and an effect without a row a trap of the menus.
TEST_F(CommandDispatcherTest, PerformsInTheListOfRollsExactlyWhatThePaletteLists) {
    world.openedRoll("kyoto");
    world.finishLatestRun();
    for (const auto& [command, name] : RawValues<Command>::rows) {
        if (command == Command::resetAllData) continue;  // ends the world of this test
        app().navigateBack();
        world.machine.settle();
        const auto items = buildCommandMenuItems(paletteState(app(), nullptr));
        const bool isListed = std::ranges::any_of(
            items, [&](const CommandItem& item) { return item.action == CommandAction(command); });
        EXPECT_EQ(perform(command), isListed) << name;
    }
}

TEST_F(CommandDispatcherTest, SeesTheOpenRoll) {
    world.openedRoll("kyoto");
    const RollPointer lisbon = world.openedRoll("lisbon", 1);
    ASSERT_TRUE(lisbon->selectedPhoto());
    perform(Command::rotateClockwise);
    const PaletteState state = paletteState(app(), lisbon);
    EXPECT_EQ(state.rolls.size(), 2u);
    EXPECT_TRUE(state.isRollOpen && state.isPhotoSelected && state.canUndo);
    EXPECT_FALSE(state.isOpenRollDisconnected || state.canRedo);
    ASSERT_EQ(state.openRollPhotos.size(), 1u);
    EXPECT_EQ(state.openRollPhotos[0].filename, "001.jpg");
    EXPECT_EQ(state.undoLabel, app().undoStack().undoStack().back().label);
}

TEST_F(CommandDispatcherTest, WorksOnTheOpenRollAndItsPhoto) {
    const RollPointer roll = world.openedRoll("kyoto");
    world.finishLatestRun();
    const PhotoPointer first = roll->selectedPhoto();
    ASSERT_TRUE(first);
    EXPECT_TRUE(perform(Command::rotateClockwise));
    EXPECT_EQ(first->rotation(), RotationAngle::clockwise90);
    EXPECT_TRUE(perform(Command::undo));
    EXPECT_EQ(first->rotation(), RotationAngle::none);
    EXPECT_TRUE(perform(Command::redo));
    EXPECT_EQ(first->rotation(), RotationAngle::clockwise90);
    EXPECT_FALSE(perform(Command::redo));

    EXPECT_TRUE(perform(Command::resetAllData));
    EXPECT_EQ(world.machine.shell.alerts.size(), 1u) << "it asks, and the answer here is no";
    EXPECT_EQ(app().rolls().size(), 1u);

    EXPECT_TRUE(perform(Command::nextPhoto));
    EXPECT_EQ(roll->selectedPhoto(), roll->photos()[1]);
    EXPECT_TRUE(perform(NavigateToPhoto{roll->photos()[2]->id()}));
    EXPECT_EQ(roll->selectedPhoto(), roll->photos()[2]);
    EXPECT_FALSE(perform(NavigateToPhoto{PhotoID::random()}));

    EXPECT_TRUE(perform(Command::revealInFinder));
    EXPECT_THAT(world.machine.shell.revealed, ElementsAre(roll->sourceFolder()));
    EXPECT_TRUE(perform(Command::copyImage));
    EXPECT_TRUE(perform(OpenSettingsTab{"Models"}));
    EXPECT_THAT(screen.performed,
                ElementsAre(CommandAction(Command::copyImage), CommandAction(OpenSettingsTab{"Models"})));
    EXPECT_FALSE(perform(Command::locateFolder));
}

TEST_F(CommandDispatcherTest, MovesBetweenRolls) {
    const RollPointer kyoto = world.openedRoll("kyoto");
    const RollPointer lisbon = world.openedRoll("lisbon");
    EXPECT_TRUE(perform(NavigateToRoll{kyoto->id()}));
    EXPECT_EQ(app().activeRoll(), kyoto);
    EXPECT_TRUE(perform(Command::navigateHistoryBack));
    EXPECT_EQ(app().activeRoll(), lisbon);
    EXPECT_TRUE(perform(Command::backToRolls));
    EXPECT_EQ(app().activeRoll(), nullptr);
    EXPECT_FALSE(perform(Command::nextRoll));
    EXPECT_FALSE(perform(NavigateToRoll{RollID::random()}));
}

TEST_F(CommandDispatcherTest, CyclesThroughEverySortAndTurnsIt) {
    world.openedRoll("kyoto");
    UserPreferences& preferences = app().preferences();
    std::set<RollSortOption> seen;
    for (std::size_t i = 0; i < RawValues<RollSortOption>::rows.size(); ++i) {
        EXPECT_TRUE(perform(Command::cycleRollSort));
        seen.insert(preferences.rollSortOption());
    }
    EXPECT_EQ(seen.size(), RawValues<RollSortOption>::rows.size());
    const bool ascending = preferences.rollSortAscending();
    EXPECT_TRUE(perform(Command::toggleSortDirection));
    EXPECT_NE(preferences.rollSortAscending(), ascending);
    const bool isLoud = preferences.soundEffectsEnabled();
    EXPECT_TRUE(perform(Command::toggleSoundEffects));
    EXPECT_NE(preferences.soundEffectsEnabled(), isLoud);
}

TEST_F(CommandDispatcherTest, ReanalyzesAllRollsOneAfterAnother) {
    world.openedRoll("kyoto");
    world.finishLatestRun();
    world.openedRoll("lisbon");
    world.finishLatestRun();
    const std::size_t before = world.pipeline().runs.size();
    EXPECT_TRUE(perform(Command::reanalyzeAllRolls));
    EXPECT_EQ(world.pipeline().runs.size(), before + 1);
    world.finishLatestRun();
    EXPECT_EQ(world.pipeline().runs.size(), before + 2);
    world.finishLatestRun();
    EXPECT_EQ(world.pipeline().runs.size(), before + 2);
    EXPECT_TRUE(perform(Command::quit));
    EXPECT_EQ(world.machine.shell.terminations, 1);
}

}  // namespace
}  // namespace kelvaris

#include <gtest/gtest.h>

#include "library/navigation_history.h"
#include "library/undo_stack.h"

namespace kelvaris {
namespace {

TEST(UndoStackTest, KeepsTheLatestFiftyAndForgetsWhatAPushOvertakes) {
    UndoStack stack;
    int value = 0;
    for (int i = 1; i <= 51; ++i) {
        stack.push({std::to_string(i), [&value, i] { value = -i; }, [&value, i] { value = i; }});
    }
    EXPECT_EQ(stack.undoStack().size(), 50u);
    EXPECT_EQ(stack.undoStack().front().label, "2");

    stack.undo();
    EXPECT_EQ(value, -51);
    stack.redo();
    EXPECT_EQ(value, 51);
    EXPECT_FALSE(stack.canRedo());

    stack.undo();
    stack.push({"new", [] {}, [] {}});
    EXPECT_FALSE(stack.canRedo());
    stack.clear();
    stack.undo();
    stack.redo();
    EXPECT_FALSE(stack.canUndo());
    EXPECT_FALSE(stack.canRedo());
}

TEST(NavigationHistoryTest, TellsTheListOfRollsFromNoMove) {
    NavigationHistory history;
    const RollID first = RollID::random();
    EXPECT_FALSE(history.goBack(std::nullopt).has_value());
    EXPECT_TRUE(history.forwardStack().empty());

    history.push(std::nullopt);  // from the list to the first roll
    const auto back = history.goBack(first);
    ASSERT_TRUE(back.has_value());
    EXPECT_EQ(*back, std::nullopt);

    const auto forward = history.goForward(std::nullopt);
    ASSERT_TRUE(forward.has_value());
    EXPECT_EQ(*forward, first);

    (void)history.goBack(first);
    history.push(std::nullopt);
    EXPECT_FALSE(history.goForward(first).has_value()) << "a new step forgets what lay ahead";
}

}  // namespace
}  // namespace kelvaris

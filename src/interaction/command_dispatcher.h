#pragma once

#include "application/app_view_model.h"
#include "interaction/command_palette.h"
#include "platform/shell.h"
#include "vocabulary/command_action.h"

namespace kelvaris {

/// What only a screen can do: zooming, the clipboard, panels and fields. Main thread.
class ScreenCommands {
public:
    virtual ~ScreenCommands() = default;
    /// @return false when this screen has no such thing.
    virtual bool perform(const CommandAction& action) = 0;
};

/// Performs what the palette and the menus offer: on the application model where the core can, else on
/// the screen. Main thread. What it is given must outlive it.
class CommandDispatcher {
public:
    CommandDispatcher(AppViewModel& app, Shell& shell, ScreenCommands& screen)
        : app_(app), shell_(shell), screen_(screen) {}

    /// @return false when there was nothing to work on: the palette would not have listed the action.
    bool perform(const CommandAction& action);

private:
    bool perform(Command command);
    bool perform(const NavigateToRoll& action);
    bool perform(const NavigateToPhoto& action);
    bool perform(const OpenSettingsTab& action) { return screen_.perform(action); }

    AppViewModel& app_;
    Shell& shell_;
    ScreenCommands& screen_;
};

/// The state of the application as the palette sees it; its views last until the rolls change.
/// @param openRoll null for the list of rolls.
PaletteState paletteState(AppViewModel& app, const RollPointer& openRoll);

}  // namespace kelvaris

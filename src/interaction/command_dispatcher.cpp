#include "interaction/command_dispatcher.h"

#include <algorithm>
#include <deque>
#include <memory>

#include "library/roll_analysis.h"
#include "library/roll_editing.h"
#include "library/roll_export.h"
#include "library/roll_selection.h"
#include "library/roll_timeline.h"

namespace kelvaris {

namespace {

using WaitingRolls = std::shared_ptr<std::deque<std::weak_ptr<FilmRoll>>>;

/// One roll after another: two at once would only share the same workers.
void reanalyzeSequentially(const WaitingRolls& waiting) {
    while (!waiting->empty()) {
        const RollPointer roll = waiting->front().lock();
        waiting->pop_front();
        if (!roll || roll->isDisconnected()) continue;
        if (reanalyzeAllPhotos(*roll, {.onReleased = [waiting] { reanalyzeSequentially(waiting); }})) return;
    }
}

bool reanalyzeAllRolls(const std::vector<RollPointer>& rolls) {
    if (rolls.empty()) return false;
    reanalyzeSequentially(std::make_shared<std::deque<std::weak_ptr<FilmRoll>>>(rolls.begin(), rolls.end()));
    return true;
}

RollSortOption following(RollSortOption option) {
    const auto& rows = RawValues<RollSortOption>::rows;
    const auto found = std::ranges::find(rows, option, [](const auto& row) { return row.first; });
    return rows[static_cast<std::size_t>(found - rows.begin() + 1) % rows.size()].first;
}

std::optional<std::string> latestLabel(const std::vector<UndoableAction>& actions) {
    if (actions.empty()) return std::nullopt;
    return actions.back().label;
}

}  // namespace

bool CommandDispatcher::perform(const CommandAction& action) {
    return std::visit([this](const auto& each) { return perform(each); }, action);
}

bool CommandDispatcher::perform(Command command) {
    UserPreferences& preferences = app_.preferences();
    UndoStack& undoStack = app_.undoStack();
    const RollPointer roll = app_.activeRoll();
    const PhotoPointer photo = roll ? roll->selectedPhoto() : nullptr;
    const auto done = [](bool isPossible, const auto& work) {
        if (isPossible) work();
        return isPossible;
    };
    switch (command) {
        case Command::backToRolls:
            return done(roll != nullptr, [&] { app_.navigateBack(); });
        case Command::openFolder:
            return done(true, [&] { app_.openFolder(); });
        case Command::exportAll:
            return done(roll && !roll->photos().empty(), [&] { exportAll(*roll); });
        case Command::locateFolder:
            return done(roll && roll->isDisconnected(), [&] { app_.locateRoll(roll); });
        case Command::reanalyzePhoto:
            return photo && smartReanalyzeSinglePhoto(*roll, photo, {});
        case Command::reanalyzeRoll:
            return roll && reanalyzeAllPhotos(*roll, {});
        case Command::reanalyzeAllRolls:
            return reanalyzeAllRolls(app_.rolls());
        case Command::revealInFinder:
            return done(photo != nullptr, [&] { shell_.reveal(photo->sourceURL().parent()); });
        case Command::rotateClockwise:
            return done(photo != nullptr, [&] { rotateSelectedClockwise(*roll, &undoStack); });
        case Command::rotateCounterClockwise:
            return done(photo != nullptr, [&] { rotateSelectedCounterClockwise(*roll, &undoStack); });
        case Command::toggleSoundEffects:
            return done(true, [&] {
                preferences.set(settings::soundEffectsEnabled, !preferences.soundEffectsEnabled());
            });
        case Command::cycleRollSort:
            return done(true, [&] {
                preferences.setRollSortOption(following(preferences.rollSortOption()));
                app_.sortRolls();
            });
        case Command::toggleSortDirection:
            return done(true, [&] {
                preferences.set(settings::rollSortAscending, !preferences.rollSortAscending());
                app_.sortRolls();
            });
        case Command::undo:
            return done(undoStack.canUndo(), [&] { undoStack.undo(); });
        case Command::redo:
            return done(undoStack.canRedo(), [&] { undoStack.redo(); });
        case Command::resetAllData:
            return done(true, [&] { app_.requestReset(); });
        case Command::quit:
            return done(true, [&] { shell_.terminate(); });
        case Command::nextPhoto:
            return done(roll != nullptr, [&] { selectNext(*roll); });
        case Command::previousPhoto:
            return done(roll != nullptr, [&] { selectPrevious(*roll); });
        case Command::nextRoll:
            return done(roll != nullptr, [&] { app_.navigateToNextRoll(); });
        case Command::previousRoll:
            return done(roll != nullptr, [&] { app_.navigateToPreviousRoll(); });
        case Command::navigateHistoryBack:
            return done(true, [&] { app_.goBackInHistory(); });
        case Command::navigateHistoryForward:
            return done(true, [&] { app_.goForwardInHistory(); });
        case Command::loadTimeline:
            return done(roll && !roll->photos().empty(), [&] { loadTimeline(*roll); });
        case Command::copyImage:
        case Command::findSimilar:
        case Command::zoomIn:
        case Command::zoomOut:
        case Command::zoomReset:
            return photo && screen_.perform(command);
        case Command::openSettings:
        case Command::showShortcuts:
        case Command::focusSearch:
            return screen_.perform(command);
    }
    return false;
}

bool CommandDispatcher::perform(const NavigateToRoll& action) {
    const RollPointer roll = app_.roll(action.id);
    if (roll) app_.navigateToRoll(roll);
    return roll != nullptr;
}

bool CommandDispatcher::perform(const NavigateToPhoto& action) {
    const RollPointer roll = app_.activeRoll();
    if (!roll) return false;
    const auto photo =
        std::ranges::find(roll->photos(), action.id, [](const auto& each) { return each->id(); });
    if (photo == roll->photos().end()) return false;
    selectPhoto(*roll, PhotoPointer(*photo));
    return true;
}

PaletteState paletteState(AppViewModel& app, const RollPointer& open) {
    const UserPreferences& preferences = app.preferences();
    const UndoStack& undoStack = app.undoStack();
    PaletteState state{.canUndo = undoStack.canUndo(),
                       .canRedo = undoStack.canRedo(),
                       .undoLabel = latestLabel(undoStack.undoStack()),
                       .redoLabel = latestLabel(undoStack.redoStack()),
                       .rollSortOption = preferences.rollSortOption(),
                       .rollSortAscending = preferences.rollSortAscending(),
                       .soundEffectsEnabled = preferences.soundEffectsEnabled()};
    state.rolls.reserve(app.rolls().size());
    for (const RollPointer& roll : app.rolls()) {
        state.rolls.push_back({roll->id(), roll->name(), roll->photos().size()});
    }
    if (open) {
        state.isRollOpen = true;
        state.isOpenRollDisconnected = open->isDisconnected();
        state.isPhotoSelected = open->selectedPhoto() != nullptr;
        state.openRollPhotos.reserve(open->photos().size());
        for (const PhotoPointer& photo : open->photos()) {
            state.openRollPhotos.push_back({photo->id(), photo->filename()});
        }
    }
    return state;
}

}  // namespace kelvaris

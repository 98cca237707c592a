#include "application/app_view_model.h"

#include <algorithm>

#include "base/text.h"
#include "library/roll_loading.h"
#include "library/roll_selection.h"

namespace kelvaris {

AppViewModel::AppViewModel(AppServices services) : services_(services) {
    services_.preferences.slugProvider = [this, alive = lifetime_.weak()]() -> std::optional<FavoriteSlugs> {
        if (alive.expired()) return std::nullopt;
        return FavoriteSlugs{services_.favorites.favoriteCameraSlugs(),
                             services_.favorites.favoriteFilmSlugs()};
    };
}

AppViewModel::~AppViewModel() { services_.preferences.slugProvider = nullptr; }

RollPointer AppViewModel::roll(RollID id) const {
    const auto found = std::find_if(rolls_.begin(), rolls_.end(),
                                    [id](const RollPointer& each) { return each->id() == id; });
    return found == rolls_.end() ? nullptr : *found;
}

void AppViewModel::setRolls(std::vector<RollPointer> rolls) {
    if (assign(AppField::rolls, rolls_, std::move(rolls))) services_.vault.watch(rolls_);
}

void AppViewModel::setActiveRoll(RollPointer roll) {
    assign(AppField::activeRoll, activeRoll_, std::move(roll));
}

std::optional<RollID> AppViewModel::activeRollID() const {
    return activeRoll_ ? std::optional(activeRoll_->id()) : std::nullopt;
}

// --- Navigation ----------------------------------------------------------------------------------------

void AppViewModel::activateRollIfNeeded(const RollPointer& roll) {
    if (roll->isDisconnected()) return;
    std::erase(backgroundAnalysisQueue_, roll->id());
    if (roll->isAnalyzing() && backgroundAnalyzingRollID_ == roll->id()) {
        // The background run simply continues under the user's eyes.
        roll->setNeedsFullActivation(false);
        staggerVisibility(*roll);
        return;
    }
    if (roll->needsFullActivation()) activateAnalysis(*roll);
}

bool AppViewModel::showRoll(const RollPointer& shown, bool remembers) {
    const RollPointer roll = shown;  // the caller's reference may be the list's own
    if (roll == activeRoll_) return false;
    if (remembers) navigationHistory_.push(activeRollID());
    if (activeRoll_) unloadThumbnails(*activeRoll_, sidebarKeepCount);
    setActiveRoll(roll);
    undoStack_.clear();
    if (roll) activateRollIfNeeded(roll);
    return true;
}

void AppViewModel::navigateToRoll(const RollPointer& roll) {
    takeInHandEdits();
    if (showRoll(roll, true)) services_.library.play(Sound::navigate);
}

void AppViewModel::navigateToNextRoll() {
    const auto current = std::find(rolls_.begin(), rolls_.end(), activeRoll_);
    if (!activeRoll_ || current == rolls_.end() || current + 1 == rolls_.end()) return;
    navigateToRoll(*(current + 1));
}

void AppViewModel::navigateToPreviousRoll() {
    const auto current = std::find(rolls_.begin(), rolls_.end(), activeRoll_);
    if (!activeRoll_ || current == rolls_.end() || current == rolls_.begin()) return;
    navigateToRoll(*(current - 1));
}

void AppViewModel::navigateBack() { showRoll(nullptr, true); }

void AppViewModel::resolveHistoryNavigation(std::optional<RollID> id) {
    const RollPointer target = id ? roll(*id) : nullptr;
    if (showRoll(target, false) && target) services_.library.play(Sound::navigate);
}

void AppViewModel::goBackInHistory() {
    if (const auto entry = navigationHistory_.goBack(activeRollID())) resolveHistoryNavigation(*entry);
}

void AppViewModel::goForwardInHistory() {
    if (const auto entry = navigationHistory_.goForward(activeRollID())) resolveHistoryNavigation(*entry);
}

// --- Undo ----------------------------------------------------------------------------------------------

void AppViewModel::bringIntoView(const UndoableAction& action) {
    const RollPointer target = action.roll ? roll(*action.roll) : nullptr;
    if (startMode_ == StartMode::commands || !target || target == activeRoll_) return;
    // Not by showRoll(): the step that is about to be taken back must not be forgotten on the way.
    navigationHistory_.push(activeRollID());
    if (activeRoll_) unloadThumbnails(*activeRoll_, sidebarKeepCount);
    setActiveRoll(target);
    activateRollIfNeeded(target);
}

std::optional<std::string> AppViewModel::undo() {
    if (!undoStack_.canUndo()) return std::nullopt;
    const UndoableAction action = undoStack_.undoStack().back();
    bringIntoView(action);
    undoStack_.undo();
    return action.label;
}

std::optional<std::string> AppViewModel::redo() {
    if (!undoStack_.canRedo()) return std::nullopt;
    const UndoableAction action = undoStack_.redoStack().back();
    bringIntoView(action);
    undoStack_.redo();
    return action.label;
}

}  // namespace kelvaris

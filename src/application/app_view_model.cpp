#include "application/app_view_model.h"

#include <algorithm>

#include "base/text.h"
#include "library/roll_loading.h"
#include "library/roll_selection.h"

namespace kelvaris {

AppViewModel::AppViewModel(AppServices services)
    : services_(services), utilityQueue_(services.queues.makeQueue("com.kelvaris.utility", 1)) {
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
    assign(AppField::rolls, rolls_, std::move(rolls));
}

void AppViewModel::setActiveRoll(RollPointer roll) {
    if (assign(AppField::activeRoll, activeRoll_, std::move(roll))) observeActiveRoll();
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

void AppViewModel::unloadActiveRoll() {
    if (activeRoll_) unloadThumbnails(*activeRoll_, sidebarKeepCount);
}

void AppViewModel::navigateToRoll(const RollPointer& roll) {
    navigationHistory_.push(activeRoll_ ? std::optional(activeRoll_->id()) : std::nullopt);
    unloadActiveRoll();
    setActiveRoll(roll);
    undoStack_.clear();  // undo never crosses a roll
    activateRollIfNeeded(roll);
    services_.library.play(Sound::navigate);
}

void AppViewModel::navigateToNextRoll() {
    const auto current = std::find(rolls_.begin(), rolls_.end(), activeRoll_);
    if (!activeRoll_ || current == rolls_.end() || current + 1 == rolls_.end()) return;
    navigateToRoll(RollPointer(*(current + 1)));
}

void AppViewModel::navigateToPreviousRoll() {
    const auto current = std::find(rolls_.begin(), rolls_.end(), activeRoll_);
    if (!activeRoll_ || current == rolls_.end() || current == rolls_.begin()) return;
    navigateToRoll(RollPointer(*(current - 1)));
}

void AppViewModel::navigateBack() {
    navigationHistory_.push(activeRoll_ ? std::optional(activeRoll_->id()) : std::nullopt);
    unloadActiveRoll();
    setActiveRoll(nullptr);
    undoStack_.clear();
}

void AppViewModel::resolveHistoryNavigation(std::optional<RollID> id) {
    unloadActiveRoll();
    const RollPointer target = id ? roll(*id) : nullptr;
    setActiveRoll(target);
    undoStack_.clear();
    if (!target) return;
    activateRollIfNeeded(target);
    services_.library.play(Sound::navigate);
}

void AppViewModel::goBackInHistory() {
    const auto entry =
        navigationHistory_.goBack(activeRoll_ ? std::optional(activeRoll_->id()) : std::nullopt);
    if (entry) resolveHistoryNavigation(*entry);
}

void AppViewModel::goForwardInHistory() {
    const auto entry =
        navigationHistory_.goForward(activeRoll_ ? std::optional(activeRoll_->id()) : std::nullopt);
    if (entry) resolveHistoryNavigation(*entry);
}

// --- The list ------------------------------------------------------------------------------------------

void AppViewModel::removeRoll(const RollPointer& removed) {
    const RollPointer roll = removed;  // the caller's reference may be the list's own
    if (activeRoll_ == roll) setActiveRoll(nullptr);
    std::vector<RollPointer> rest = rolls_;
    std::erase(rest, roll);
    setRolls(std::move(rest));
    std::erase(backgroundAnalysisQueue_, roll->id());
    if (roll->folderBookmarkData() && !roll->isDisconnected())
        services_.folders.endAccess(roll->sourceFolder());
    services_.vault.deleteRoll(roll->id());
    services_.library.play(Sound::remove);
}

void AppViewModel::removeDisconnectedRolls() {
    for (const RollPointer& roll : std::vector(rolls_)) {
        if (roll->isDisconnected()) removeRoll(roll);
    }
}

std::optional<RenameError> AppViewModel::validateRollName(const std::string& name,
                                                          const FilmRoll& roll) const {
    RenameCircumstances circumstances;
    circumstances.isDisconnected = roll.isDisconnected();
    circumstances.anotherRollHasTheName = std::any_of(
        rolls_.begin(), rolls_.end(),
        [&](const RollPointer& other) { return other->id() != roll.id() && other->name() == name; });
    const Path sibling = roll.sourceFolder().parent() / name;
    const auto there = services_.library.files.info(sibling);
    const auto here = services_.library.files.info(roll.sourceFolder());
    // On a file system that folds case, another spelling of the name is the folder itself.
    const bool isItself = there && here && there->device == here->device && there->inode == here->inode;
    circumstances.anotherFileHasTheName = there && !isItself;
    return rollNameError(name, circumstances);
}

std::optional<RenameError> AppViewModel::renameRoll(const RollPointer& roll, const std::string& newName) {
    const std::string name(trimmed(newName));
    if (auto error = validateRollName(name, *roll)) return error;
    if (name == roll->name()) return std::nullopt;
    const Path folder = roll->sourceFolder().parent() / name;
    if (const auto moved = services_.library.files.move(roll->sourceFolder(), folder); !moved) {
        return RenameError{RenameError::Kind::fileSystemError, moved.error().message};
    }
    roll->setSourceFolder(folder);
    roll->setName(name);
    for (const PhotoPointer& photo : roll->photos()) photo->setSourceURL(folder / photo->filename());
    roll->setFolderBookmarkData(services_.folders.makeReference(folder));
    services_.vault.save(*roll);
    return std::nullopt;
}

}  // namespace kelvaris

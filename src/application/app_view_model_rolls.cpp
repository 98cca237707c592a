// The list of rolls: taking out and renaming.

#include <fmt/format.h>

#include <algorithm>

#include "application/app_view_model.h"
#include "base/text.h"
#include "library/roll_analysis.h"
#include "library/roll_loading.h"
#include "vault/vault_service.h"

namespace kelvaris {

namespace {

bool liesIn(const Path& path, const Path& folder) { return path.string().starts_with(folder.string() + "/"); }

}  // namespace

// --- Removing ------------------------------------------------------------------------------------------

Result<void, std::string> AppViewModel::takeOutRoll(const RollPointer& removed) {
    const RollPointer roll = removed;  // the caller's reference may be the list's own
    // What is put aside must be the roll as it is now, whatever became of its file meanwhile.
    if (auto saved = services_.vault.schedule().saveNow(*roll); !saved) return saved;
    if (auto aside = services_.vault.deleteRoll(roll->id()); !aside) return aside;
    if (activeRoll_ == roll) showRoll(nullptr, true);
    std::vector<RollPointer> rest = rolls_;
    std::erase(rest, roll);
    setRolls(std::move(rest));
    callOffAnalysis(roll);
    if (roll->folderBookmarkData() && !roll->isDisconnected())
        services_.folders.endAccess(roll->sourceFolder());
    services_.library.play(Sound::remove);
    return {};
}

void AppViewModel::takeBackRoll(const RollPointer& roll) {
    const auto stored = services_.vault.takeBackRoll(roll->id());
    if (!stored) {
        roll->setStatusNotification(StatusNotification::error(
            fmt::format("Could not bring {} back: {}", roll->name(), stored.error())));
        return;
    }
    if (roll->folderBookmarkData() && !roll->isDisconnected()) joinFolder(roll, roll->sourceFolder());
    roll->setNeedsFullActivation(true);
    std::vector<RollPointer> rolls = rolls_;
    rolls.push_back(roll);
    setRolls(std::move(rolls));
    sortRolls();
    services_.vault.scheduleSave(roll);
    if (startMode_ == StartMode::screen) enqueueBackgroundAnalysis({roll});
}

Result<void, std::string> AppViewModel::removeRolls(const std::vector<RollPointer>& rolls) {
    if (exclusive_ != Exclusive::none) return Unexpected(std::string(exclusiveRefusal));
    undoStack_.clear();  // a step must not edit what is not there any more
    std::vector<RollPointer> removed;
    Result<void, std::string> outcome;
    for (const RollPointer& roll : rolls) {
        outcome = takeOutRoll(roll);
        if (!outcome) break;
        removed.push_back(roll);
    }
    if (removed.empty()) return outcome;
    undoStack_.push(
        {.label = removed.size() == 1 ? "Remove Roll" : fmt::format("Remove {} Rolls", removed.size()),
         .undo =
             [this, removed] {
                 for (const RollPointer& roll : removed) takeBackRoll(roll);
             },
         .redo =
             [this, removed] {
                 for (const RollPointer& roll : removed) {
                     if (const auto again = takeOutRoll(roll); !again) {
                         roll->setStatusNotification(StatusNotification::error(
                             fmt::format("Could not remove {}: {}", roll->name(), again.error())));
                     }
                 }
             }});
    return outcome;
}

Result<void, std::string> AppViewModel::removeRoll(const RollPointer& roll) { return removeRolls({roll}); }

Result<void, std::string> AppViewModel::removeDisconnectedRolls() {
    std::vector<RollPointer> away;
    for (const RollPointer& roll : rolls_) {
        if (roll->isDisconnected()) away.push_back(roll);
    }
    return removeRolls(away);
}

std::vector<RollID> AppViewModel::forgetRemovedRolls(std::optional<int> olderThanDays) {
    std::vector<RollID> gone = services_.vault.store().emptyAside(olderThanDays);
    std::erase_if(gone, [this](RollID id) { return roll(id) != nullptr; });
    if (!gone.empty()) {
        services_.preferences.setFaceGroupingEdits(
            withoutRolls(services_.preferences.faceGroupingEdits(), gone));
    }
    return gone;
}

// --- Renaming ------------------------------------------------------------------------------------------

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

void AppViewModel::moveRollTo(FilmRoll& roll, const Path& folder) {
    roll.setSourceFolder(folder);
    roll.setName(folder.filename());
    for (const PhotoList* list : {&roll.photos(), &roll.removedPhotos()}) {
        for (const PhotoPointer& photo : *list) photo->setSourceURL(folder / photo->filename());
    }
    if (auto reference = services_.folders.makeReference(folder)) roll.setFolderBookmarkData(reference);
    services_.vault.save(roll);
}

std::optional<RenameError> AppViewModel::moveRollFolder(const RollPointer& roll, const std::string& name) {
    if (exclusive_ != Exclusive::none) {
        return RenameError{RenameError::Kind::fileSystemError, std::string(exclusiveRefusal)};
    }
    if (auto error = validateRollName(name, *roll)) return error;
    if (!isInItsFolder(roll)) {  // another disk may be in its place by now, and must not be renamed
        return RenameError{RenameError::Kind::fileSystemError,
                           fmt::format("Cannot rename the roll: {}.", roll->awayReason())};
    }
    const Path before = roll->sourceFolder();
    const Path folder = before.parent() / name;
    if (const auto moved = services_.library.files.move(before, folder); !moved) {
        return RenameError{RenameError::Kind::fileSystemError, moved.error().message};
    }
    moveRollTo(*roll, folder);
    for (const RollPointer& other : rolls_) {
        if (!liesIn(other->sourceFolder(), before)) continue;
        moveRollTo(*other,
                   Path(folder.string() + other->sourceFolder().string().substr(before.string().size())));
    }
    return std::nullopt;
}

std::optional<RenameError> AppViewModel::renameRoll(const RollPointer& roll, const std::string& newName) {
    const std::string name(trimmed(newName));
    if (auto error = validateRollName(name, *roll)) return error;
    if (name == roll->name()) return std::nullopt;
    const std::string before = roll->name();
    if (auto error = moveRollFolder(roll, name)) return error;
    const auto rename = [this, weak = std::weak_ptr(roll)](const std::string& to) {
        const RollPointer living = weak.lock();
        if (!living) return;
        if (const auto error = moveRollFolder(living, to)) {
            living->setStatusNotification(StatusNotification::error(error->text()));
        }
    };
    undoStack_.push({.label = "Rename Roll",
                     .undo = [rename, before] { rename(before); },
                     .redo = [rename, name] { rename(name); },
                     .roll = roll->id()});
    return std::nullopt;
}

}  // namespace kelvaris

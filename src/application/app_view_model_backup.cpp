// Backup, restore and reset.

#include <utility>

#include "application/app_view_model.h"
#include "base/text.h"
#include "images/image_cache.h"

namespace kelvaris {

// --- Mirror --------------------------------------------------------------------------------------------

std::vector<Path> AppViewModel::scanFolders() const {
    std::vector<Path> folders;
    for (const RollPointer& roll : rolls_) folders.push_back(roll->sourceFolder());
    return folders;
}

std::optional<std::string> AppViewModel::startMirroring(const Path& folder) {
    const Files& files = services_.library.files;
    const auto reference = files.isDirectory(folder) ? services_.folders.makeReference(folder) : std::nullopt;
    if (!reference) return "no such folder: " + folder.string();
    if (auto refusal =
            mirrorFolderRefusal(files, folder, services_.vault.paths(), services_.places, scanFolders())) {
        return refusal;
    }
    services_.preferences.setMirrorFolder(base64Encoded(*reference), folder.string());
    return std::nullopt;
}

void AppViewModel::backUpNow(std::function<void(MirrorReport)> completion) {
    flushPendingSaves();  // what fails here is told by whoever saves
    VaultMirror& mirror = services_.vault.mirror();
    mirror.enqueue([&mirror, &main = services_.library.main, alive = lifetime_.weak(),
                    completion = std::move(completion)] {
        main.post([alive, completion, report = mirror.mirrorAll()] {
            if (!alive.expired()) completion(report);
        });
    });
}

// --- Restore -------------------------------------------------------------------------------------------

void AppViewModel::setExclusive(Exclusive exclusive) {
    if (!assign(AppField::exclusive, exclusive_, exclusive)) return;
    services_.vault.setHeld(exclusive != Exclusive::none);
}

void AppViewModel::restoreFromMirror(const Path& folder, bool replacesNewer,
                                     std::function<void(RestoreReport)> completion) {
    MainQueue& main = services_.library.main;
    std::string refusal;
    if (exclusive_ != Exclusive::none) {
        refusal = "Another restore or a reset is running";
    } else if (!services_.vault.canWrite()) {
        refusal = services_.vault.writeRefusal();
    } else if (!flushPendingSaves()) {
        refusal = "Nothing was restored: what changed here could not be saved before";
    }
    if (!refusal.empty()) {
        RestoreReport report;
        report.refusal = std::move(refusal);
        main.post([completion = std::move(completion), report = std::move(report)] { completion(report); });
        return;
    }
    setExclusive(Exclusive::restoring);
    callOffAllAnalysis();
    // Behind the copies that wait: they are of this library, and the mirror is read when they are written.
    VaultMirror& mirror = services_.vault.mirror();
    mirror.enqueue([this, &mirror, &main, folder, replacesNewer, alive = lifetime_.weak(),
                    completion = std::move(completion)] {
        main.post([this, alive, completion, report = mirror.restoreFromMirror(folder, replacesNewer)] {
            if (alive.expired()) return;
            finishRestore(report);
            completion(report);
        });
    });
}

void AppViewModel::finishRestore(const RestoreReport& report) {
    if (!report.hasChangedAnything()) {
        setExclusive(Exclusive::none);
        if (startMode_ == StartMode::screen) enqueueBackgroundAnalysis(rolls_);
        return;
    }
    using Act = RestoreDecision::Act;
    reloadAfterRestore(report.preferences == Act::take || report.preferences == Act::replace);
}

void AppViewModel::reloadAfterRestore(bool withPreferences) {
    // Whatever waits to be saved, or is still being found, is of rolls that are let go here.
    callOffAllAnalysis();
    services_.vault.cancelPendingSaves();
    services_.vault.forgetFiles();
    navigateBack();
    undoStack_.clear();
    for (const RollPointer& roll : rolls_) {
        if (roll->folderBookmarkData() && !roll->isDisconnected()) {
            services_.folders.endAccess(roll->sourceFolder());
        }
    }
    setRolls({});
    services_.library.imageCache.removeAll();
    setExclusive(Exclusive::none);
    if (withPreferences) {
        services_.favorites.reload();
        services_.preferences.loadRestored();
    }
    restoreRolls(startMode_);
    if (startMode_ == StartMode::screen) attemptSmartRelocation();
}

// --- Reset ---------------------------------------------------------------------------------------------

void AppViewModel::requestReset() {
    AlertRequest alert;
    alert.message = "Reset all data?";
    alert.text = "All rolls, preferences and caches are deleted. The scans and the mirror stay.";
    alert.buttons = {"Reset", "Cancel"};
    services_.library.shell.ask(alert, [this, alive = lifetime_.weak()](std::size_t button) {
        if (alive.expired() || button != 0) return;
        const ResetReport report = removeAllData();
        if (!report.hasFailed()) return services_.library.shell.terminate();
        AlertRequest outcome;
        const bool isRefused = !report.refusals.empty();
        outcome.message = isRefused ? "Nothing was deleted" : "Not everything could be deleted";
        outcome.text = joined(isRefused ? report.refusals : report.failures, "\n");
        outcome.buttons = {isRefused ? "OK" : "Quit"};
        services_.library.shell.ask(outcome, [this, alive, isRefused](std::size_t) {
            if (!alive.expired() && !isRefused) services_.library.shell.terminate();
        });
    });
}

ResetReport AppViewModel::resetAllData() {
    ResetReport report = removeAllData();
    if (report.refusals.empty()) services_.library.shell.terminate();
    return report;
}

ResetReport AppViewModel::removeAllData() {
    Files& files = services_.library.files;
    const auto folders = ownFolders(files, services_.vault.paths(), services_.places);
    const auto mirror = services_.preferences.mirrorFolderPath();
    ResetReport report;
    report.refusals =
        resetRefusals(files, folders, scanFolders(), mirror ? std::optional(Path(*mirror)) : std::nullopt);
    if (exclusive_ != Exclusive::none) report.refusals.push_back("A restore is running");
    if (!services_.vault.canWrite()) report.refusals.push_back(services_.vault.writeRefusal());
    if (!report.refusals.empty()) return report;
    flushPendingSaves();  // for the mirror, which stays
    setExclusive(Exclusive::resetting);
    services_.vault.cancelPendingSaves();
    services_.preferences.cancelVaultSync();
    services_.favorites.cancelPendingSave();
    callOffAllAnalysis();
    setActiveRoll(nullptr);
    undoStack_.clear();
    setRolls({});
    services_.library.imageCache.removeAll();
    services_.defaults.removeAll();
    report.failures = removeOwn(files, folders);
    return report;
}

}  // namespace kelvaris

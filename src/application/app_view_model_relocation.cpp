// Folders that are gone, and how they are found again.

#include <fmt/format.h>

#include "application/app_view_model.h"
#include "application/fingerprint_match.h"
#include "base/text.h"
#include "library/fingerprint.h"
#include "library/roll_loading.h"
#include "vault/roll_manifest.h"

namespace kelvaris {

RollPointer AppViewModel::restoreDisconnectedRoll(StoredRoll stored, RollID id) {
    const RollPointer roll = FilmRoll::make(Path(stored.manifest.folderPath), id, services_.library);
    roll->setIsDisconnected(true);
    // Kept for the day on which the disk is there again.
    if (auto bookmark = base64Decoded(stored.manifest.folderBookmark); bookmark && !bookmark->empty()) {
        roll->setFolderBookmarkData(std::move(bookmark));
    }
    roll->setStoredFingerprint(stored.manifest.fileFingerprint);
    services_.vault.applyManifest(std::move(stored), *roll);
    return roll;
}

void AppViewModel::attemptSmartRelocation() {
    for (const RollPointer& roll : std::vector(rolls_)) {
        if (!roll->isDisconnected()) continue;
        ++runningFolderSearches_;
        services_.folderSearch.search(
            roll->sourceFolder().filename(),
            [this, alive = lifetime_.weak(), weak = std::weak_ptr(roll)](const std::vector<Path>& found) {
                if (alive.expired()) return;
                --runningFolderSearches_;
                const RollPointer roll = weak.lock();
                if (!roll || !roll->isDisconnected()) return;
                for (const Path& folder : found) {
                    const auto fingerprint = computeFingerprint(services_.library.files, folder);
                    if (matchRatio(fingerprint, roll->storedFingerprint()) < matchingRatio) continue;
                    relocateRoll(roll, folder);
                    return;
                }
            });
    }
}

void AppViewModel::locateRoll(const RollPointer& roll) {
    PickerRequest request;
    request.message = fmt::format("Locate the folder for \"{}\"", roll->name());
    request.choosesFolders = true;
    services_.library.shell.choose(
        request, [this, alive = lifetime_.weak(), roll](const std::vector<Path>& chosen) {
            if (alive.expired() || chosen.empty()) return;
            const Path folder = chosen.front();
            const double ratio =
                matchRatio(computeFingerprint(services_.library.files, folder), roll->storedFingerprint());
            if (ratio >= matchingRatio || roll->storedFingerprint().empty()) {
                relocateRoll(roll, folder);
                return;
            }
            AlertRequest alert;
            alert.message = "This folder doesn't closely match the original";
            alert.text = fmt::format("Only {:.0f}% of files match. Reconnect anyway?", ratio * 100);
            alert.buttons = {"Reconnect", "Cancel"};
            services_.library.shell.ask(alert, [this, alive, roll, folder](std::size_t button) {
                if (!alive.expired() && button == 0) relocateRoll(roll, folder);
            });
        });
}

bool AppViewModel::relocateRoll(const RollPointer& roll, const Path& folder) {
    auto reference = services_.folders.makeReference(folder);
    if (!reference || !services_.folders.beginAccess(folder)) return false;
    roll->setSourceFolder(folder);
    roll->setName(folder.filename());
    roll->setFolderBookmarkData(std::move(reference));
    roll->setIsDisconnected(false);
    loadFolder(*roll, true);
    if (const auto manifest = services_.vault.loadManifest(services_.vault.paths().rollFile(roll->id()))) {
        services_.vault.applyManifest(*manifest, *roll);
    }
    services_.vault.save(*roll);
    return true;
}

}  // namespace kelvaris

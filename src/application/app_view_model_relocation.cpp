// Folders that are gone, and how they are found again.

#include <fmt/format.h>

#include <algorithm>
#include <iterator>
#include <set>

#include "application/app_view_model.h"
#include "application/fingerprint_match.h"
#include "base/text.h"
#include "library/fingerprint.h"
#include "library/folder_verdict.h"
#include "library/roll_loading.h"
#include "vault/roll_manifest.h"

namespace kelvaris {

namespace {

/// Whether a folder is the roll's, for any thread: in its old place by the files that it shares with the
/// roll, elsewhere by its likeness. It must not live longer than the files service.
/// @param owned the folders of other rolls.
std::function<bool(const Path&)> folderTest(const FilmRoll& roll,
                                            std::shared_ptr<const std::set<Path>> owned) {
    return [&files = roll.services().files, old = roll.sourceFolder(), known = roll.storedFingerprint(),
            owned = std::move(owned)](const Path& folder) {
        if (owned->contains(folder)) return false;
        if (folder == old) return judgeFolder(files, folder, known).isPresent();
        return matchRatio(computeFingerprint(files, folder), known) >= matchingRatio;
    };
}

}  // namespace

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
    std::vector<RollPointer> lost;
    std::copy_if(rolls_.begin(), rolls_.end(), std::back_inserter(lost), [](const RollPointer& roll) {
        return roll->isDisconnected() && !roll->storedFingerprint().empty();
    });
    lookFor(lost);
}

void AppViewModel::lookFor(const std::vector<RollPointer>& lost) {
    if (lost.empty()) return;
    const auto owned = std::make_shared<std::set<Path>>();
    for (const RollPointer& roll : rolls_) {
        if (!roll->isDisconnected()) owned->insert(roll->sourceFolder());
    }
    std::vector<SoughtFolder> sought;
    std::vector<std::weak_ptr<FilmRoll>> seekers(lost.begin(), lost.end());
    for (const RollPointer& roll : lost) {
        sought.push_back({.name = roll->sourceFolder().filename(),
                          .firstTried = {roll->sourceFolder()},
                          .isIt = folderTest(*roll, owned)});
    }
    ++runningFolderSearches_;
    services_.folderSearch.search(
        std::move(sought), [this, alive = lifetime_.weak(),
                            seekers = std::move(seekers)](const std::vector<std::optional<Path>>& found) {
            if (alive.expired()) return;
            --runningFolderSearches_;
            for (std::size_t i = 0; i < seekers.size(); ++i) {
                const RollPointer roll = seekers[i].lock();
                if (roll && roll->isDisconnected() && found[i]) relocateRoll(roll, *found[i]);
            }
        });
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

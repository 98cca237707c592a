// Folders that are gone, and how they are found again.

#include <fmt/format.h>

#include <algorithm>
#include <iterator>
#include <set>

#include "application/app_view_model.h"
#include "application/fingerprint_match.h"
#include "base/log.h"
#include "library/fingerprint.h"
#include "library/folder_verdict.h"
#include "library/roll_loading.h"
#include "vault/manifest_exchange.h"
#include "vault/roll_document.h"

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

Path AppViewModel::realPath(const Path& folder) const {
    return services_.library.files.canonical(folder).value_or(folder);
}

bool AppViewModel::isInItsFolder(const RollPointer& roll) {
    if (roll->isDisconnected()) return false;
    const FolderVerdict verdict =
        judgeFolder(services_.library.files, roll->sourceFolder(), roll->storedFingerprint());
    if (verdict.isPresent()) return true;
    if (roll->folderBookmarkData()) services_.folders.endAccess(roll->sourceFolder());
    leaveFolder(*roll, std::string(verdict.awayReason()));
    return false;
}

RollPointer AppViewModel::rollAt(const Path& realFolder) {
    for (const RollPointer& roll : rolls_) {
        const bool isThere = !roll->isDisconnected() && realPath(roll->sourceFolder()) == realFolder;
        if (isThere && isInItsFolder(roll)) return roll;
    }
    return nullptr;
}

bool AppViewModel::joinFolder(const RollPointer& roll, const Path& folder) {
    Files& files = services_.library.files;
    const auto listing = files.list(folder);
    FolderVerdict verdict = judgeFolder(listing, roll->storedFingerprint());
    if (verdict.isPresent() && !services_.folders.beginAccess(folder)) {
        verdict.kind = FolderVerdict::Kind::unreadable;
    }
    if (!verdict.isPresent()) {
        leaveFolder(*roll, std::string(verdict.awayReason()));
        return false;
    }
    roll->setSourceFolder(folder);
    roll->setName(folder.filename());
    roll->setIsDisconnected(false);
    roll->setAwayReason({});
    takeListing(*roll, *listing);
    return true;
}

void AppViewModel::searchFolders(const std::vector<RollPointer>& rolls) {
    std::set<Path> wanted;
    for (const RollPointer& roll : rolls) {
        if (roll->isDisconnected()) wanted.insert(realPath(roll->sourceFolder()));
    }
    const auto owned = std::make_shared<std::set<Path>>();
    for (const RollPointer& roll : rolls_) {
        if (roll->isDisconnected()) continue;
        const Path folder = realPath(roll->sourceFolder());
        // The disk of a roll may have given its place back to that of the roll which is looked for.
        if (!wanted.contains(folder) || isInItsFolder(roll)) owned->insert(folder);
    }
    std::vector<SoughtFolder> sought;
    std::vector<std::weak_ptr<FilmRoll>> seekers;
    for (const RollPointer& roll : rolls) {
        if (!roll->isDisconnected() || roll->storedFingerprint().empty()) continue;
        sought.push_back({.name = roll->sourceFolder().filename(),
                          .firstTried = {roll->sourceFolder()},
                          .isIt = folderTest(*roll, owned)});
        seekers.push_back(roll);
    }
    if (sought.empty()) return;
    ++runningFolderSearches_;
    services_.folderSearch.search(std::move(sought), [this, alive = lifetime_.weak(), seekers](
                                                         const std::vector<std::optional<Path>>& found) {
        if (alive.expired()) return;
        --runningFolderSearches_;
        for (std::size_t i = 0; i < seekers.size() && i < found.size(); ++i) {
            const RollPointer roll = seekers[i].lock();
            if (!found[i] || !roll || !roll->isDisconnected()) continue;
            if (const auto moved = relocateRoll(roll, *found[i]); !moved) {
                log::info("Application", "{} was not moved onto {}: {}", roll->name(), found[i]->string(),
                          moved.error());
            }
        }
    });
}

void AppViewModel::attemptSmartRelocation() { searchFolders(rolls_); }

void AppViewModel::searchFolder(const RollPointer& roll) { searchFolders({roll}); }

void AppViewModel::moveOnto(const RollPointer& roll, const Path& folder) {
    if (const auto moved = relocateRoll(roll, folder); !moved) {
        roll->setStatusNotification(
            StatusNotification::error(fmt::format("Could not use {}: {}", folder.string(), moved.error())));
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
            if (relocationRefusal(roll, folder)) return moveOnto(roll, folder);  // which tells it
            const double ratio =
                matchRatio(computeFingerprint(services_.library.files, folder), roll->storedFingerprint());
            if (ratio >= matchingRatio || roll->storedFingerprint().empty()) {
                moveOnto(roll, folder);
                return;
            }
            AlertRequest alert;
            alert.message = "This folder doesn't closely match the original";
            alert.text = fmt::format("Only {:.0f}% of files match. Reconnect anyway?", ratio * 100);
            alert.buttons = {"Reconnect", "Cancel"};
            services_.library.shell.ask(alert, [this, alive, roll, folder](std::size_t button) {
                if (!alive.expired() && button == 0) moveOnto(roll, folder);
            });
        });
}

std::optional<std::string> AppViewModel::relocationRefusal(const RollPointer& roll, const Path& folder) {
    if (exclusive_ != Exclusive::none) return std::string(exclusiveRefusal);
    if (const RollPointer owner = rollAt(realPath(folder)); owner && owner != roll) {
        return fmt::format("the folder belongs to the roll {}", owner->name());
    }
    const auto listing = services_.library.files.list(folder);
    if (!listing) return "the folder cannot be read";
    // Nothing would tell the folder from any other, such as a mount point without its disk.
    if (!roll->storedFingerprint().empty() && fingerprintOf(*listing).empty())
        return "the folder holds no pictures";
    return std::nullopt;
}

Result<void, std::string> AppViewModel::relocateRoll(const RollPointer& roll, const Path& folder) {
    if (auto refusal = relocationRefusal(roll, folder)) return Unexpected(std::move(*refusal));
    auto reference = services_.folders.makeReference(folder);
    const auto listing = services_.library.files.list(folder);
    if (!reference || !listing || !services_.folders.beginAccess(folder)) {
        return Unexpected(std::string("the folder cannot be read"));
    }
    const bool wasConnected = !roll->isDisconnected();
    if (wasConnected && roll->folderBookmarkData()) services_.folders.endAccess(roll->sourceFolder());
    roll->setSourceFolder(folder);
    roll->setName(folder.filename());
    roll->setFolderBookmarkData(std::move(reference));
    roll->setIsDisconnected(false);
    roll->setAwayReason({});
    takeListing(*roll, *listing);
    // By these the folder is known again after a restart, even if it holds none of the roll's old files.
    roll->setStoredFingerprint(mergedFingerprint(fingerprintOf(*listing), roll->storedFingerprint(),
                                                 buildManifest(*roll, {}).photos));
    showLoaded(*roll, true);
    services_.vault.save(*roll);
    return {};
}

}  // namespace kelvaris

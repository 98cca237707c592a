// Starting, and the roads by which folders become rolls.

#include <algorithm>
#include <set>
#include <thread>

#include "application/app_view_model.h"
#include "application/cloud_warnings.h"
#include "application/folder_collection.h"
#include "base/text.h"
#include "library/analysis_pipeline.h"
#include "library/roll_analysis.h"
#include "library/roll_loading.h"
#include "vault/roll_manifest.h"

namespace kelvaris {

namespace {

/// Readers beside the main thread, which reads too.
int readerCount() { return std::max(1, static_cast<int>(std::thread::hardware_concurrency()) - 1); }

}  // namespace

void AppViewModel::start(StartMode mode) {
    startMode_ = mode;
    restoreRolls(mode);
    services_.preferences.loadFromVault();
    sortRolls();  // the file may name another order than the defaults did
    if (mode == StartMode::commands) return;
    services_.library.main.post([this, alive = lifetime_.weak()] {
        if (!alive.expired()) attemptSmartRelocation();
    });
}

void AppViewModel::restoreRolls(StartMode mode) {
    std::vector<RollPointer> restored = rolls_;
    SiblingFolders siblings;
    const auto readers = services_.queues.makeQueue("com.kelvaris.restore", readerCount());
    services_.vault.store().forEachRoll(*readers, [&](StoredRoll stored) {
        if (const auto id = RollID::parse(stored.manifest.id)) {
            restored.push_back(restoredRoll(std::move(stored), *id, siblings));
        }
    });
    setRolls(std::move(restored));
    sortRolls();
    if (mode == StartMode::commands) return;
    std::vector<RollPointer> inCloud;
    for (const RollPointer& roll : rolls_) {
        if (roll->isDisconnected()) continue;
        loadSidebarThumbnails(*roll);
        if (cloudProvider(*roll)) inCloud.push_back(roll);
    }
    warnAboutCloudRolls(inCloud);
    enqueueBackgroundAnalysis(rolls_);
}

RollPointer AppViewModel::restoredRoll(StoredRoll stored, RollID id, SiblingFolders& siblings) {
    const VaultRollManifest& manifest = stored.manifest;
    const auto bookmark = base64Decoded(manifest.folderBookmark);
    if (!bookmark || bookmark->empty()) return restoreDisconnectedRoll(std::move(stored), id);
    const auto resolved = services_.folders.resolve(*bookmark, siblings);
    if (!resolved || !services_.folders.beginAccess(resolved->path))
        return restoreDisconnectedRoll(std::move(stored), id);
    if (!services_.library.files.exists(resolved->path)) {
        services_.folders.endAccess(resolved->path);
        return restoreDisconnectedRoll(std::move(stored), id);
    }
    const RollPointer roll = FilmRoll::make(resolved->path, id, services_.library);
    std::optional<std::string> reference = *bookmark;
    if (resolved->isStale) {
        if (auto fresh = services_.folders.makeReference(resolved->path)) reference = std::move(fresh);
    }
    roll->setFolderBookmarkData(std::move(reference));
    roll->setStoredFingerprint(manifest.fileFingerprint);
    loadFolder(*roll, false);
    const bool hasMoved = resolved->path.string() != manifest.folderPath;
    services_.vault.applyManifest(std::move(stored), *roll);
    if (resolved->isStale || hasMoved) services_.vault.save(*roll);  // the vault heals itself
    return roll;
}

void AppViewModel::loadSidebarThumbnails(const FilmRoll& roll) {
    services_.library.analysis.loadSidebarThumbnails(roll.photos(), roll.id(), restoredSidebarThumbnails,
                                                     roll.isCloudHosted());
}

void AppViewModel::loadThumbnails(const FilmRoll& roll, const PhotoList& photos) {
    services_.library.analysis.loadSidebarThumbnails(photos, roll.id(), static_cast<int>(photos.size()),
                                                     roll.isCloudHosted());
}

void AppViewModel::openFolder() {
    PickerRequest request;
    request.message = "Select folders of scanned photos";
    request.choosesFolders = true;
    request.allowsMultiple = true;
    services_.library.shell.choose(request,
                                   [this, alive = lifetime_.weak()](const std::vector<Path>& folders) {
                                       if (!alive.expired() && !folders.empty()) openFolders(folders);
                                   });
}

void AppViewModel::openFolders(const std::vector<Path>& folders) {
    const std::vector<Path> found = imageFolders(services_.library.files, folders);
    if (found.empty()) return;
    if (found.size() == 1) {
        addRoll(found.front(), false);
        return;
    }
    for (const Path& folder : found) addRoll(folder, true);
    enqueueBackgroundAnalysis(rolls_);
}

void AppViewModel::addRoll(const Path& folder, bool batchMode) {
    const auto known = std::find_if(rolls_.begin(), rolls_.end(),
                                    [&](const RollPointer& roll) { return roll->sourceFolder() == folder; });
    if (known != rolls_.end()) {
        const RollPointer roll = *known;
        if (!batchMode) setActiveRoll(roll);
        if (!roll->isAnalyzing() && !roll->isDisconnected()) smartReanalyze(*roll, nullptr);
        return;
    }
    // A folder that was opened before keeps its id and its history.
    const auto manifest = services_.vault.loadManifestByFolderPath(folder.string());
    const auto storedID = manifest ? RollID::parse(manifest->id) : std::nullopt;
    const RollPointer roll = FilmRoll::make(folder, storedID.value_or(RollID::random()), services_.library);
    roll->setFolderBookmarkData(services_.folders.makeReference(folder));
    if (roll->folderBookmarkData()) services_.folders.beginAccess(folder);
    loadFolder(*roll, !batchMode);
    if (manifest) services_.vault.applyManifest(*manifest, *roll);
    if (!roll->workflowState()) roll->setWorkflowState(WorkflowState::opened);
    applyDefaults(*roll);
    std::vector<RollPointer> rolls = rolls_;
    rolls.push_back(roll);
    setRolls(std::move(rolls));
    sortRolls();
    if (batchMode) {
        loadSidebarThumbnails(*roll);
    } else {
        setActiveRoll(roll);
    }
    warnIfCloudHosted(*roll);
    services_.vault.save(*roll);
}

std::vector<RollPointer> AppViewModel::openedRolls(const std::vector<Path>& paths, bool analyze) {
    const std::vector<Path> folders = foldersOf(paths);
    std::vector<Path> found = imageFolders(services_.library.files, folders);
    // A folder that is named may hold a single picture; one that is merely met may not.
    for (const Path& folder : folders) {
        const bool isCovered = std::any_of(found.begin(), found.end(), [&](const Path& each) {
            return each == folder || each.string().starts_with(folder.string() + "/");
        });
        if (!isCovered && holdsPicture(services_.library.files, folder)) found.push_back(folder);
    }
    const bool isBatch = found.size() != 1 || !analyze;
    for (const Path& folder : found) addRoll(folder, isBatch);
    if (analyze && isBatch) enqueueBackgroundAnalysis(rolls_);
    std::vector<RollPointer> opened;
    for (const RollPointer& roll : rolls_) {
        if (std::find(found.begin(), found.end(), roll->sourceFolder()) != found.end())
            opened.push_back(roll);
    }
    return opened;
}

std::vector<Path> AppViewModel::foldersOf(const std::vector<Path>& paths) const {
    std::vector<Path> folders;
    std::set<Path> seen;
    for (const Path& path : paths) {
        const auto info = services_.library.files.info(path);
        if (!info) continue;
        if (!info->isDirectory && !FilmRoll::isImageFile(path)) continue;
        const Path folder = info->isDirectory ? path : path.parent();
        if (seen.insert(folder).second) folders.push_back(folder);
    }
    return folders;
}

void AppViewModel::handleDrop(const std::vector<Path>& paths) {
    const std::vector<Path> folders = foldersOf(paths);
    if (!folders.empty()) openFolders(folders);
}

void AppViewModel::handleOpenURLs(const std::vector<Path>& paths) {
    std::vector<Path> folders;
    for (const Path& path : paths) {
        if (services_.library.files.isDirectory(path)) folders.push_back(path);
    }
    if (!folders.empty()) openFolders(folders);
}

void AppViewModel::applyDefaults(FilmRoll& roll) {
    if (roll.cameraMake().empty() && roll.cameraModel().empty()) {
        if (const auto camera = services_.preferences.defaultCamera()) {
            roll.setCameraMake(camera->make);
            roll.setCameraModel(camera->model);
        }
    }
    if (roll.filmName().empty()) {
        if (const auto stock = services_.preferences.defaultFilmStock()) {
            roll.setFilmName(stock->name);
            if (!roll.filmISO()) roll.setFilmISO(stock->iso);
        }
    }
}

// --- Synced folders ------------------------------------------------------------------------------------

std::optional<CloudStorageProvider> AppViewModel::cloudProvider(const FilmRoll& roll) const {
    return detectCloudStorage(roll.sourceFolder(), services_.library.home);
}

void AppViewModel::warnIfCloudHosted(FilmRoll& roll) {
    const auto provider = cloudProvider(roll);
    if (!provider || !cloudWarningShown_.insert(*provider).second) return;
    roll.setStatusNotification(
        StatusNotification::cloudWarning(cloudWarning(*provider), roll.sourceFolder()));
}

void AppViewModel::warnAboutCloudRolls(const std::vector<RollPointer>& rolls) {
    struct Group {
        CloudStorageProvider provider;
        RollPointer first;
        std::size_t count;
    };
    std::vector<Group> groups;
    for (const RollPointer& roll : rolls) {
        const auto provider = cloudProvider(*roll);
        if (!provider) continue;
        const auto group = std::find_if(groups.begin(), groups.end(),
                                        [&](const Group& each) { return each.provider == *provider; });
        if (group == groups.end()) {
            groups.push_back({*provider, roll, 1});
        } else {
            ++group->count;
        }
    }
    for (const Group& group : groups) {
        if (!cloudWarningShown_.insert(group.provider).second) continue;
        group.first->setStatusNotification(StatusNotification::cloudWarning(
            cloudWarning(group.provider, group.count), group.first->sourceFolder()));
    }
}

}  // namespace kelvaris

// Starting, and the roads by which folders become rolls.

#include <algorithm>
#include <map>
#include <set>
#include <thread>

#include "application/app_view_model.h"
#include "application/cloud_warnings.h"
#include "application/fingerprint_match.h"
#include "application/folder_collection.h"
#include "base/log.h"
#include "base/text.h"
#include "library/analysis_pipeline.h"
#include "library/fingerprint.h"
#include "library/folder_verdict.h"
#include "library/roll_analysis.h"
#include "library/roll_loading.h"
#include "platform/sibling_folders.h"
#include "vault/roll_manifest.h"

namespace kelvaris {

namespace {

/// What was read is not what the file says.
bool isOfTheFile(const VaultProblem& problem) {
    return problem.kind == VaultProblem::Kind::salvaged || problem.kind == VaultProblem::Kind::fromBackup;
}

void setBaseDateFromFiles(FilmRoll& roll) {
    std::optional<Instant> earliest;
    for (const PhotoPointer& photo : roll.photos()) {
        const auto& created = photo->fileCreationDate();
        if (created && (!earliest || *created < *earliest)) earliest = created;
    }
    if (earliest) roll.setBaseDate(*earliest);
}

/// Readers beside the main thread, which reads too.
int readerCount() { return std::max(1, static_cast<int>(std::thread::hardware_concurrency()) - 1); }

}  // namespace

/// Away rolls by the files that they had, so that a folder which is opened elsewhere finds its roll.
class AwayRolls {
public:
    explicit AwayRolls(const std::vector<RollPointer>& rolls) {
        for (const RollPointer& roll : rolls) {
            if (!roll->isDisconnected()) continue;
            for (const FileFingerprint& file : roll->storedFingerprint()) {
                byFile_.emplace(std::pair(file.filename, file.size), roll);
            }
        }
    }

    bool isEmpty() const { return byFile_.empty(); }
    /// The roll whose files these are, for the most part; null when there is none.
    RollPointer rollOf(const std::vector<FileFingerprint>& files) const {
        std::set<RollPointer> candidates;
        for (const FileFingerprint& file : files) {
            const auto [first, last] = byFile_.equal_range(std::pair(file.filename, file.size));
            for (auto each = first; each != last; ++each) candidates.insert(each->second);
        }
        for (const RollPointer& roll : candidates) {
            const bool isIt = matchRatio(files, roll->storedFingerprint()) >= matchingRatio;
            if (roll->isDisconnected() && isIt) return roll;
        }
        return nullptr;
    }

private:
    std::multimap<std::pair<std::string, std::int64_t>, RollPointer> byFile_;
};

/// What the rolls of one restore share.
struct AppViewModel::Restoring {
    SiblingFolders siblings;  ///< listings of folders beside which moved ones are looked for
    std::set<Path> owned;     ///< folders that are a roll's
    /// Rolls whose file does not say what is known of them now: their folder moved or has more scans, or the
    /// file is damaged.
    std::vector<RollPointer> healing;
};

void AppViewModel::start(StartMode mode) {
    startMode_ = mode;
    restoreRolls(mode);
    services_.preferences.loadFromVault();
    if (services_.vault.canWrite()) forgetRemovedRolls(removedRollDays);
    sortRolls();  // the file may name another order than the defaults did
    if (mode == StartMode::commands) return;
    if (services_.vault.canWrite()) services_.vault.mirror().catchUp();
    services_.library.main.post([this, alive = lifetime_.weak()] {
        if (!alive.expired()) attemptSmartRelocation();
    });
}

void AppViewModel::restoreRolls(StartMode mode) {
    std::vector<RollPointer> restored = rolls_;
    Restoring restoring;
    const auto readers = services_.queues.makeQueue("com.kelvaris.restore", readerCount());
    const auto problems = services_.vault.store().forEachRoll(*readers, [&](StoredRoll stored) {
        if (const auto id = RollID::parse(stored.manifest.id)) {
            restored.push_back(restoredRoll(std::move(stored), *id, restoring));
        }
    });
    services_.vault.tell(problems);
    setRolls(std::move(restored));
    sortRolls();
    if (services_.vault.canWrite()) {
        for (const RollPointer& roll : restoring.healing)
            services_.vault.scheduleSave(roll);  // the vault heals
    }
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

RollPointer AppViewModel::restoredRoll(StoredRoll stored, RollID id, Restoring& restoring) {
    const Path storedPath(stored.manifest.folderPath);
    const auto bookmark = base64Decoded(stored.manifest.folderBookmark);
    const bool hasBaseDate = stored.manifest.baseDate.has_value();
    const bool isWhole = std::ranges::none_of(stored.problems, isOfTheFile);
    const RollPointer roll = FilmRoll::make(storedPath, id, services_.library);
    services_.vault.applyManifest(std::move(stored), *roll);
    if (!isWhole) restoring.healing.push_back(roll);
    // Kept also while the disk is away, for the day on which it is there again.
    if (bookmark && !bookmark->empty()) roll->setFolderBookmarkData(bookmark);

    const auto resolved = roll->folderBookmarkData()
                              ? services_.folders.resolve(*roll->folderBookmarkData(), restoring.siblings)
                              : std::nullopt;
    // A roll that came from another machine, or out of a backup, has no reference but a path.
    const Path folder = resolved ? resolved->path : storedPath;
    if (!restoring.owned.insert(realPath(folder)).second) {
        leaveFolder(*roll, "its folder belongs to another roll");
        return roll;
    }
    const std::size_t photosStored = roll->photos().size();
    if (!joinFolder(roll, folder)) {
        restoring.owned.erase(realPath(folder));
        return roll;
    }
    if (!hasBaseDate) setBaseDateFromFiles(*roll);
    if (!resolved || resolved->isStale) {
        if (auto fresh = services_.folders.makeReference(folder))
            roll->setFolderBookmarkData(std::move(fresh));
    }
    const bool isElsewhere = !resolved || resolved->isStale || folder != storedPath;
    if (isElsewhere || roll->photos().size() != photosStored) restoring.healing.push_back(roll);
    showLoaded(*roll, false);
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
    addRolls(found, found.size() > 1);
    if (found.size() > 1) enqueueBackgroundAnalysis(rolls_);
}

void AppViewModel::addRoll(const Path& folder, bool batchMode) { addRolls({folder}, batchMode); }

bool AppViewModel::reopenRoll(const RollPointer& roll, const Path& folder, bool batchMode) {
    if (!isInItsFolder(roll)) {
        // Another disk may stand in the place of the roll's own; that one is a roll of its own. A folder
        // without any files is none.
        const FolderVerdict verdict = judgeFolder(services_.library.files, folder, roll->storedFingerprint());
        if (verdict.kind == FolderVerdict::Kind::otherFiles) return false;
        if (verdict.isPresent() && !relocateRoll(roll, folder)) return false;
    }
    if (!batchMode) showRoll(roll, true);
    if (!roll->isAnalyzing()) smartReanalyze(*roll);
    return true;
}

RollPointer AppViewModel::addedRoll(const Path& folder, bool analyze, std::optional<StoredRoll> stored) {
    const auto storedID = stored ? RollID::parse(stored->manifest.id) : std::nullopt;
    const RollPointer roll = FilmRoll::make(folder, storedID.value_or(RollID::random()), services_.library);
    if (stored) services_.vault.applyManifest(std::move(*stored), *roll);
    roll->setSourceFolder(folder);
    roll->setFolderBookmarkData(services_.folders.makeReference(folder));
    if (roll->folderBookmarkData()) services_.folders.beginAccess(folder);
    loadFolder(*roll, analyze);
    if (!roll->workflowState()) roll->setWorkflowState(WorkflowState::opened);
    applyDefaults(*roll);
    return roll;
}

void AppViewModel::addRolls(const std::vector<Path>& folders, bool batchMode) {
    if (exclusive_ != Exclusive::none) return;
    // What is known already is looked up here, once for all folders: a library may have thousands of rolls.
    std::multimap<Path, RollPointer> known;
    for (const bool isAway : {false, true}) {  // of several in one place, those first that are thought there
        for (const RollPointer& roll : rolls_) {
            if (roll->isDisconnected() == isAway) known.emplace(realPath(roll->sourceFolder()), roll);
        }
    }
    const AwayRolls away(rolls_);
    const std::vector<AsideRoll> aside = services_.vault.store().asideRolls();
    std::vector<RollPointer> added;
    for (const Path& named : folders) {
        const Path folder = realPath(named);
        const auto [first, last] = known.equal_range(folder);
        if (std::any_of(first, last,
                        [&](const auto& each) { return reopenRoll(each.second, folder, batchMode); })) {
            continue;
        }
        const RollPointer moved =
            away.isEmpty() ? nullptr : away.rollOf(computeFingerprint(services_.library.files, folder));
        if (moved && reopenRoll(moved, folder, batchMode)) continue;
        const RollPointer roll = addedRoll(folder, !batchMode, takenBack(folder, aside));
        known.emplace(folder, roll);
        added.push_back(roll);
    }
    if (added.empty()) return;
    std::vector<RollPointer> rolls = rolls_;
    rolls.insert(rolls.end(), added.begin(), added.end());
    setRolls(std::move(rolls));
    sortRolls();
    for (const RollPointer& roll : added) {
        if (batchMode && startMode_ == StartMode::screen) loadSidebarThumbnails(*roll);
        warnIfCloudHosted(*roll);
    }
    services_.vault.saveAll(added);
    if (!batchMode) showRoll(added.back(), true);
}

std::optional<StoredRoll> AppViewModel::takenBack(const Path& folder, const std::vector<AsideRoll>& aside) {
    if (aside.empty()) return std::nullopt;
    const Files& files = services_.library.files;
    const std::vector<FileFingerprint> fingerprint = computeFingerprint(files, folder);
    for (const AsideRoll& each : aside) {
        const Path before(each.folderPath);
        const bool isPlace = !each.folderPath.empty() && (before == folder || realPath(before) == folder);
        // A folder that was moved meanwhile is known by its files.
        if (!isPlace && matchRatio(fingerprint, each.fileFingerprint) < matchingRatio) continue;
        if (roll(each.id)) continue;
        auto stored = services_.vault.takeBackRoll(each.id);
        if (!stored) continue;
        // Other files may lie in the folder by now: they are no photos of that roll, and it stays away.
        if (judgeFolder(files, folder, stored->manifest.fileFingerprint).isPresent()) {
            undoStack_.clear();  // the step of its removal holds the roll as it was
            return std::move(*stored);
        }
        if (const auto again = services_.vault.deleteRoll(each.id); !again) {
            log::error("Application", "Could not put {} aside again: {}", each.file.string(), again.error());
        }
    }
    return std::nullopt;
}

std::vector<RollPointer> AppViewModel::openedRolls(const std::vector<Path>& paths, bool analyze) {
    // A folder that is named may hold a single picture; one that is merely met may not.
    const std::vector<Path> found =
        imageFolders(services_.library.files, foldersOf(paths), SinglePicture::isRoll);
    const bool isBatch = found.size() != 1 || !analyze;
    addRolls(found, isBatch);
    if (analyze && isBatch) enqueueBackgroundAnalysis(rolls_);
    const std::set<Path> wanted(found.begin(), found.end());
    std::vector<RollPointer> opened;
    for (const RollPointer& roll : rolls_) {
        if (!roll->isDisconnected() && wanted.contains(realPath(roll->sourceFolder())))
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

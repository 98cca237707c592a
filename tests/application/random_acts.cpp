// What a user does with a library: opening, taking back, removing, looking at rolls.

#include <algorithm>

#include "preferences/preference_settings.h"
#include "random_life.h"

namespace kelvaris::testing {

using namespace std::chrono_literals;

namespace {

constexpr std::size_t mostDisks = 7;

}  // namespace

// --- Opening -------------------------------------------------------------------------------------------

std::size_t RandomLife::addDisk(const Path& path) {
    Disk disk{.path = path};
    const std::size_t count = 3 + below(4);
    for (std::size_t i = 1; i <= count; ++i) {
        // Names are alike everywhere, as cameras have it; no two files are of one size.
        disk.names.push_back(fmt::format("{:03}.jpg", i));
        files().addFile(path / disk.names.back(), std::string(100 + fileCount_++, 'x'));
    }
    disks_.push_back(std::move(disk));
    return disks_.size() - 1;
}

void RandomLife::openFolder() {
    std::size_t disk = below(mostDisks);
    if (disk >= disks_.size())
        disk = addDisk(Path(fmt::format("/media/{}/scans {}", disks_.size(), disks_.size())));
    if (!disks_[disk].isThere()) return;
    say("open the folder of disk {} ({})", disk + 1, disks_[disk].path.string());
    const std::set<RollID> before = connected();
    app().addRoll(disks_[disk].path, false);
    world_.machine.settle();
    noteOpened(disk, before);
    noteCleared();
}

void RandomLife::openSeveral() {
    std::vector<Path> folders;
    std::vector<std::size_t> opened;
    std::string words;
    for (std::size_t disk = 0; disk < disks_.size(); ++disk) {
        if (!disks_[disk].isThere() || chance(40)) continue;
        folders.push_back(disks_[disk].path);
        opened.push_back(disk);
        words += fmt::format(" {}", disk + 1);
    }
    if (folders.size() < 2) return;
    say("open the folders of disks{}", words);
    const std::set<RollID> before = connected();
    app().openFolders(folders);
    world_.machine.settle();
    for (const std::size_t disk : opened) noteOpened(disk, before);
    noteCleared();
}

/// Opening the folder of a roll in the list looks again at photos that could not be read last time. What
/// analysis had found of them goes until there are new results.
void RandomLife::noteReanalysis(Known& known, const FilmRoll& roll) {
    bool any = false;
    for (const PhotoPointer& photo : roll.photos()) {
        PhotoRecord& record = known.now.photos[photo->filename()];
        const bool isLookedAt = std::ranges::any_of(world_.pipeline().runs, [&](const auto& run) {
            return run.isReanalysis && std::ranges::find(run.photos, photo) != run.photos.end();
        });
        if (!record.isAnalyzed || photo->labelsAnalyzed() || !isLookedAt) continue;
        record.isAnalyzed = false;
        record.people = 0;
        any = true;
        if (record.dateSource != MetadataSource::autoDetect) continue;
        record.date.reset();
        record.dateSource.reset();
    }
    if (any) known.versions.push_back(known.now);
}

std::set<RollID> RandomLife::connected() {
    std::set<RollID> ids;
    for (const RollPointer& roll : app().rolls()) {
        if (!roll->isDisconnected()) ids.insert(roll->id());
    }
    return ids;
}

void RandomLife::noteOpened(std::size_t disk, const std::set<RollID>& connected) {
    const auto owner =
        std::ranges::find_if(rolls_, [disk](const auto& known) { return known->disk == disk; });
    const std::set<RollID> waiting = unsaved();
    RollPointer roll;
    for (const RollPointer& each : app().rolls()) {
        const bool isOwner = owner == rolls_.end() ? !knownOf(each->id()) : each->id() == (*owner)->id;
        if (isOwner && !each->isDisconnected() && each->sourceFolder() == disks_[disk].path) roll = each;
    }
    if (!roll)
        return fail(fmt::format("the folder of disk {} was opened, and its roll is not there", disk + 1));
    if (owner != rolls_.end()) {
        Known& known = **owner;
        if (known.isRemoved) known.versions = {known.now};
        known.isRemoved = false;
        takeNewcomers(known, *roll);
        noteReanalysis(known, *roll);
        expectSame(nameOf(known) + " after opening its folder", difference(known.now, recordOf(*roll)));
        checkPlace(known, *roll);
        // The folder of a roll that is open already is not listed anew.
        if (!connected.contains(known.id)) checkScans(known, *roll);
        return;
    }
    auto known = std::make_unique<Known>(Known{.id = roll->id(), .disk = disk, .now = recordOf(*roll)});
    for (const auto& [name, photo] : known->now.photos) {
        if (photo != PhotoRecord()) fail(fmt::format("{} of a new roll has values from nowhere", name));
    }
    known->versions = {known->now};
    known->wasSaved = !waiting.contains(roll->id());
    rolls_.push_back(std::move(known));
    checkPlace(*rolls_.back(), *roll);
    checkScans(*rolls_.back(), *roll);
}

// --- Undo ----------------------------------------------------------------------------------------------

void RandomLife::step(bool forward) {
    noteCleared();
    auto& steps = forward ? redoSteps_ : undoSteps_;
    const auto label = forward ? app().redo() : app().undo();
    world_.machine.settle();
    if (steps.empty()) return;
    const Step step = steps.back();
    steps.pop_back();
    (forward ? undoSteps_ : redoSteps_).push_back(step);
    Known* const known = knownOf(step.roll);
    say("{} \"{}\" of {}", forward ? "redo" : "undo", label.value_or("nothing"), nameOf(*known));
    const RollPointer roll = app().roll(step.roll);
    if (step.kind == Step::Kind::removal) {
        if (forward && roll) return;  // refused, as when the disk is full: it is still there
        if (!forward && !roll) return fail(nameOf(*known) + " did not come back by undo");
        if (known->isRemoved == forward) return;  // the removal was refused before
        known->isRemoved = forward;
        known->versions = {known->now};
        return;
    }
    if (!roll) return fail(nameOf(*known) + " has a step that can be taken back, and is gone");
    if (step.kind == Step::Kind::renaming) {
        Disk& disk = disks_[known->disk];
        if (roll->sourceFolder() == disk.path) return;
        // It may be refused, as when the disk is away. If not, it must be the roll's own folder that moved.
        if (!disk.isMounted || !files().exists(roll->sourceFolder())) {
            return fail(nameOf(*known) + " renamed a folder that is not its own");
        }
        disk.path = roll->sourceFolder();
        return;
    }
    const bool toldOrder = known->now.tellsOrder();
    move(known->now, forward ? step.before : step.after, forward ? step.after : step.before);
    if (known->now.sort != SortOption::custom || !toldOrder) settleOrder(*known, *roll);
    noteVersion(*known);
}

// --- The library ---------------------------------------------------------------------------------------

void RandomLife::remove() {
    Known* const known = anyKnown();
    const RollPointer roll = known ? liveOf(*known) : nullptr;
    if (!roll) return;
    const auto removed = app().removeRoll(roll);
    world_.machine.settle();
    say("remove {}{}", nameOf(*known), removed ? "" : " (refused)");
    undoSteps_.clear();
    redoSteps_.clear();
    if (removed) {
        known->isRemoved = true;
        known->wasSaved = true;
        known->mustBeMended = known->damage.has_value();
        known->versions = {known->now};
        undoSteps_.push_back({Step::Kind::removal, known->id, {}, {}});
    }
    noteCleared();
}

void RandomLife::leave() {
    if (!app().activeRoll()) return;
    say("leave the roll");
    app().navigateBack();
    world_.machine.settle();
    noteCleared();
}

void RandomLife::visit() {
    Known* const known = anyKnown(false);
    const RollPointer roll = known ? liveOf(*known) : nullptr;
    if (!roll) return;
    say("visit {}", nameOf(*known));
    const std::set<RollID> waiting = unsaved();
    app().navigateToRoll(roll);
    noteVisit(waiting);
    world_.machine.settle();
    noteCleared();
}

void RandomLife::changePreference() {
    PreferencesRecord& now = preferences_.now;
    switch (below(3)) {
        case 0:
            now.exportQuality = static_cast<double>(below(11)) / 10;
            app().preferences().set(settings::exportQuality, now.exportQuality);
            break;
        case 1:
            now.artistName = chance(20) ? std::string() : fmt::format("artist {}", below(100));
            app().preferences().setArtistName(now.artistName);
            break;
        default:
            now.showLocationBadges = chance(50);
            app().preferences().set(settings::showLocationBadges, now.showLocationBadges);
    }
    say("change a preference");
    preferences_.wasChanged = true;
    preferences_.versions.push_back(now);
}

void RandomLife::toggleFavorite() {
    const bool isCamera = chance(50);
    const std::string slug = fmt::format("slug-{}", below(4));
    auto& slugs = isCamera ? preferences_.now.cameras : preferences_.now.films;
    if (std::erase(slugs, slug) == 0) slugs.push_back(slug);
    isCamera ? app().favorites().toggleFavoriteCamera(slug) : app().favorites().toggleFavoriteFilm(slug);
    say("toggle the favourite {} {}", isCamera ? "camera" : "film", slug);
    preferences_.wasChanged = true;
    preferences_.versions.push_back(preferences_.now);
}

void RandomLife::wait() {
    const auto time = 100ms * (1 + below(30));
    say("wait {} ms", time / 1ms);
    world_.machine.advance(time);
}

void RandomLife::quiet() {
    say("all is quiet{}", isDiskFull_ ? ", with room on the disk again" : "");
    if (isDiskFull_) files().setFreeSpace(roomyDisk);
    isDiskFull_ = false;
    world_.machine.advance(hadFullDisk_ ? 70s : 10s);  // what failed may wait a minute to be tried again
    hadFullDisk_ = false;
    checkQuiet();
    noteCleared();
}

}  // namespace kelvaris::testing

// What happens to a library without its user wanting it.

#include <algorithm>
#include <array>

#include "random_life.h"
#include "vault/vault_documents.h"

namespace kelvaris::testing {

using namespace std::chrono_literals;

// --- The program ends ----------------------------------------------------------------------------------

void RandomLife::restart() {
    say("end the program and start it");
    const bool isFlushed = app().flushPendingSaves();
    if (!isFlushed && !isDiskFull_) fail("there is room on the disk, and not everything could be saved");
    startAgain("a restart", isFlushed ? Ending::flushed : Ending::unflushed);
}

void RandomLife::kill() {
    say("kill the program and start it");
    startAgain("a kill", Ending::unflushed);
}

void RandomLife::cutPower() {
    // Backups are not flushed on their own: with a damaged file before, this would be two disasters in one.
    if (preferences_.damage ||
        std::ranges::any_of(rolls_, [](const auto& known) { return known->damage.has_value(); }))
        return;
    const std::size_t number = 1 + below(14);
    say("cut the power at the {}. step of writing, and start", number);
    files().crashAtStep(number);
    world_.machine.advance(2s);
    for (const auto& known : rolls_) known->hasStrangeBackups = true;
    startAgain("a power cut", Ending::powerCut);
}

// --- Disks and scans -----------------------------------------------------------------------------------

void RandomLife::unmount(Disk& disk) {
    if (disk.isUnreadable) files().setUnreadable(disk.path, false);
    disk.isUnreadable = false;
    const auto number = static_cast<std::size_t>(&disk - disks_.data());
    files().rename(disk.path, Path(fmt::format("/drawer/{}/scans", number)));
    disk.isMounted = false;
}

void RandomLife::mount(Disk& disk) {
    if (disk.hasMountPoint) files().erase(disk.path);
    disk.hasMountPoint = false;
    const auto number = static_cast<std::size_t>(&disk - disks_.data());
    files().rename(Path(fmt::format("/drawer/{}/scans", number)), disk.path);
    disk.isMounted = true;
}

void RandomLife::pullDisk() {
    if (disks_.empty()) return;
    const std::size_t number = below(disks_.size());
    Disk& disk = disks_[number];
    if (!disk.isThere()) return;
    const std::size_t way = below(3);
    constexpr std::array ways{"pulled", "pulled, and its mount point stays", "not to be read any more"};
    say("disk {} is {}", number + 1, ways[way]);
    if (way == 2) {
        disk.isUnreadable = true;
        return files().setUnreadable(disk.path);
    }
    unmount(disk);
    if (way == 1) files().addFolder(disk.path);
    disk.hasMountPoint = way == 1;
}

void RandomLife::swapDisk() {
    if (disks_.empty()) return;
    const std::size_t number = below(disks_.size());
    if (!disks_[number].isMounted) return;
    const Path path = disks_[number].path;
    unmount(disks_[number]);
    for (std::size_t other = 0; other < disks_.size(); ++other) {
        if (other == number || disks_[other].path != path) continue;
        say("put disk {} in the place of disk {}", other + 1, number + 1);
        return mount(disks_[other]);
    }
    const std::size_t other = addDisk(path);
    say("put disk {}, which is new, in the place of disk {}", other + 1, number + 1);
}

void RandomLife::giveDiskBack() {
    std::vector<std::size_t> away;
    for (std::size_t i = 0; i < disks_.size(); ++i) {
        if (!disks_[i].isThere()) away.push_back(i);
    }
    if (away.empty()) return;
    const std::size_t number = away[below(away.size())];
    Disk& disk = disks_[number];
    say("give disk {} back", number + 1);
    if (disk.isMounted) {
        disk.isUnreadable = false;
        return files().setUnreadable(disk.path, false);
    }
    for (Disk& other : disks_) {
        if (&other == &disk || other.path != disk.path) continue;
        if (other.isMounted) unmount(other);
        if (other.hasMountPoint) files().erase(other.path);
        other.hasMountPoint = false;
    }
    mount(disk);
}

void RandomLife::lookForFolders() {
    say("look for folders that are away");
    app().attemptSmartRelocation();
    world_.machine.settle();
    for (const auto& known : rolls_) {
        const RollPointer roll = liveOf(*known);
        if (roll) takeNewcomers(*known, *roll);
        // A folder whose new name never reached the disk is found by the next start, not by its name.
        const bool isSought = roll && roll->sourceFolder() == disks_[known->disk].path;
        if (isSought && roll->isDisconnected() && disks_[known->disk].isThere())
            fail(nameOf(*known) + " was not found, and its disk is there");
    }
}

void RandomLife::hideScan() {
    if (disks_.empty()) return;
    const std::size_t number = below(disks_.size());
    Disk& disk = disks_[number];
    if (!disk.isThere() || disk.hidden.size() + 2 >= disk.names.size()) return;
    const std::string& name = disk.names[below(disk.names.size())];
    if (!disk.hidden.insert(name).second) return;
    say("{} on disk {} is gone for a while", name, number + 1);
    files().rename(disk.path / name, Path(fmt::format("/drawer/scans of {}/{}", number, name)));
}

void RandomLife::giveScanBack() {
    for (std::size_t number = 0; number < disks_.size(); ++number) {
        Disk& disk = disks_[number];
        if (!disk.isThere() || disk.hidden.empty()) continue;
        const std::string name = *disk.hidden.begin();
        disk.hidden.erase(name);
        say("{} on disk {} is back", name, number + 1);
        return files().rename(Path(fmt::format("/drawer/scans of {}/{}", number, name)), disk.path / name);
    }
}

// --- Files of the vault --------------------------------------------------------------------------------

void RandomLife::editByHand() {
    Known* const known = anyKnown(false);
    if (!known || known->handEdit || known->damage) return;
    const Path file = paths().rollFile(known->id);
    auto manifest = decodedRollFile(files().contents(file).value_or(""));
    if (!manifest) return;
    manifest->notes = fmt::format("by hand {}", random_());
    const auto bytes = encodedRollFile(*manifest, world_.machine.language);
    if (!bytes) return;
    say("edit the notes in the file of {} by hand", nameOf(*known));
    files().addFile(file, *bytes);
    known->handEdit = manifest->notes;
    known->hasStrangeBackups = true;
}

std::string RandomLife::damaged(const std::string& bytes) {
    if (chance(50)) return std::string(1 + below(300), '\xF3');
    return bytes.substr(0, below(bytes.size() / 2));
}

void RandomLife::damageRoll() {
    Known* const known = anyKnown(false);
    if (!known || known->handEdit || known->damage || !unsaved().empty()) return;
    const Path file = paths().rollFile(known->id);
    auto backups = backupsOf(file);
    const auto bytes = files().contents(file);
    const auto newest = decodedRollFile(files().contents(backupPath(file, 1)).value_or(""));
    // A backup from before a renaming does not lead to the folder; that would be two disasters in one.
    if (!bytes || !newest || newest->folderPath != disks_[known->disk].path.string()) return;
    say("damage the file of {}", nameOf(*known));
    known->damage = damaged(*bytes);
    known->isDamageRead = false;
    known->backups = std::move(backups);
    known->hasStrangeBackups = true;
    files().addFile(file, *known->damage);
}

void RandomLife::damagePreferences() {
    KnownPreferences& known = preferences_;
    const Path file = paths().preferencesFile;
    const auto bytes = files().contents(file);
    const bool isQuiet = known.versions.size() == 1;
    if (known.damage || !bytes || !isQuiet) return;
    known.backups.clear();
    for (int number = 1; number <= backupCount; ++number) {
        const auto record = decodedPreferencesFile(files().contents(backupPath(file, number)).value_or(""));
        if (record) known.backups.push_back(recordOf(*record));
        if (!record && number == 1) return;
    }
    say("damage the preferences");
    known.damage = damaged(*bytes);
    files().addFile(file, *known.damage);
}

void RandomLife::fillDisk() {
    if (isDiskFull_) {
        say("there is room on the disk again");
        files().setFreeSpace(roomyDisk);
    } else {
        say("the disk is full");
        files().setFreeSpace(0);
        hadFullDisk_ = true;
    }
    isDiskFull_ = !isDiskFull_;
}

}  // namespace kelvaris::testing

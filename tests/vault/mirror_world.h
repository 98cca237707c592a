#pragma once

#include <string>

#include "vault_world.h"

namespace kelvaris::testing {

/// A vault with a disk for its mirror.
struct MirrorWorld : VaultWorld {
    const Path disk{"/media/backup"};
    const MirrorPaths mirrored = MirrorPaths::under(disk);

    MirrorWorld() { machine.files.addFolder(disk); }

    void turnOn() { mirror.setTarget({.enabled = true, .bookmark = machine.folders.makeReference(disk)}); }
    Path copyOf(const FilmRoll& roll) const { return mirrored.rollFile(roll.id().text()); }
    RollPointer savedRoll(const std::string& notes, const std::string& folder = "/scans/a") {
        auto roll = loadedRoll(2, Path(folder));
        roll->setFolderBookmarkData("token");
        roll->setNotes(notes);
        save(*roll, notes);
        return roll;
    }
    void save(FilmRoll& roll, const std::string& notes) {
        roll.setNotes(notes);
        if (!vault->save(roll)) throw std::runtime_error("not saved: " + notes);
    }
    /// The files that writing steps brought into being since the last resetSteps().
    std::size_t writtenFiles() const {
        const auto steps = machine.files.steps();
        return static_cast<std::size_t>(std::count(steps.begin(), steps.end(), FakeFiles::Step::rename));
    }
    /// The disk is pulled out; its bare mount point stays.
    void pullDisk() {
        machine.files.rename(disk, Path("/elsewhere/backup"));
        machine.clock.advance(std::chrono::seconds(1));
        machine.files.addFolder(disk);
    }
    void returnDisk() {
        machine.files.erase(disk);
        machine.files.rename(Path("/elsewhere/backup"), disk);
    }
};

}  // namespace kelvaris::testing

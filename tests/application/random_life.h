#pragma once

#include <fmt/format.h>

#include <cstdint>
#include <memory>
#include <random>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "app_world.h"
#include "ledger.h"

namespace kelvaris::testing {

/// Something that happens in the life of a library. The number decides what to and how, so that an act means
/// the same whichever acts before it are left out.
struct Act {
    std::size_t kind = 0;
    std::uint32_t number = 0;
};

/// The life of one library on the machine in memory, act by act, and beside it the ledger of what the user
/// did. It stops at the first thing that is not as the ledger has it.
class RandomLife {
public:
    RandomLife();

    /// As many acts as wanted, the same for the same seed.
    static std::vector<Act> acts(std::uint32_t seed, std::size_t count);

    /// @return what is wrong; empty when everything is as it should be to the end.
    std::string live(const std::vector<Act>& acts);
    /// What was done, in words; an act that found nothing to do has none.
    const std::vector<std::string>& history() const { return history_; }
    /// Which acts did something, by their places.
    const std::vector<std::size_t>& done() const { return done_; }

private:
    static constexpr std::int64_t roomyDisk = 1'000'000'000'000;

    struct Kind;
    static const std::vector<Kind>& kinds();

    /// A folder of scans, which lies on a disk of its own, so that another one may stand in its place.
    struct Disk {
        Path path;
        std::vector<std::string> names;
        std::set<std::string> hidden;  ///< scans that are elsewhere for a while
        bool isMounted = true;
        bool isUnreadable = false;
        bool hasMountPoint = false;  ///< an empty folder, while it is not mounted
        bool isThere() const { return isMounted && !isUnreadable; }
    };
    /// What the ledger has of one roll.
    struct Known {
        RollID id;
        std::size_t disk = 0;
        RollRecord now;
        std::vector<RollRecord> versions;  ///< since the last quiet moment, any of which a crash may leave
        std::vector<RollRecord> backups;   ///< what may be read instead of a damaged file
        std::set<std::string> newcomers;   ///< scans that came later; the file may not have them yet
        bool isRemoved = false;
        bool wasSaved = false;  ///< ever; before that a crash may lose it
        std::optional<std::string> handEdit;
        std::optional<std::string> damage;  ///< the bytes in the file's place
        bool isDamageRead = false;          ///< the program has started with it, on a backup
        bool mustBeMended = false;          ///< the program knows better than the damaged file
        bool hasStrangeBackups = false;     ///< after damage, hand edits and power cuts two may be alike
    };
    /// A step that can be taken back.
    struct Step {
        enum class Kind { edit, removal, renaming };
        Kind kind = Kind::edit;
        RollID roll;
        RollRecord before;
        RollRecord after;
    };
    struct KnownPreferences {
        PreferencesRecord now;
        std::vector<PreferencesRecord> versions;
        std::vector<PreferencesRecord> backups;
        std::optional<std::string> damage;
        bool wasChanged = false;  ///< so that the file has all values
    };

    // --- random_life.cpp: the ledger's rules

    AppViewModel& app() { return world_.app(); }
    FakeFiles& files() { return world_.machine.files; }
    const VaultPaths& paths() { return world_.program->vault.paths(); }
    template <class... Args>
    void say(fmt::format_string<Args...> format, Args&&... args) {
        history_.push_back(fmt::format(format, std::forward<Args>(args)...));
    }
    void fail(const std::string& words) {
        if (failure_.empty()) failure_ = words;
    }
    void expectSame(const std::string& subject, const std::string& difference) {
        if (!difference.empty()) fail(subject + ": " + difference);
    }
    std::string nameOf(const Known& known) const;

    Known* knownOf(RollID id);
    RollPointer liveOf(const Known& known) { return known.isRemoved ? nullptr : app().roll(known.id); }
    Known* anyKnown(bool wantsOpen = true);
    std::size_t below(std::size_t count) { return count == 0 ? 0 : random_() % count; }
    bool chance(int percent) { return below(100) < static_cast<std::size_t>(percent); }

    /// Does an edit of the roll, and notes the step that it left for undo.
    template <class Do>
    void edit(Known& known, const Do& act) {
        const std::size_t steps = app().undoStack().undoStack().size();
        const RollRecord before = known.now;
        act();
        noteVersion(known);
        noteStep({Step::Kind::edit, known.id, before, known.now}, steps);
    }
    void noteVersion(Known& known) { known.versions.push_back(known.now); }
    void noteStep(Step step, std::size_t stepsBefore);
    void noteCleared();
    void settleOrder(Known& known, const FilmRoll& roll);

    void checkQuiet();
    void checkRoll(Known& known);
    void checkFile(Known& known, const Path& file);
    void checkBackups(const Known& known, const Path& file);
    void checkPreferences();
    void checkPlace(const Known& known, const FilmRoll& roll);
    void takeNewcomers(Known& known, const FilmRoll& roll);
    static void dropNewcomers(Known& known, const RollRecord& actual);
    void checkScans(const Known& known, const FilmRoll& roll);
    bool isKept(const Path& file, const std::string& bytes);
    bool isKeptHandEdit(const Path& file, const std::string& notes);
    std::vector<RollRecord> backupsOf(const Path& file);

    /// How the program ended before it starts again.
    enum class Ending { flushed, unflushed, powerCut };
    void startAgain(const std::string& how, Ending ending);
    void takeWord(Known& known, const std::string& how, bool wasFlushed);
    void noteVisit(const std::set<RollID>& unsaved);
    std::set<RollID> unsaved();

    // --- random_acts.cpp: what a user does with the library

    void openFolder();
    void openSeveral();
    void noteOpened(std::size_t disk, const std::set<RollID>& connected);
    std::set<RollID> connected();
    void noteReanalysis(Known& known, const FilmRoll& roll);
    void undo() { step(false); }
    void redo() { step(true); }
    void step(bool forward);
    void remove();
    void leave();
    void visit();
    void changePreference();
    void toggleFavorite();
    void wait();
    void quiet();

    // --- random_edits.cpp: what a user does to a roll, and analysis

    void label();
    void turn();
    void setData();
    void assign();
    void sort();
    void drag();
    void takeOut();
    void bringBack();
    void rename();
    void analyze();

    // --- random_mishaps.cpp: what else may happen

    void restart();
    void kill();
    void cutPower();
    void pullDisk();
    void swapDisk();
    void giveDiskBack();
    void lookForFolders();
    void hideScan();
    void giveScanBack();
    void editByHand();
    void damageRoll();
    void damagePreferences();
    void fillDisk();

    std::size_t addDisk(const Path& path);
    void unmount(Disk& disk);
    void mount(Disk& disk);
    std::string damaged(const std::string& bytes);

    AppWorld world_;
    std::minstd_rand random_;
    std::vector<Disk> disks_;
    std::vector<std::unique_ptr<Known>> rolls_;
    KnownPreferences preferences_;
    std::vector<Step> undoSteps_;
    std::vector<Step> redoSteps_;
    std::set<std::size_t> endedRuns_;
    bool isDiskFull_ = false;
    bool hadFullDisk_ = false;  ///< since the last quiet moment, so that saves may wait to be tried again
    std::size_t fileCount_ = 0;
    std::string failure_;
    std::vector<std::string> history_;
    std::vector<std::size_t> done_;
};

}  // namespace kelvaris::testing

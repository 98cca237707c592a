#include "random_life.h"

#include <algorithm>

#include "vault/vault_documents.h"

namespace kelvaris::testing {

using namespace std::chrono_literals;

struct RandomLife::Kind {
    void (RandomLife::*happen)();
    int weight;
};

const std::vector<RandomLife::Kind>& RandomLife::kinds() {
    using L = RandomLife;
    static const std::vector<Kind> all{
        {&L::openFolder, 7},     {&L::openSeveral, 2}, {&L::label, 8},
        {&L::turn, 6},           {&L::setData, 7},     {&L::assign, 3},
        {&L::sort, 3},           {&L::drag, 5},        {&L::takeOut, 4},
        {&L::bringBack, 4},      {&L::rename, 3},      {&L::undo, 9},
        {&L::redo, 5},           {&L::remove, 3},      {&L::leave, 2},
        {&L::visit, 6},          {&L::analyze, 6},     {&L::changePreference, 3},
        {&L::toggleFavorite, 2}, {&L::wait, 8},        {&L::quiet, 10},
        {&L::restart, 4},        {&L::kill, 3},        {&L::cutPower, 3},
        {&L::pullDisk, 4},       {&L::swapDisk, 2},    {&L::giveDiskBack, 5},
        {&L::lookForFolders, 2}, {&L::hideScan, 2},    {&L::giveScanBack, 2},
        {&L::editByHand, 3},     {&L::damageRoll, 2},  {&L::damagePreferences, 1},
        {&L::fillDisk, 2},
    };
    return all;
}

RandomLife::RandomLife() {
    app().start(StartMode::screen);
    world_.machine.settle();
    preferences_.now = recordOf(app());
    preferences_.versions = {preferences_.now};
}

std::vector<Act> RandomLife::acts(std::uint32_t seed, std::size_t count) {
    std::mt19937 random(seed);
    std::vector<std::size_t> lots;
    for (std::size_t kind = 0; kind < kinds().size(); ++kind)
        lots.insert(lots.end(), kinds()[kind].weight, kind);
    std::vector<Act> acts;
    for (std::size_t i = 0; i < count; ++i) {
        const std::size_t kind = lots[random() % lots.size()];
        acts.push_back({kind, static_cast<std::uint32_t>(random())});
    }
    return acts;
}

std::string RandomLife::live(const std::vector<Act>& acts) {
    for (std::size_t i = 0; i <= acts.size() && failure_.empty(); ++i) {
        const std::size_t words = history_.size();
        world_.machine.advance(1ms);  // so that no two acts have the same time
        if (i == acts.size()) {
            quiet();
            break;
        }
        random_.seed(acts[i].number);
        (this->*kinds()[acts[i].kind].happen)();
        if (history_.size() != words) done_.push_back(i);
    }
    return failure_;
}

std::string RandomLife::nameOf(const Known& known) const {
    for (std::size_t i = 0; i < rolls_.size(); ++i) {
        if (rolls_[i].get() == &known) return fmt::format("roll {}", i + 1);
    }
    return "a roll";
}

RandomLife::Known* RandomLife::knownOf(RollID id) {
    const auto found = std::ranges::find_if(rolls_, [id](const auto& known) { return known->id == id; });
    return found == rolls_.end() ? nullptr : found->get();
}

RandomLife::Known* RandomLife::anyKnown(bool wantsOpen) {
    // Mostly the roll that the user has before them.
    if (wantsOpen && app().activeRoll() && chance(60)) return knownOf(app().activeRoll()->id());
    std::vector<Known*> choice;
    for (const auto& known : rolls_) {
        if (!known->isRemoved) choice.push_back(known.get());
    }
    return choice.empty() ? nullptr : choice[below(choice.size())];
}

std::set<RollID> RandomLife::unsaved() {
    std::set<RollID> ids;
    for (const UnsavedRoll& each : app().unsavedRolls()) ids.insert(each.roll->id());
    return ids;
}

// --- Steps for undo ------------------------------------------------------------------------------------

void RandomLife::noteStep(Step step, std::size_t stepsBefore) {
    const std::size_t steps = app().undoStack().undoStack().size();
    const bool wasPushed =
        steps == stepsBefore + 1 ||
        (steps == UndoStack::limit && (step.kind != Step::Kind::edit || step.before != step.after));
    if (!wasPushed) {
        if (step.before != step.after) fail("an edit left no step for undo");
        return;
    }
    undoSteps_.push_back(std::move(step));
    if (undoSteps_.size() > UndoStack::limit) undoSteps_.erase(undoSteps_.begin());
    redoSteps_.clear();
}

void RandomLife::noteCleared() {
    const UndoStack& stack = app().undoStack();
    if (!stack.canUndo() && !stack.canRedo()) {
        undoSteps_.clear();
        redoSteps_.clear();
    }
    if (stack.undoStack().size() != undoSteps_.size() || stack.redoStack().size() != redoSteps_.size()) {
        fail(fmt::format("{} steps can be taken back and {} done again, but there were {} and {}",
                         stack.undoStack().size(), stack.redoStack().size(), undoSteps_.size(),
                         redoSteps_.size()));
    }
}

void RandomLife::settleOrder(Known& known, const FilmRoll& roll) {
    RollRecord& now = known.now;
    if (now.sort == SortOption::filename) {
        now.order = namesInOrder(now);
    } else if (now.sort == SortOption::custom) {
        now.order.clear();
        for (const PhotoPointer& photo : roll.photos()) now.order.push_back(photo->filename());
    } else {
        now.order.clear();
    }
}

// --- Quiet moments -------------------------------------------------------------------------------------

void RandomLife::checkQuiet() {
    for (const UnsavedRoll& each : app().unsavedRolls()) {
        fail(fmt::format("{} is not saved: {}", each.roll->name(), each.reason));
    }
    for (const VaultProblem& problem : world_.program->vault.problems()) {
        if (problem.kind == VaultProblem::Kind::refused) fail(problem.text);
    }
    for (const auto& known : rolls_) checkRoll(*known);
    for (const RollPointer& roll : app().rolls()) {
        if (!knownOf(roll->id()) || knownOf(roll->id())->isRemoved)
            fail(roll->name() + " is there, and should not be");
    }
    checkPreferences();
}

void RandomLife::checkRoll(Known& known) {
    const std::string name = nameOf(known);
    if (known.isRemoved) {
        for (const AsideRoll& aside : world_.program->vault.store().asideRolls()) {
            if (aside.id == known.id) return checkFile(known, aside.file);
        }
        return fail(name + " was removed, and its file is nowhere");
    }
    const RollPointer roll = liveOf(known);
    if (!roll) return fail(name + " is gone from the library");
    expectSame(name + " in memory", difference(known.now, recordOf(*roll)));
    for (const PhotoPointer& photo : roll->photos()) {
        for (const auto& [word, isOn] : photo->manualLabelOverrides()) {
            const auto label = fromRawValue<PhotoLabel>(std::string_view(word));
            if (label && photo->labels().contains(*label) != isOn)
                fail(fmt::format("{}: {} does not show the label {} as the user wants it", name,
                                 photo->filename(), word));
        }
    }
    checkFile(known, paths().rollFile(known.id));
}

void RandomLife::checkFile(Known& known, const Path& file) {
    const std::string subject = nameOf(known) + " on the disk";
    const std::string bytes = files().contents(file).value_or("");
    if (known.damage && bytes == *known.damage) {
        if (known.mustBeMended) fail(subject + " is still damaged, and the program knows it");
        return;
    }
    if (known.damage && !known.isRemoved && !isKept(file, *known.damage))
        fail(subject + ": the damaged file was thrown away");
    known.damage.reset();
    known.mustBeMended = false;
    const auto manifest = decodedRollFile(bytes);
    if (!manifest) return fail(subject + ": " + manifest.error().reason);
    RollRecord wanted = known.now;
    if (known.handEdit && manifest->notes == known.handEdit) {
        wanted.notes = *known.handEdit;
    } else if (known.handEdit) {
        if (!known.isRemoved && !isKeptHandEdit(file, *known.handEdit))
            fail(subject + ": what was edited by hand is gone");
        known.handEdit.reset();
    }
    expectSame(subject, difference(wanted, recordOf(*manifest)));
    known.newcomers.clear();
    if (const RollPointer roll = liveOf(known); roll && manifest->folderPath != roll->sourceFolder().string())
        fail(fmt::format("{}: its folder is {} and should be {}", subject, manifest->folderPath,
                         roll->sourceFolder().string()));
    checkBackups(known, file);
    known.versions = {known.now};
    known.wasSaved = true;
}

void RandomLife::checkBackups(const Known& known, const Path& file) {
    if (known.hasStrangeBackups) return;
    auto newer = files().contents(file);
    for (int number = 1; number <= backupCount; ++number) {
        const auto older = files().contents(backupPath(file, number));
        if (!older) return;
        if (older == newer)
            fail(fmt::format("{}: backup {} is a copy of the file before it", nameOf(known), number));
        if (!decodedRollFile(*older))
            fail(fmt::format("{}: backup {} does not decode", nameOf(known), number));
        newer = older;
    }
}

bool RandomLife::isKept(const Path& file, const std::string& bytes) {
    return std::ranges::any_of(files().allFiles(file.parent()), [&](const Path& path) {
        return path != file && path.filename().starts_with(file.filename()) &&
               files().contents(path) == bytes;
    });
}

bool RandomLife::isKeptHandEdit(const Path& file, const std::string& notes) {
    return std::ranges::any_of(files().allFiles(file.parent()), [&](const Path& path) {
        if (!path.filename().starts_with(file.filename() + ".theirs-")) return false;
        const auto manifest = decodedRollFile(files().contents(path).value_or(""));
        return manifest && manifest->notes == notes;
    });
}

std::vector<RollRecord> RandomLife::backupsOf(const Path& file) {
    std::vector<RollRecord> records;
    for (int number = 1; number <= backupCount; ++number) {
        const auto manifest = decodedRollFile(files().contents(backupPath(file, number)).value_or(""));
        if (manifest) records.push_back(recordOf(*manifest));
    }
    return records;
}

void RandomLife::checkPreferences() {
    KnownPreferences& known = preferences_;
    expectSame("preferences in memory", difference(known.now, recordOf(app())));
    const Path file = paths().preferencesFile;
    const auto bytes = files().contents(file);
    if (!known.wasChanged) return;
    if (known.damage && bytes == known.damage) return;
    if (known.damage && !isKept(file, *known.damage)) fail("the damaged preferences were thrown away");
    known.damage.reset();
    const auto record = decodedPreferencesFile(bytes.value_or(""));
    if (!record) return fail("preferences on the disk: " + record.error().reason);
    expectSame("preferences on the disk", difference(known.now, recordOf(*record)));
    known.versions = {known.now};
}

// --- After a start -------------------------------------------------------------------------------------

void RandomLife::startAgain(const std::string& how, Ending ending) {
    const bool wasFlushed = ending == Ending::flushed;
    world_.program.reset();
    if (ending == Ending::powerCut) files().restart();
    world_.program = std::make_unique<AppWorld::Program>(world_.machine, world_.folderSearch);
    app().start(StartMode::screen);
    world_.machine.settle();
    undoSteps_.clear();
    redoSteps_.clear();
    endedRuns_.clear();
    std::erase_if(rolls_, [this](const auto& known) { return !known->wasSaved && !app().roll(known->id); });
    for (const auto& known : rolls_) takeWord(*known, how, wasFlushed);
    for (const RollPointer& roll : app().rolls()) {
        if (!knownOf(roll->id())) fail(roll->name() + " came from nowhere");
    }
    if (wasFlushed && !preferences_.damage) preferences_.versions = {preferences_.now};
    std::vector<PreferencesRecord> versions = preferences_.versions;
    if (preferences_.damage)
        versions.insert(versions.end(), preferences_.backups.begin(), preferences_.backups.end());
    expectSame("preferences after " + how, thirdValue(versions, recordOf(app())));
    preferences_.now = recordOf(app());
    preferences_.versions = {preferences_.now};
    // The user defaults may be ahead of the file then; the next change brings the file up to them.
    if (!wasFlushed) preferences_.wasChanged = false;
}

void RandomLife::takeWord(Known& known, const std::string& how, bool wasFlushed) {
    const RollPointer roll = app().roll(known.id);
    const std::string subject = nameOf(known) + " after " + how;
    if (known.isRemoved) {
        if (roll) fail(subject + " is back, though it was removed");
        return;
    }
    if (!roll) return fail(subject + " is gone");
    if (wasFlushed) known.versions = {known.now};
    takeNewcomers(known, *roll);
    const RollRecord actual = recordOf(*roll);
    if (!wasFlushed) dropNewcomers(known, actual);
    std::vector<RollRecord> versions = known.versions;
    if (known.damage) versions.insert(versions.end(), known.backups.begin(), known.backups.end());
    if (known.handEdit && actual.notes == *known.handEdit) {
        for (RollRecord& version : versions) version.notes = *known.handEdit;
        known.handEdit.reset();
    }
    expectSame(subject, thirdValue(versions, actual));
    known.isDamageRead = known.damage.has_value();
    known.mustBeMended = false;
    known.now = actual;
    known.versions = {actual};
    checkPlace(known, *roll);
    checkScans(known, *roll);
}

void RandomLife::checkPlace(const Known& known, const FilmRoll& roll) {
    const Disk& disk = disks_[known.disk];
    const std::string name = nameOf(known);
    if (roll.isDisconnected() == disk.isThere())
        return fail(fmt::format("{} {} away ({}), and its disk {}", name,
                                roll.isDisconnected() ? "is" : "is not", roll.awayReason(),
                                disk.isThere() ? "is there" : "is not"));
    if (!disk.isThere()) return;
    if (roll.sourceFolder() != disk.path)
        fail(fmt::format("{} is in {}, and its scans are in {}", name, roll.sourceFolder().string(),
                         disk.path.string()));
}

void RandomLife::takeNewcomers(Known& known, const FilmRoll& roll) {
    const RollRecord actual = recordOf(roll);
    const auto take = [](RollRecord& record, const std::string& name) {
        record.photos.try_emplace(name);
        if (record.sort == SortOption::filename) record.order = namesInOrder(record);
        if (record.sort == SortOption::custom) record.order.push_back(name);
    };
    for (const auto& [name, photo] : actual.photos) {
        const bool isScan = std::ranges::count(disks_[known.disk].names, name) > 0;
        if (!isScan || known.now.photos.contains(name) || photo != PhotoRecord()) continue;
        known.newcomers.insert(name);
        take(known.now, name);
        for (RollRecord& version : known.versions) take(version, name);
        for (RollRecord& version : known.backups) take(version, name);
    }
}

/// Scans that came since the last quiet moment may be forgotten with the program, if they are not there.
void RandomLife::dropNewcomers(Known& known, const RollRecord& actual) {
    for (const std::string& name : std::set(known.newcomers)) {
        if (actual.photos.contains(name)) continue;
        known.newcomers.erase(name);
        for (RollRecord& version : known.versions) {
            version.photos.erase(name);
            std::erase(version.order, name);
        }
    }
}

void RandomLife::checkScans(const Known& known, const FilmRoll& roll) {
    const Disk& disk = disks_[known.disk];
    if (!disk.isThere()) return;
    for (const PhotoPointer& photo : roll.photos()) {
        if (photo->isMissing() != disk.hidden.contains(photo->filename()))
            fail(fmt::format("{}: {} {} missing", nameOf(known), photo->filename(),
                             photo->isMissing() ? "is" : "is not"));
    }
}

void RandomLife::noteVisit(const std::set<RollID>& unsaved) {
    for (const auto& known : rolls_) {
        const RollPointer roll = liveOf(*known);
        if (!roll) continue;
        const bool isDamaged =
            known->damage && files().contents(paths().rollFile(known->id)) == known->damage;
        if (isDamaged && !known->isDamageRead) known->mustBeMended = true;
        const auto bytes = known->handEdit ? files().contents(paths().rollFile(known->id)) : std::nullopt;
        const auto manifest = decodedRollFile(bytes.value_or(""));
        if (unsaved.contains(known->id) || !manifest || manifest->notes != known->handEdit) continue;
        if (roll->notes() != *known->handEdit)
            fail(nameOf(*known) + " did not take in what was edited by hand");
        known->now.notes = *known->handEdit;
        known->handEdit.reset();
        known->versions = {known->now};
    }
}

}  // namespace kelvaris::testing

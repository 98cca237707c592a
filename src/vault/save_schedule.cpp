#include "vault/save_schedule.h"

#include <algorithm>
#include <set>
#include <utility>

#include "base/log.h"

namespace kelvaris {

SaveSchedule::SaveSchedule(MainQueue& main, const Clock& clock, Save save)
    : main_(main), clock_(clock), save_(std::move(save)) {}

void SaveSchedule::watch(const std::vector<RollPointer>& rolls) {
    std::set<const FilmRoll*> kept;
    for (const RollPointer& roll : rolls) kept.insert(roll.get());
    for (auto each = watched_.begin(); each != watched_.end();) {
        if (kept.contains(each->second.roll.get())) {
            ++each;
            continue;
        }
        each->second.timer.cancel();
        each = watched_.erase(each);
    }
    for (const RollPointer& roll : rolls) {
        const auto [place, isNew] = watched_.try_emplace(roll->id());
        if (!isNew) continue;
        Watched& watched = place->second;
        watched.roll = roll;
        watched.savedRevision = roll->contentRevision();
        watched.subscription = roll->observe([this, id = roll->id()](RollField field) {
            if (field == RollField::contentRevision) noteChange(id);
        });
    }
    notify(SaveField::unsavedRolls);
}

void SaveSchedule::schedule(const RollPointer& roll) {
    const auto found = watched_.find(roll->id());
    if (found == watched_.end()) return;
    found->second.isWanted = true;
    noteChange(roll->id());
}

void SaveSchedule::noteChange(RollID id) {
    Watched& watched = watched_.at(id);
    const MonotonicTime now = main_.clock().now();
    watched.lastChange = now;
    const bool hasFailed = !watched.reason.empty();
    // A turn that is to come will see that the roll was not left alone; one that waits to try again is
    // brought forward.
    if (watched.timer.isPending() && !hasFailed) return;
    watched.firstChange = now;
    wait(watched, saveDelay);
    if (hasFailed) return;
    watched.since = clock_.now();
    notify(SaveField::unsavedRolls);
}

void SaveSchedule::wait(Watched& watched, std::chrono::nanoseconds delay) {
    watched.timer.cancel();
    watched.timer = main_.postAfter(delay, [this, alive = lifetime_.weak(), id = watched.roll->id()] {
        if (!alive.expired()) turnOf(id);
    });
}

void SaveSchedule::turnOf(RollID id) {
    const auto found = watched_.find(id);
    if (found == watched_.end() || isHeld_) return;
    Watched& watched = found->second;
    const MonotonicTime due = std::min(watched.lastChange + saveDelay, watched.firstChange + longestDelay);
    const MonotonicTime now = main_.clock().now();
    if (now < due) return wait(watched, due - now);
    if (watched.isUnsaved()) (void)save(watched);
}

Result<void, std::string> SaveSchedule::save(Watched& watched) {
    const RollPointer roll = watched.roll;
    const std::uint64_t revision = roll->contentRevision();
    auto saved = save_(*roll);
    noteOutcome(*roll, revision, saved);
    return saved;
}

void SaveSchedule::noteOutcome(FilmRoll& roll, std::uint64_t revision,
                               const Result<void, std::string>& outcome) {
    const auto found = watched_.find(roll.id());  // a save may tell observers, who may do anything
    if (found == watched_.end()) return;
    if (outcome) {
        settle(found->second, revision);
    } else {
        noteFailure(found->second, outcome.error());
    }
}

void SaveSchedule::noteFailure(Watched& watched, const std::string& reason) {
    const bool isFirst = watched.reason.empty();
    if (!watched.isUnsaved()) watched.since = clock_.now();
    watched.isWanted = true;  // a roll that joined a moment ago has no change to tell, and no file either
    watched.reason = reason;
    if (!watched.timer.isPending()) wait(watched, watched.retries.next());
    notify(SaveField::unsavedRolls);
    if (!isFirst) return;
    const RollPointer roll = watched.roll;  // whoever hears of it may do anything
    roll->setStatusNotification(StatusNotification::error("Could not save " + roll->name() + ": " + reason));
}

void SaveSchedule::settle(Watched& watched, std::uint64_t revision) {
    watched.savedRevision = revision;
    watched.isWanted = false;
    watched.reason.clear();
    watched.retries.reset();
    if (!watched.isUnsaved()) watched.timer.cancel();
    notify(SaveField::unsavedRolls);
}

Result<void, std::string> SaveSchedule::saveNow(FilmRoll& roll) {
    const auto found = watched_.find(roll.id());
    return found == watched_.end() ? save_(roll) : save(found->second);
}

void SaveSchedule::noteSaved(const FilmRoll& roll) {
    const auto found = watched_.find(roll.id());
    if (found != watched_.end()) settle(found->second, roll.contentRevision());
}

bool SaveSchedule::isUnsaved(const FilmRoll& roll) const {
    const auto found = watched_.find(roll.id());
    return found != watched_.end() && found->second.isUnsaved();
}

std::vector<UnsavedRoll> SaveSchedule::unsavedRolls() const {
    std::vector<UnsavedRoll> rolls;
    for (const auto& [id, watched] : watched_) {
        if (watched.isUnsaved()) rolls.push_back({watched.roll, watched.since, watched.reason});
    }
    return rolls;
}

bool SaveSchedule::flush() {
    bool isClean = true;
    for (const UnsavedRoll& each : unsavedRolls()) {
        const auto found = watched_.find(each.roll->id());
        if (found == watched_.end()) continue;
        if (isHeld_ || !save(found->second)) isClean = false;
    }
    return isClean;
}

void SaveSchedule::forget() {
    for (auto& [id, watched] : watched_) {
        watched.timer.cancel();
        settle(watched, watched.roll->contentRevision());
    }
}

void SaveSchedule::setHeld(bool held) {
    isHeld_ = held;
    if (held) return;
    for (auto& [id, watched] : watched_) {
        if (watched.isUnsaved()) wait(watched, saveDelay);
    }
}

}  // namespace kelvaris

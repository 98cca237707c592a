#pragma once

#include <functional>
#include <map>
#include <string>
#include <vector>

#include "base/lifetime.h"
#include "base/main_queue.h"
#include "base/result.h"
#include "base/retry_delays.h"
#include "library/film_roll.h"
#include "platform/clock.h"

namespace kelvaris {

/// A roll whose latest values are not on the disk.
struct UnsavedRoll {
    RollPointer roll;
    Instant since;
    std::string reason;  ///< why the last save failed; empty while the first one is still to come
};

enum class SaveField { unsavedRolls };

/// When the rolls of the library are written. It hears of every change of every roll, whoever makes it, and
/// whether the roll is on screen or not: a roll is clean only when the values that it has now are on the
/// disk. Main thread.
class SaveSchedule : public Observable<SaveField> {
public:
    /// A roll is written once it was left alone this long,
    static constexpr std::chrono::milliseconds saveDelay{1500};
    /// and at the latest this long after the first change: an analysis may go on for hours.
    static constexpr std::chrono::milliseconds longestDelay{5000};

    /// Writes the roll, or says why it could not.
    using Save = std::function<Result<void, std::string>(FilmRoll&)>;

    SaveSchedule(MainQueue& main, const Clock& clock, Save save);

    /// The rolls of the library. One that joins counts as saved; one that leaves is forgotten.
    void watch(const std::vector<RollPointer>& rolls);
    /// Counts the roll as changed, and saves it in its turn. Nothing for a roll that is not watched.
    void schedule(const RollPointer& roll);
    /// Saves the roll at once. @return why it could not be saved.
    Result<void, std::string> saveNow(FilmRoll& roll);
    /// A save of the roll that was made elsewhere has ended. @param revision of the values that were saved.
    void noteOutcome(FilmRoll& roll, std::uint64_t revision, const Result<void, std::string>& outcome);
    /// The values of the roll are those of its file: it was just read.
    void noteSaved(const FilmRoll& roll);

    bool isUnsaved(const FilmRoll& roll) const;
    /// In the order of their ids.
    std::vector<UnsavedRoll> unsavedRolls() const;
    /// Saves everything that is unsaved. @return whether nothing is left.
    bool flush();
    /// Forgets what is unsaved, without saving it.
    void forget();
    /// While held, nothing is saved.
    void setHeld(bool held);

private:
    struct Watched {
        RollPointer roll;
        Subscription subscription;
        std::uint64_t savedRevision = 0;
        bool isWanted = false;  ///< to be saved although no value tells
        MonotonicTime firstChange;
        MonotonicTime lastChange;
        Instant since;
        std::string reason;
        RetryDelays retries;
        TimerHandle timer;

        bool isUnsaved() const { return isWanted || roll->contentRevision() != savedRevision; }
    };

    void noteChange(RollID id);
    void wait(Watched& watched, std::chrono::nanoseconds delay);
    void turnOf(RollID id);
    Result<void, std::string> save(Watched& watched);
    void noteFailure(Watched& watched, const std::string& reason);
    void settle(Watched& watched, std::uint64_t revision);

    MainQueue& main_;
    const Clock& clock_;
    Save save_;
    std::map<RollID, Watched> watched_;
    bool isHeld_ = false;
    Lifetime lifetime_;
};

}  // namespace kelvaris

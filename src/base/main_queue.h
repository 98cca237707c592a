#pragma once

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <thread>
#include <utility>

#include "base/monotonic_clock.h"

namespace kelvaris {

/// A delayed task that can be called off. Letting go of the handle does not call it off.
class TimerHandle {
public:
    TimerHandle() = default;

    /// The task will not run. Nothing happens when it ran already. Main thread.
    void cancel();
    /// Whether the task still waits.
    bool isPending() const;

private:
    friend class MainQueue;
    enum class State : std::uint8_t { waiting, cancelled, done };
    explicit TimerHandle(std::shared_ptr<std::atomic<State>> state) : state_(std::move(state)) {}
    std::shared_ptr<std::atomic<State>> state_;
};

/// The main thread seen as a queue of tasks in the order of their due times, ties in the order of
/// posting. Whoever runs the main thread (a RunLoop, a desktop's event loop, a test) drains it.
class MainQueue {
public:
    using Task = std::function<void()>;

    /// What a drain left behind.
    struct DrainResult {
        bool moreIsDue = false;                ///< the budget ended before the due tasks did
        std::optional<MonotonicTime> nextDue;  ///< when the earliest waiting task is due
    };

    static constexpr std::chrono::nanoseconds noBudget = std::chrono::nanoseconds::max();

    /// The thread that makes the queue is the main thread. The clock must outlive the queue.
    explicit MainQueue(const MonotonicClock& clock);
    /// Drops what waits, with everything that the dropped tasks post as they go.
    ~MainQueue();
    MainQueue(const MainQueue&) = delete;
    MainQueue& operator=(const MainQueue&) = delete;

    /// Runs the task at the next drain. Any thread.
    void post(Task task);
    /// Runs the task once the delay has passed. Any thread.
    TimerHandle postAfter(std::chrono::nanoseconds delay, Task task);

    /// Runs what is due until nothing is or the budget is spent; a task is popped before it runs, so a
    /// nested drain is safe. Main thread.
    DrainResult drain(std::chrono::nanoseconds budget = noBudget);

    /// Whether the caller is on the main thread.
    bool isCurrent() const { return std::this_thread::get_id() == mainThread_; }

    /// Called, from any thread, whenever something was posted that may be due earlier than before.
    void setWaker(std::function<void()> waker);

    /// When the earliest waiting task is due. Any thread.
    std::optional<MonotonicTime> nextDue() const;

    const MonotonicClock& clock() const { return clock_; }

private:
    struct Waiting {
        Task task;
        std::shared_ptr<std::atomic<TimerHandle::State>> state;
    };
    using Key = std::pair<MonotonicTime, std::uint64_t>;

    void insert(MonotonicTime due, Waiting waiting);

    const MonotonicClock& clock_;
    const std::thread::id mainThread_ = std::this_thread::get_id();
    mutable std::mutex mutex_;
    std::map<Key, Waiting> waiting_;
    std::uint64_t nextSequence_ = 0;
    std::function<void()> waker_;
    bool isClosed_ = false;
};

}  // namespace kelvaris

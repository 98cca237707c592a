#include "base/main_queue.h"

namespace kelvaris {

void TimerHandle::cancel() {
    if (!state_) return;
    State waiting = State::waiting;
    state_->compare_exchange_strong(waiting, State::cancelled);
}

bool TimerHandle::isPending() const { return state_ && *state_ == State::waiting; }

MainQueue::MainQueue(const MonotonicClock& clock) : clock_(clock) {}

MainQueue::~MainQueue() {
    std::map<Key, Waiting> dropped;
    const std::lock_guard lock(mutex_);
    isClosed_ = true;
    dropped.swap(waiting_);
}

void MainQueue::post(Task task) { insert(clock_.now(), Waiting{std::move(task), nullptr}); }

TimerHandle MainQueue::postAfter(std::chrono::nanoseconds delay, Task task) {
    auto state = std::make_shared<std::atomic<TimerHandle::State>>(TimerHandle::State::waiting);
    insert(clock_.now() + delay, Waiting{std::move(task), state});
    return TimerHandle(std::move(state));
}

void MainQueue::insert(MonotonicTime due, Waiting waiting) {
    std::function<void()> waker;
    {
        const std::lock_guard lock(mutex_);
        if (isClosed_) return;
        const auto position = waiting_.emplace(Key{due, nextSequence_++}, std::move(waiting)).first;
        if (position == waiting_.begin()) waker = waker_;
    }
    if (waker) waker();
}

MainQueue::DrainResult MainQueue::drain(std::chrono::nanoseconds budget) {
    const MonotonicTime started = clock_.now();
    for (;;) {
        Waiting next;
        {
            const std::lock_guard lock(mutex_);
            if (waiting_.empty()) return {};
            const auto first = waiting_.begin();
            const MonotonicTime now = clock_.now();
            if (first->first.first > now) return {false, first->first.first};
            if (budget != noBudget && now - started >= budget) return {true, first->first.first};
            next = std::move(first->second);
            waiting_.erase(first);
        }
        if (next.state) {
            auto waiting = TimerHandle::State::waiting;
            if (!next.state->compare_exchange_strong(waiting, TimerHandle::State::done)) continue;
        }
        next.task();
    }
}

void MainQueue::setWaker(std::function<void()> waker) {
    const std::lock_guard lock(mutex_);
    waker_ = std::move(waker);
}

std::optional<MonotonicTime> MainQueue::nextDue() const {
    const std::lock_guard lock(mutex_);
    if (waiting_.empty()) return std::nullopt;
    return waiting_.begin()->first.first;
}

}  // namespace kelvaris

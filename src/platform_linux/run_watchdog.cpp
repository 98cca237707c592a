#include "platform_linux/run_watchdog.h"

namespace kelvaris {

RunWatchdog::~RunWatchdog() {
    {
        const std::scoped_lock lock(mutex_);
        stopping_ = true;
    }
    changed_.notify_all();
    if (thread_.joinable()) thread_.join();
}

RunWatchdog::Guard::Guard(RunWatchdog& watchdog, std::chrono::nanoseconds limit,
                          std::function<void()> onLimit)
    : watchdog_(watchdog) {
    const std::scoped_lock lock(watchdog_.mutex_);
    place_ = watchdog_.waiting_.emplace(std::chrono::steady_clock::now() + limit, std::move(onLimit));
    if (!watchdog_.thread_.joinable()) watchdog_.thread_ = std::thread([&watchdog] { watchdog.watch(); });
    watchdog_.changed_.notify_all();
}

RunWatchdog::Guard::~Guard() {
    const std::scoped_lock lock(watchdog_.mutex_);
    watchdog_.waiting_.erase(place_);
}

void RunWatchdog::watch() {
    std::unique_lock lock(mutex_);
    while (!stopping_) {
        // A call that was made stays in the list, emptied, until its guard takes it out.
        auto next = waiting_.begin();
        while (next != waiting_.end() && !next->second) ++next;
        if (next == waiting_.end()) {
            changed_.wait(lock);
        } else if (std::chrono::steady_clock::now() < next->first) {
            const Ticket due = next->first;
            changed_.wait_until(lock, due);
        } else {
            // Under the lock, so that the guarded work cannot end in the middle of the call.
            std::exchange(next->second, nullptr)();
        }
    }
}

}  // namespace kelvaris

#include "base/run_loop.h"

namespace kelvaris {

RunLoop::RunLoop(MainQueue& queue, Sleep& sleep) : queue_(queue), sleep_(sleep) {
    queue_.setWaker([&sleep] { sleep.wake(); });
}

RunLoop::~RunLoop() { queue_.setWaker(nullptr); }

void RunLoop::runUntil(const std::function<bool()>& condition) {
    for (;;) {
        const auto drained = queue_.drain(std::chrono::milliseconds(20));
        if (condition()) return;
        if (drained.moreIsDue) continue;
        std::optional<std::chrono::nanoseconds> untilNext;
        if (drained.nextDue) untilNext = *drained.nextDue - queue_.clock().now();
        sleep_.sleep(untilNext);
    }
}

}  // namespace kelvaris

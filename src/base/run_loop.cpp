#include "base/run_loop.h"

namespace kelvaris {

RunLoop::RunLoop(MainQueue& queue) : queue_(queue) {
    queue_.setWaker([this] { wake(); });
}

RunLoop::~RunLoop() { queue_.setWaker(nullptr); }

void RunLoop::wake() {
    const std::lock_guard lock(mutex_);
    woken_ = true;
    changed_.notify_one();
}

void RunLoop::runUntil(const std::function<bool()>& condition) {
    for (;;) {
        const auto drained = queue_.drain(std::chrono::milliseconds(20));
        if (condition()) return;
        if (drained.moreIsDue) continue;
        std::unique_lock lock(mutex_);
        const auto isWoken = [this] { return woken_; };
        if (drained.nextDue) {
            changed_.wait_for(lock, *drained.nextDue - queue_.clock().now(), isWoken);
        } else {
            changed_.wait(lock, isWoken);
        }
        woken_ = false;
    }
}

}  // namespace kelvaris

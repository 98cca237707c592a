#include "base/sleep.h"

namespace kelvaris {

void ConditionSleep::sleep(std::optional<std::chrono::nanoseconds> atMost) {
    std::unique_lock lock(mutex_);
    const auto isWoken = [this] { return isWoken_; };
    if (atMost) {
        changed_.wait_for(lock, *atMost, isWoken);
    } else {
        changed_.wait(lock, isWoken);
    }
    isWoken_ = false;
}

void ConditionSleep::wake() {
    const std::lock_guard lock(mutex_);
    isWoken_ = true;
    changed_.notify_one();
}

}  // namespace kelvaris

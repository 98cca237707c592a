#include "base/limited_waits.h"

#include <thread>

namespace kelvaris {

bool ThreadedLimitedWaits::wait(std::unique_lock<std::mutex>& lock, std::condition_variable& changed,
                                std::chrono::nanoseconds limit, const std::function<bool()>& done) {
    return changed.wait_for(lock, limit, done);
}

void ThreadedLimitedWaits::launch(std::function<void()> operation) {
    std::thread(std::move(operation)).detach();
}

}  // namespace kelvaris

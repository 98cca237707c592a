#include "platform_fake/fake_limited_waits.h"

namespace kelvaris {

FakeLimitedWaits::~FakeLimitedWaits() { join(); }

bool FakeLimitedWaits::wait(std::unique_lock<std::mutex>& lock, std::condition_variable& changed,
                            std::chrono::nanoseconds limit, const std::function<bool()>& done) {
    if (!done() && toExpire_ > 0) {
        --toExpire_;
        const std::scoped_lock held(mutex_);
        expired_.push_back(limit);
        return false;
    }
    changed.wait(lock, done);
    return true;
}

void FakeLimitedWaits::launch(std::function<void()> operation) {
    const std::scoped_lock lock(mutex_);
    threads_.emplace_back(std::move(operation));
}

std::vector<std::chrono::nanoseconds> FakeLimitedWaits::expired() const {
    const std::scoped_lock lock(mutex_);
    return expired_;
}

void FakeLimitedWaits::join() {
    std::vector<std::thread> threads;
    {
        const std::scoped_lock lock(mutex_);
        threads.swap(threads_);
    }
    for (std::thread& thread : threads) thread.join();
}

}  // namespace kelvaris

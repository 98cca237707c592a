#pragma once

#include <atomic>
#include <thread>
#include <vector>

#include "base/limited_waits.h"

namespace kelvaris {

/// Waits without a clock: they last until what they wait for is done, or, when told so, run out at once.
class FakeLimitedWaits final : public LimitedWaits {
public:
    FakeLimitedWaits() = default;
    FakeLimitedWaits(const FakeLimitedWaits&) = delete;
    FakeLimitedWaits& operator=(const FakeLimitedWaits&) = delete;
    /// Joins every launched operation, so a test must let its stuck ones go first.
    ~FakeLimitedWaits() override;

    bool wait(std::unique_lock<std::mutex>& lock, std::condition_variable& changed,
              std::chrono::nanoseconds limit, const std::function<bool()>& done) override;
    void launch(std::function<void()> operation) override;

    /// The next `count` waits whose condition does not hold yet run out in no time.
    void expireNext(int count) { toExpire_ = count; }
    /// The limits of all waits that ran out, in order.
    std::vector<std::chrono::nanoseconds> expired() const;
    /// Blocks until everything launched so far has ended.
    void join();

private:
    std::atomic<int> toExpire_ = 0;
    mutable std::mutex mutex_;
    std::vector<std::chrono::nanoseconds> expired_;
    std::vector<std::thread> threads_;
};

}  // namespace kelvaris

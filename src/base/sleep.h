#pragma once

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <optional>

namespace kelvaris {

/// Where a thread rests that has nothing to do.
class Sleep {
public:
    virtual ~Sleep() = default;

    /// Returns once wake() was called after the last return, once the time has passed, or for a reason of
    /// the sleep's own. Without a time it may rest for ever. One thread.
    virtual void sleep(std::optional<std::chrono::nanoseconds> atMost) = 0;
    /// Ends the sleep, or the next one when nobody sleeps. Any thread.
    virtual void wake() = 0;
};

/// A sleep that nothing but wake() and the time end.
class ConditionSleep : public Sleep {
public:
    void sleep(std::optional<std::chrono::nanoseconds> atMost) override;
    void wake() override;

private:
    std::mutex mutex_;
    std::condition_variable changed_;
    bool isWoken_ = false;
};

}  // namespace kelvaris

#pragma once

#include <chrono>
#include <condition_variable>
#include <functional>
#include <map>
#include <mutex>
#include <thread>
#include <utility>

namespace kelvaris {

/// Calls a function when its time has passed, unless it is called off before. One thread serves all;
/// it starts with the first call. Any thread.
class RunWatchdog {
public:
    using Ticket = std::chrono::steady_clock::time_point;

    RunWatchdog() = default;
    RunWatchdog(const RunWatchdog&) = delete;
    RunWatchdog& operator=(const RunWatchdog&) = delete;
    ~RunWatchdog();

    /// Guards a piece of work for the object's life. `onLimit` runs at most once, never after the end of
    /// the object.
    class Guard {
    public:
        Guard(RunWatchdog& watchdog, std::chrono::nanoseconds limit, std::function<void()> onLimit);
        ~Guard();
        Guard(const Guard&) = delete;
        Guard& operator=(const Guard&) = delete;

    private:
        RunWatchdog& watchdog_;
        std::multimap<Ticket, std::function<void()>>::iterator place_;
    };

private:
    void watch();

    std::mutex mutex_;
    std::condition_variable changed_;
    std::multimap<Ticket, std::function<void()>> waiting_;
    bool stopping_ = false;
    std::thread thread_;
};

}  // namespace kelvaris

#pragma once

#include <condition_variable>
#include <functional>
#include <mutex>

#include "base/main_queue.h"

namespace kelvaris {

/// Runs the main queue on the calling thread, asleep while nothing is due.
class RunLoop {
public:
    /// Installs itself as the queue's waker for as long as it lives.
    explicit RunLoop(MainQueue& queue);
    ~RunLoop();
    RunLoop(const RunLoop&) = delete;
    RunLoop& operator=(const RunLoop&) = delete;

    /// Drains until the condition holds; it is asked after every drain. Main thread.
    void runUntil(const std::function<bool()>& condition);

    /// Makes a waiting loop ask its condition again. Any thread.
    void wake();

private:
    MainQueue& queue_;
    std::mutex mutex_;
    std::condition_variable changed_;
    bool woken_ = false;
};

}  // namespace kelvaris

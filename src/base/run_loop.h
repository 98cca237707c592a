#pragma once

#include <functional>

#include "base/main_queue.h"
#include "base/sleep.h"

namespace kelvaris {

/// Runs the main queue on the calling thread, asleep while nothing is due.
class RunLoop {
public:
    /// Installs itself as the queue's waker for as long as it lives.
    explicit RunLoop(MainQueue& queue) : RunLoop(queue, own_) {}
    /// Rests where other things may end the sleep, too. The sleep must outlive the loop.
    RunLoop(MainQueue& queue, Sleep& sleep);
    ~RunLoop();
    RunLoop(const RunLoop&) = delete;
    RunLoop& operator=(const RunLoop&) = delete;

    /// Drains until the condition holds; it is asked after every drain and after every sleep. Main thread.
    void runUntil(const std::function<bool()>& condition);

private:
    MainQueue& queue_;
    ConditionSleep own_;
    Sleep& sleep_;
};

}  // namespace kelvaris

#pragma once

#include "base/main_queue.h"
#include "base/monotonic_clock.h"
#include "platform/clock.h"

namespace kelvaris {

/// Both clocks of the fake machine, moved together and only by hand.
class FakeClock {
public:
    /// 2026-03-14T08:00:00Z
    static constexpr Instant start{Ticks(std::chrono::seconds(1773475200))};

    FakeClock() : wall_(*this), monotonic_(*this) {}
    FakeClock(const FakeClock&) = delete;
    FakeClock& operator=(const FakeClock&) = delete;

    const Clock& wall() const { return wall_; }
    const MonotonicClock& monotonic() const { return monotonic_; }
    Instant now() const { return start + passed_; }

    /// Moves time alone; what became due runs at the next drain.
    void advance(std::chrono::nanoseconds duration) { passed_ += duration; }

    /// Lets the time pass while the queue is drained, each task at its own due time.
    void advance(MainQueue& queue, std::chrono::nanoseconds duration) {
        const MonotonicTime end = passed_ + duration;
        queue.drain();
        for (auto due = queue.nextDue(); due && *due <= end; due = queue.nextDue()) {
            if (*due > passed_) passed_ = *due;
            queue.drain();
        }
        passed_ = end;
        queue.drain();
    }

private:
    struct Wall final : Clock {
        explicit Wall(const FakeClock& owner) : owner(owner) {}
        Instant now() const override { return owner.now(); }
        const FakeClock& owner;
    };
    struct Monotonic final : MonotonicClock {
        explicit Monotonic(const FakeClock& owner) : owner(owner) {}
        MonotonicTime now() const override { return owner.passed_; }
        const FakeClock& owner;
    };

    Wall wall_;
    Monotonic monotonic_;
    MonotonicTime passed_{0};
};

}  // namespace kelvaris

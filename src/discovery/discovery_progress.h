#pragma once

#include <memory>
#include <utility>
#include <vector>

#include "base/main_queue.h"

namespace kelvaris {

/// How far a job over all rolls has come.
struct DiscoveryProgress {
    int processed = 0;  ///< photos looked at, failed ones included
    int total = 0;
    int failed = 0;

    bool operator==(const DiscoveryProgress&) const = default;
};

/// Says when a running job may speak again: a job over half a million photos must not flood the main
/// queue with a message for each. One thread.
class BatchPacer {
public:
    static constexpr std::chrono::milliseconds interval{200};

    explicit BatchPacer(const MonotonicClock& clock) : clock_(clock) {}

    /// True at first, and then once an interval.
    bool isDue() {
        const MonotonicTime now = clock_.now();
        if (hasSpoken_ && now - last_ < interval) return false;
        hasSpoken_ = true;
        last_ = now;
        return true;
    }

private:
    const MonotonicClock& clock_;
    bool hasSpoken_ = false;
    MonotonicTime last_{0};
};

}  // namespace kelvaris

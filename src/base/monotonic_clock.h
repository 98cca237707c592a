#pragma once

#include <chrono>

namespace kelvaris {

/// A moment on a clock that never runs back, counted from a point of no meaning.
using MonotonicTime = std::chrono::nanoseconds;

/// Measures delays and time-outs. Any thread. The real one is an adapter; tests turn theirs by hand.
class MonotonicClock {
public:
    virtual ~MonotonicClock() = default;
    virtual MonotonicTime now() const = 0;
};

}  // namespace kelvaris

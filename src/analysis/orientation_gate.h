#pragma once

#include <chrono>
#include <functional>
#include <memory>

#include "base/limited_waits.h"
#include "vocabulary/orientation_decision.h"

namespace kelvaris {

/// Lets one orientation inference run at a time. An inference that does not end keeps the slot until it
/// does, so that a stuck one can never be joined by others. Any thread.
class OrientationInferenceGate {
public:
    /// @param waits must outlive this and every operation that was left behind.
    explicit OrientationInferenceGate(LimitedWaits& waits);

    /// Waits for the slot and then for the operation, each at most the time-out. The operation runs on
    /// another thread and must own what it touches.
    /// @return a failed decision, "inference_busy" or "inference_timeout", when a wait ran out.
    OrientationDecision run(std::chrono::nanoseconds timeout, std::function<OrientationDecision()> operation);

private:
    struct Slot;

    LimitedWaits& waits_;
    std::shared_ptr<Slot> slot_;
};

}  // namespace kelvaris

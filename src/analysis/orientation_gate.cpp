#include "analysis/orientation_gate.h"

#include "analysis/orientation_decide.h"

namespace kelvaris {

struct OrientationInferenceGate::Slot {
    std::mutex mutex;
    std::condition_variable changed;
    bool taken = false;
};

OrientationInferenceGate::OrientationInferenceGate(LimitedWaits& waits)
    : waits_(waits), slot_(std::make_shared<Slot>()) {}

OrientationDecision OrientationInferenceGate::run(std::chrono::nanoseconds timeout,
                                                  std::function<OrientationDecision()> operation) {
    using Status = OrientationDecision::Status;
    {
        std::unique_lock lock(slot_->mutex);
        if (!waits_.wait(lock, slot_->changed, timeout, [&] { return !slot_->taken; })) {
            return undecidedOrientation(Status::failed, orientation_reason::inferenceBusy);
        }
        slot_->taken = true;
    }
    const auto decision =
        runLimited<OrientationDecision>(waits_, timeout, [slot = slot_, operation = std::move(operation)] {
            OrientationDecision result = operation();
            const std::scoped_lock lock(slot->mutex);
            slot->taken = false;
            slot->changed.notify_all();
            return result;
        });
    return decision.value_or(undecidedOrientation(Status::failed, orientation_reason::inferenceTimeout));
}

}  // namespace kelvaris

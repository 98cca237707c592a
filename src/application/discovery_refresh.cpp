#include "application/discovery_refresh.h"

#include <utility>

namespace kelvaris {

struct DiscoveryRefresh::Call {
    bool isUnderWay = true;
    bool isDone = false;
};

bool DiscoveryRefresh::start(const std::vector<RollPointer>& rolls, std::function<void()> onComplete) {
    if (isRunning_) return false;
    isRunning_ = true;
    progress_ = {};
    before_ = {};
    waiting_.assign(rolls.begin(), rolls.end());
    onComplete_ = std::move(onComplete);
    cancellation_ = std::make_shared<AnalysisCancellation>();
    next();
    return true;
}

void DiscoveryRefresh::next() {
    while (!waiting_.empty()) {
        const RollPointer roll = waiting_.front().lock();
        waiting_.pop_front();
        if (!roll || roll->isDisconnected() || roll->isAnalyzing()) continue;
        current_ = roll;
        before_ = progress_;
        // A roll of which nothing is behind answers at once, and a library may hold thousands of those.
        const auto call = std::make_shared<Call>();
        orchestrator_.refreshDiscovery(
            roll->photos(), cancellation_,
            [this, cancellation = cancellation_](int done, int total) {
                if (cancellation->isCancelled()) return;
                progress_ = {.processed = before_.processed + done, .total = before_.total + total};
            },
            [this, call, cancellation = cancellation_, weak = current_] {
                call->isDone = true;
                if (call->isUnderWay || cancellation->isCancelled()) return;
                if (const RollPointer living = weak.lock()) finish(*living);
                next();
            });
        call->isUnderWay = false;
        if (!call->isDone) return;
    }
    isRunning_ = false;
    current_.reset();
    if (const auto completed = std::exchange(onComplete_, nullptr)) completed();
}

void DiscoveryRefresh::finish(FilmRoll& roll) {
    orchestrator_.refreshGems(roll.photos());
    app_.scheduleSave(roll.shared_from_this());
}

void DiscoveryRefresh::cancel() {
    if (!isRunning_) return;
    cancellation_->cancel();
    isRunning_ = false;
    waiting_.clear();
    onComplete_ = nullptr;
    if (const RollPointer roll = current_.lock()) finish(*roll);
    current_.reset();
}

}  // namespace kelvaris

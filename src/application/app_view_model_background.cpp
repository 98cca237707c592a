// Rolls that are analysed one at a time while the user looks at another.

#include <algorithm>
#include <set>

#include "application/app_view_model.h"
#include "library/roll_analysis.h"
#include "library/roll_selection.h"

namespace kelvaris {

void AppViewModel::enqueueBackgroundAnalysis(const std::vector<RollPointer>& rolls) {
    std::set<RollID> known(backgroundAnalysisQueue_.begin(), backgroundAnalysisQueue_.end());
    if (backgroundAnalyzingRollID_) known.insert(*backgroundAnalyzingRollID_);
    bool any = false;
    for (const RollPointer& roll : rolls) {
        if (!roll->needsFullActivation() || !needsAnalysis(*roll) || !known.insert(roll->id()).second)
            continue;
        backgroundAnalysisQueue_.push_back(roll->id());
        any = true;
    }
    if (!any) return;
    notify(AppField::backgroundAnalysis);
    processNextBackgroundRoll();
}

void AppViewModel::processNextBackgroundRoll() {
    if (backgroundAnalyzingRollID_ || exclusive_ != Exclusive::none) return;
    while (!backgroundAnalysisQueue_.empty()) {
        const RollPointer next = roll(backgroundAnalysisQueue_.front());
        backgroundAnalysisQueue_.pop_front();
        if (!next || next->isDisconnected() || !next->needsFullActivation() || next == activeRoll_) continue;
        if (next->photos().empty() || next->isAnalyzing()) {
            settleBackgroundRoll(next);
            continue;
        }
        backgroundAnalyzingRollID_ = next->id();
        backgroundRun_ = RunStamp::random();
        next->setNeedsFullActivation(false);
        startAnalysisPipeline(*next, true, backgroundListener(next));
        return;
    }
    notify(AppField::backgroundAnalysis);
}

RunListener AppViewModel::backgroundListener(const RollPointer& roll) {
    const auto whileCurrent = [this, alive = lifetime_.weak(), run = backgroundRun_] {
        return !alive.expired() && backgroundAnalyzingRollID_ && backgroundRun_ == run;
    };
    return {.onEnd =
                [this, alive = lifetime_.weak(), whileCurrent, weak = std::weak_ptr(roll)](RunEnd) {
                    if (alive.expired() || whileCurrent()) return;
                    // The queue has gone on long ago. What came late is kept, its pictures are not.
                    const RollPointer late = weak.lock();
                    if (late && backgroundAnalyzingRollID_ != late->id() && !late->isAnalyzing()) {
                        settleBackgroundRoll(late);
                    }
                },
            .onReleased =
                [this, whileCurrent, weak = std::weak_ptr(roll)] {
                    if (!whileCurrent()) return;
                    if (const RollPointer finished = weak.lock()) settleBackgroundRoll(finished);
                    leaveBackgroundRun();
                },
            .isWaitingItsTurn =
                [this, whileCurrent, id = roll->id()] {
                    // The photos of a roll that the user looks at go first, however many they are.
                    return whileCurrent() && std::ranges::any_of(rolls_, [id](const RollPointer& other) {
                               return other->id() != id && other->isAnalyzing();
                           });
                }};
}

void AppViewModel::settleBackgroundRoll(const RollPointer& roll) {
    // A roll that was removed meanwhile must not come back to the disk.
    if (std::ranges::find(rolls_, roll) == rolls_.end()) return;
    if (exclusive_ == Exclusive::none) services_.vault.save(*roll);
    if (roll != activeRoll_) unloadThumbnails(*roll, sidebarKeepCount);
}

void AppViewModel::leaveBackgroundRun() {
    backgroundAnalyzingRollID_.reset();
    notify(AppField::backgroundAnalysis);
    processNextBackgroundRoll();
}

void AppViewModel::callOffAnalysis(const RollPointer& roll) {
    std::erase(backgroundAnalysisQueue_, roll->id());
    cancelAnalysis(*roll);
    unloadThumbnails(*roll, sidebarKeepCount);  // so that it can be analysed again if it comes back
    if (backgroundAnalyzingRollID_ == roll->id()) leaveBackgroundRun();
}

void AppViewModel::callOffAllAnalysis() {
    backgroundAnalysisQueue_.clear();
    for (const RollPointer& roll : std::vector(rolls_)) callOffAnalysis(roll);
    backgroundAnalyzingRollID_.reset();
}

bool AppViewModel::isAnalysisPending() const {
    return backgroundAnalyzingRollID_ || !backgroundAnalysisQueue_.empty() ||
           std::any_of(rolls_.begin(), rolls_.end(),
                       [](const RollPointer& roll) { return roll->isAnalyzing(); });
}

}  // namespace kelvaris

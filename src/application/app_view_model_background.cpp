// Rolls that are analysed one at a time while the user looks at another.

#include <algorithm>

#include "application/app_view_model.h"
#include "library/roll_analysis.h"
#include "library/roll_selection.h"

namespace kelvaris {

void AppViewModel::enqueueBackgroundAnalysis(const std::vector<RollPointer>& rolls) {
    bool any = false;
    for (const RollPointer& roll : rolls) {
        const bool hasWork = std::any_of(roll->photos().begin(), roll->photos().end(),
                                         [](const PhotoPointer& photo) { return !photo->labelsAnalyzed(); });
        if (roll->isDisconnected() || !roll->needsFullActivation() || !hasWork) continue;
        backgroundAnalysisQueue_.push_back(roll->id());
        any = true;
    }
    if (!any) return;
    notify(AppField::backgroundAnalysis);
    processNextBackgroundRoll();
}

void AppViewModel::processNextBackgroundRoll() {
    if (backgroundAnalyzingRollID_) return;
    while (!backgroundAnalysisQueue_.empty()) {
        const RollPointer next = roll(backgroundAnalysisQueue_.front());
        backgroundAnalysisQueue_.pop_front();
        if (!next || next->isDisconnected() || !next->needsFullActivation() || next == activeRoll_) continue;
        backgroundAnalyzingRollID_ = next->id();
        const auto finish = [this, alive = lifetime_.weak(), weak = std::weak_ptr(next)] {
            if (!alive.expired()) finishBackgroundRoll(weak);
        };
        if (!next->photos().empty() && !next->isAnalyzing()) {
            next->setNeedsFullActivation(false);
            startAnalysisPipeline(*next, true, finish);
        } else {
            finish();
        }
        return;
    }
    notify(AppField::backgroundAnalysis);
}

void AppViewModel::finishBackgroundRoll(const std::weak_ptr<FilmRoll>& finished) {
    const RollPointer roll = finished.lock();
    const bool isListed = roll && std::find(rolls_.begin(), rolls_.end(), roll) != rolls_.end();
    // A roll that was removed meanwhile must not come back to the disk.
    if (isListed && !isResettingData_) services_.vault.save(*roll);
    if (isListed && roll != activeRoll_) unloadThumbnails(*roll, sidebarKeepCount);
    backgroundAnalyzingRollID_.reset();
    notify(AppField::backgroundAnalysis);
    processNextBackgroundRoll();
}

bool AppViewModel::isAnalysisPending() const {
    return backgroundAnalyzingRollID_ || !backgroundAnalysisQueue_.empty() ||
           std::any_of(rolls_.begin(), rolls_.end(),
                       [](const RollPointer& roll) { return roll->isAnalyzing(); });
}

}  // namespace kelvaris

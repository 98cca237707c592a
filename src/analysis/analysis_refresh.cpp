#include "analysis/analysis_orchestrator.h"
#include "analysis/discovery_job.h"
#include "analysis/discovery_state.h"
#include "preferences/user_preferences.h"

namespace kelvaris {

std::vector<ModelID> AnalysisOrchestrator::requestedModels() const {
    return tools_.models ? tools_.models->requestedModels() : std::vector<ModelID>();
}

std::string AnalysisOrchestrator::discoveryRevision() const {
    return kelvaris::discoveryRevision(requestedModels(), tools_.preferences);
}

void AnalysisOrchestrator::refreshDiscovery(const PhotoList& photos, AnalysisCancellationPointer cancellation,
                                            std::function<void(int done, int total)> onProgress,
                                            std::function<void()> onComplete) {
    DiscoveryTarget target{.revision = discoveryRevision(),
                           .requested = requestedModels(),
                           .switches = AnalysisSwitches::of(tools_.preferences)};
    if (!target.switches.gemSpotterEnabled) std::erase(target.requested, ModelID::nima);
    // A date that is burned into the frame was read when the photo was first analysed.
    target.switches.timeStamperEnabled = false;

    std::vector<PhotoSnapshot> snapshots;
    for (const PhotoPointer& photo : photos) {
        if (photo->isMissing()) continue;
        if (photo->discoveryRevision() != target.revision ||
            hasIncompleteDiscovery(target.requested, DiscoveryState::of(*photo))) {
            snapshots.push_back(PhotoSnapshot::of(photo));
        }
    }
    if (snapshots.empty()) {
        if (onComplete) onComplete();
        return;
    }
    struct Progress {
        int done = 0;
        int total;
        std::function<void(int, int)> heard;
        std::function<void()> completed;
    };
    const auto progress = std::make_shared<Progress>(
        Progress{0, static_cast<int>(snapshots.size()), std::move(onProgress), std::move(onComplete)});
    analysisQueue_->add([this, snapshots = std::move(snapshots), target = std::move(target),
                         cancellation = std::move(cancellation), progress, closing = closing_] {
        const ModelServices* services = tools_.models ? &*tools_.models : nullptr;
        for (const PhotoSnapshot& snapshot : snapshots) {
            if (cancellation->isCancelled() || closing->isCancelled()) return;
            auto findings = std::make_shared<const DiscoveryFindings>(
                rediscover(snapshot, target, tools_.loading, tools_.analysis, services));
            post([snapshot, findings, cancellation, progress, revision = target.revision] {
                if (cancellation->isCancelled()) return;
                if (const PhotoPointer photo = snapshot.current()) applyFindings(*findings, revision, *photo);
                ++progress->done;
                if (progress->heard) progress->heard(progress->done, progress->total);
                if (progress->done == progress->total && progress->completed) progress->completed();
            });
        }
    });
}

}  // namespace kelvaris

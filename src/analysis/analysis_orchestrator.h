#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "analysis/analysis_cancellation.h"
#include "analysis/photo_analysis_service.h"
#include "analysis/photo_snapshot.h"
#include "analysis/roll_passes.h"
#include "base/lifetime.h"
#include "base/operation_queue.h"
#include "library/analysis_pipeline.h"
#include "library/animation.h"
#include "library/photo_thumbnails.h"
#include "platform/shell.h"

namespace kelvaris {

class UserPreferences;

/// Drives all analysis of rolls: thumbnails first, then the pass over each photo, then the passes over the
/// roll, gems and a recount of people. Main thread; heavy work runs on queues of its own, results are
/// written on the main thread behind a test that the photo has not moved on.
///
/// A run is known by the generation that it stamps on its photos. A later run overwrites the stamps: what
/// the earlier one has still under way is dropped when it arrives, what it has not begun is left, and it
/// ends as cancelled. So does a run whose photos were given another stamp to call it off.
class AnalysisOrchestrator final : public AnalysisPipeline {
public:
    /// Everything handed in by reference must outlive the orchestrator.
    struct Tools {
        ThumbnailTools thumbnails;
        const ImageLoading& loading;
        const PhotoAnalysisService& analysis;
        const UserPreferences& preferences;
        Shell& shell;
        Animator& animator;
        OperationQueueFactory& queues;
        Path thumbnailCacheBase;  ///< holds one folder a roll, named by its id
        Path home;                ///< the user's home folder, by which cloud folders are told
        std::optional<ModelServices> models = std::nullopt;  ///< none: no model is available
    };

    explicit AnalysisOrchestrator(Tools tools);
    /// Passes over rolls that are under way end at their next photo, and all runs as cancelled.
    ~AnalysisOrchestrator() override;

    void analyzeRoll(const PhotoList& photos, const Path& sourceFolder, RollID rollID, bool isBackground,
                     AnalysisCallbacks callbacks) override;
    void reanalyze(const PhotoList& photos, const PhotoList& roll, bool isCloudHosted,
                   AnalysisCallbacks callbacks) override;
    void loadSidebarThumbnails(const PhotoList& photos, RollID rollID, int count,
                               bool isCloudHosted) override;

    /// Chooses the gems of a roll anew, when the user wants gems.
    void refreshGems(const PhotoList& photos);

    /// The state of analysis that a photo should be in: models and switches as one text.
    std::string discoveryRevision() const;

    /// Brings those of the photos up to the present models and switches that are behind, one after the
    /// other on a worker. What a photo has and the user decided stays.
    /// @param cancellation ends the run at its next photo; what was found until then stays, and nothing
    ///        more is heard of the run. Not null.
    /// @param onProgress photos done, and how many there are; may be empty.
    /// @param onComplete after the last photo, at once when none is behind; may be empty.
    void refreshDiscovery(const PhotoList& photos, AnalysisCancellationPointer cancellation,
                          std::function<void(int done, int total)> onProgress,
                          std::function<void()> onComplete);

private:
    struct Run;
    struct Attempt;
    using RunPointer = std::shared_ptr<Run>;

    // Thumbnails
    void start(const RunPointer& run);
    void pump(const RunPointer& run);
    void loadThumbnailOf(const RunPointer& run, const PhotoPointer& photo);
    void finishThumbnail(const RunPointer& run, const PhotoPointer& photo, bool isPending,
                         const Image& bitmap, std::optional<bool> wasRead);
    void checkLoaded(const RunPointer& run);
    void showFromCache(const PhotoList& photos, const RunPointer& run);
    void dispatchHeld(const RunPointer& run);
    void readDates(const PhotoList& photos);

    // The pass over each photo
    void dispatchAnalysis(const RunPointer& run, const PhotoPointer& photo, bool retryOrientationFailure);
    void finishAttempt(const RunPointer& run, const Attempt& attempt, const Image& frame,
                       const std::optional<AnalysisResult>& result);
    void settle(const RunPointer& run);
    void checkSettled(const RunPointer& run);

    // The end of a run
    void finishAnalysis(const RunPointer& run);
    void selectGemsAndFinish(const RunPointer& run);
    void recountPeople(const RunPointer& run);
    void complete(const RunPointer& run);
    PhotoList chooseGems(const PhotoList& photos) const;

    std::vector<ModelID> requestedModels() const;

    OperationQueue& thumbnailQueueFor(bool isCloudHosted) {
        return isCloudHosted ? *cloudThumbnailQueue_ : *thumbnailQueue_;
    }
    /// On the main thread, unless the orchestrator has gone by then. Any thread.
    void post(std::function<void()> task);

    const Tools tools_;
    const AnalysisCancellationPointer closing_ = std::make_shared<AnalysisCancellation>();
    std::unique_ptr<RollPasses> passes_;
    const Lifetime lifetime_;
    // Last: what runs on the queues uses the members above, and ends with the queues.
    std::unique_ptr<OperationQueue> thumbnailQueue_;
    std::unique_ptr<OperationQueue> cloudThumbnailQueue_;
    std::unique_ptr<OperationQueue> analysisQueue_;
    std::unique_ptr<OperationQueue> utilityQueue_;
};

}  // namespace kelvaris

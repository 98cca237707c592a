#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "analysis/photo_analysis_service.h"
#include "analysis/photo_snapshot.h"
#include "base/lifetime.h"
#include "base/operation_queue.h"
#include "library/analysis_pipeline.h"
#include "library/animation.h"
#include "library/photo_thumbnails.h"
#include "platform/shell.h"

namespace kelvaris {

class UserPreferences;

/// The passes over a whole roll that need installed models: aesthetic score, places, styles and faces.
class RollPasses {
public:
    virtual ~RollPasses() = default;
    /// Which models are to be heard, by their ids in declared order, without the orientation's: the user
    /// lets them be used and their files are there. Main thread.
    virtual std::vector<std::string> requestedModels() const = 0;
    /// Runs each pass whose model is ready over the snapshots in order. On a worker, which it blocks. What
    /// is found reaches the photos through the main queue, if their snapshots are still current.
    virtual void run(const std::vector<PhotoSnapshot>& snapshots, const AnalysisSwitches& switches) = 0;
};

/// Drives all analysis of rolls: thumbnails first, then the pass over each photo, then the passes over the
/// roll, gems and a recount of people. Main thread; heavy work runs on queues of its own, results are
/// written on the main thread behind a test that the photo has not moved on.
///
/// A run is known by the generation that it stamps on its photos. A later run overwrites the stamps: what
/// the earlier one has still under way is dropped when it arrives, and it never completes.
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
        Path thumbnailCacheBase;       ///< holds one folder a roll, named by its id
        Path home;                     ///< the user's home folder, by which cloud folders are told
        RollPasses* passes = nullptr;  ///< none: no model is available
    };

    explicit AnalysisOrchestrator(Tools tools);

    void analyzeRoll(const PhotoList& photos, const Path& sourceFolder, RollID rollID, bool isBackground,
                     AnalysisCallbacks callbacks) override;
    void reanalyze(const PhotoList& photos, bool isCloudHosted, AnalysisCallbacks callbacks) override;
    void loadSidebarThumbnails(const PhotoList& photos, RollID rollID, int count,
                               bool isCloudHosted) override;

    /// Chooses the gems of a roll anew, when the user wants gems.
    void refreshGems(const PhotoList& photos);

    /// The state of analysis that a photo should be in: models and switches as one text.
    std::string discoveryRevision() const;

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
    void dispatchHeld(const RunPointer& run);
    void readDates(const PhotoList& photos);

    // The pass over each photo
    void dispatchAnalysis(const RunPointer& run, const PhotoPointer& photo, bool retryOrientationFailure);
    void finishAttempt(const RunPointer& run, const Attempt& attempt, const Image& frame,
                       const std::optional<AnalysisResult>& result);
    void release(const RunPointer& run);

    // The end of a run
    void finishAnalysis(const RunPointer& run);
    void selectGemsAndFinish(const RunPointer& run);
    void recountPeople(const RunPointer& run);
    void complete(const RunPointer& run);
    PhotoList chooseGems(const PhotoList& photos) const;

    OperationQueue& thumbnailQueueFor(bool isCloudHosted) {
        return isCloudHosted ? *cloudThumbnailQueue_ : *thumbnailQueue_;
    }
    /// On the main thread, unless the orchestrator has gone by then. Any thread.
    void post(std::function<void()> task);

    const Tools tools_;
    const Lifetime lifetime_;
    // Last: what runs on the queues uses the members above, and ends with the queues.
    std::unique_ptr<OperationQueue> thumbnailQueue_;
    std::unique_ptr<OperationQueue> cloudThumbnailQueue_;
    std::unique_ptr<OperationQueue> analysisQueue_;
    std::unique_ptr<OperationQueue> utilityQueue_;
};

}  // namespace kelvaris

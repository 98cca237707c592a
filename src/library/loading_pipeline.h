#pragma once

#include <memory>

#include "base/operation_queue.h"
#include "library/analysis_pipeline.h"
#include "library/photo_thumbnails.h"

namespace kelvaris {

/// A pipeline that loads and does not analyse: thumbnails, read outcomes, and the dates that files
/// carry. For programs and tests that run without models. Main thread.
class LoadingPipeline final : public AnalysisPipeline {
public:
    /// @param thumbnailCacheBase holds one folder a roll, named by its id.
    /// @param home the user's home folder, by which cloud folders are told.
    LoadingPipeline(ThumbnailTools tools, OperationQueueFactory& queues, Path thumbnailCacheBase, Path home);

    void analyzeRoll(const PhotoList& photos, const Path& sourceFolder, RollID rollID, bool isBackground,
                     AnalysisCallbacks callbacks) override;
    void reanalyze(const PhotoList& photos, const PhotoList& roll, bool isCloudHosted,
                   AnalysisCallbacks callbacks) override;
    void loadSidebarThumbnails(const PhotoList& photos, RollID rollID, int count,
                               bool isCloudHosted) override;

private:
    struct Run;

    /// The run over those of the photos that are there.
    static std::shared_ptr<Run> begin(const PhotoList& photos, AnalysisCallbacks callbacks);
    void load(const std::shared_ptr<Run>& run, const std::optional<Path>& cacheDirectory, bool isCloudHosted,
              OperationPriority priority);
    void showFromCache(const PhotoList& photos, const Path& cacheDirectory, bool isCloudHosted);
    OperationQueue& queueFor(bool isCloudHosted) {
        return isCloudHosted ? *cloudThumbnailQueue_ : *thumbnailQueue_;
    }

    const ThumbnailTools tools_;
    const Path thumbnailCacheBase_;
    const Path home_;
    // Last: what runs on the queues uses the members above, and ends with the queues.
    std::unique_ptr<OperationQueue> thumbnailQueue_;
    std::unique_ptr<OperationQueue> cloudThumbnailQueue_;
};

}  // namespace kelvaris

#include "library/loading_pipeline.h"

#include <algorithm>

#include "vocabulary/cloud_storage_provider.h"

namespace kelvaris {

/// One run over a list of photos. Main thread.
struct LoadingPipeline::Run {
    RunStamp generation = RunStamp::random();
    PhotoList photos;
    std::size_t remaining = 0;
    bool completesAtEnd = true;
    AnalysisCallbacks callbacks;

    bool isSuperseded() const {
        return std::any_of(photos.begin(), photos.end(), [this](const PhotoPointer& photo) {
            return photo->analysisGeneration() != generation;
        });
    }

    void finishPhoto() {
        if (--remaining > 0) return;
        if (callbacks.onThumbnailsLoaded) callbacks.onThumbnailsLoaded();
        if (completesAtEnd && !isSuperseded()) callbacks.onAllComplete();
    }
};

LoadingPipeline::LoadingPipeline(ThumbnailTools tools, OperationQueueFactory& queues, Path thumbnailCacheBase,
                                 Path home)
    : tools_(tools),
      thumbnailCacheBase_(std::move(thumbnailCacheBase)),
      home_(std::move(home)),
      thumbnailQueue_(queues.makeQueue("com.kelvaris.thumbnails", 8)),
      cloudThumbnailQueue_(queues.makeQueue("com.kelvaris.thumbnails.cloud", 2)) {}

void LoadingPipeline::analyzeRoll(const PhotoList& photos, const Path& sourceFolder, RollID rollID,
                                  bool isBackground, AnalysisCallbacks callbacks) {
    auto run = std::make_shared<Run>();
    run->photos = photos;
    run->callbacks = std::move(callbacks);
    const bool hasPending = std::any_of(photos.begin(), photos.end(),
                                        [](const PhotoPointer& photo) { return !photo->labelsAnalyzed(); });
    for (const PhotoPointer& photo : photos) photo->setAnalysisGeneration(run->generation);
    load(photos, thumbnailCacheBase_ / rollID.text(), detectCloudStorage(sourceFolder, home_).has_value(),
         isBackground ? OperationPriority::veryLow : OperationPriority::normal, run);
    if (!hasPending) {
        run->completesAtEnd = false;
        run->callbacks.onAllComplete();
    }
}

void LoadingPipeline::reanalyze(const PhotoList& photos, const PhotoList& /*roll*/, bool isCloudHosted,
                                AnalysisCallbacks callbacks) {
    auto run = std::make_shared<Run>();
    run->photos = photos;
    run->callbacks = std::move(callbacks);
    for (const PhotoPointer& photo : photos) photo->setAnalysisGeneration(run->generation);
    load(photos, std::nullopt, isCloudHosted, OperationPriority::normal, run);
}

void LoadingPipeline::load(const PhotoList& photos, const std::optional<Path>& cacheDirectory,
                           bool isCloudHosted, OperationPriority priority, const std::shared_ptr<Run>& run) {
    run->remaining = photos.size();
    for (const PhotoPointer& photo : photos) {
        queueFor(isCloudHosted)
            .add(
                [this, request = ThumbnailRequest(photo), cacheDirectory, run] {
                    const auto outcome = loadThumbnail(request, cacheDirectory, tools_).kind;
                    const auto taken = tools_.exif.readEXIFDate(request.sourceURL);
                    tools_.main.post([photo = request.photo, outcome, taken, run] {
                        using Kind = ThumbnailOutcome::Kind;
                        if (photo->analysisGeneration() == run->generation) photo->setExifDateTaken(taken);
                        // A file that cannot be read has had its pass: there is nothing to wait for.
                        if (outcome == Kind::failed) photo->setLabelsAnalyzed(true);
                        const bool wasRead = outcome == Kind::fromSource || outcome == Kind::failed;
                        if (wasRead && run->callbacks.onReadOutcome) {
                            run->callbacks.onReadOutcome(outcome == Kind::fromSource);
                        }
                        run->finishPhoto();
                    });
                },
                priority);
    }
}

void LoadingPipeline::loadSidebarThumbnails(const PhotoList& photos, RollID rollID, int count,
                                            bool isCloudHosted) {
    const Path cacheDirectory = thumbnailCacheBase_ / rollID.text();
    const std::size_t wanted = std::min(photos.size(), static_cast<std::size_t>(std::max(count, 0)));
    for (std::size_t i = 0; i < wanted; ++i) {
        queueFor(isCloudHosted).add([this, request = ThumbnailRequest(photos[i]), cacheDirectory] {
            loadThumbnail(request, cacheDirectory, tools_);
        });
    }
}

}  // namespace kelvaris

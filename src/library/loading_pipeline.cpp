#include "library/loading_pipeline.h"

#include <algorithm>
#include <iterator>

#include "vocabulary/cloud_storage_provider.h"

namespace kelvaris {

/// One run over a list of photos. Main thread.
struct LoadingPipeline::Run {
    RunStamp generation = RunStamp::random();
    PhotoList photos;
    std::size_t remaining = 0;
    std::size_t unreadable = 0;
    AnalysisCallbacks callbacks;

    bool isSuperseded() const {
        return std::any_of(photos.begin(), photos.end(), [this](const PhotoPointer& photo) {
            return photo->analysisGeneration() != generation;
        });
    }

    RunEnd end() const {
        if (isSuperseded()) return RunEnd::cancelled;
        return unreadable > 0 && unreadable == photos.size() ? RunEnd::failed : RunEnd::completed;
    }

    void finishPhoto() {
        --remaining;
        if (callbacks.onPhotoFinished) callbacks.onPhotoFinished();
        if (remaining == 0) finish();
    }

    void finish() {
        if (callbacks.onThumbnailsLoaded) callbacks.onThumbnailsLoaded();
        callbacks.ending.tell(end());
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
    const auto run = begin(photos, std::move(callbacks));
    const Path cacheDirectory = thumbnailCacheBase_ / rollID.text();
    const bool isCloudHosted = detectCloudStorage(sourceFolder, home_).has_value();
    const bool hasPending = std::any_of(run->photos.begin(), run->photos.end(),
                                        [](const PhotoPointer& photo) { return !photo->labelsAnalyzed(); });
    load(run, cacheDirectory, isCloudHosted,
         isBackground ? OperationPriority::veryLow : OperationPriority::normal);
    showFromCache(photos, cacheDirectory, isCloudHosted);
    if (!hasPending) run->callbacks.ending.tell(RunEnd::completed);
}

void LoadingPipeline::reanalyze(const PhotoList& photos, const PhotoList& /*roll*/, bool isCloudHosted,
                                AnalysisCallbacks callbacks) {
    load(begin(photos, std::move(callbacks)), std::nullopt, isCloudHosted, OperationPriority::normal);
}

std::shared_ptr<LoadingPipeline::Run> LoadingPipeline::begin(const PhotoList& photos,
                                                             AnalysisCallbacks callbacks) {
    auto run = std::make_shared<Run>();
    std::ranges::copy_if(photos, std::back_inserter(run->photos),
                         [](const PhotoPointer& photo) { return !photo->isMissing(); });
    run->remaining = run->photos.size();
    run->callbacks = std::move(callbacks);
    for (const PhotoPointer& photo : run->photos) photo->setAnalysisGeneration(run->generation);
    return run;
}

void LoadingPipeline::load(const std::shared_ptr<Run>& run, const std::optional<Path>& cacheDirectory,
                           bool isCloudHosted, OperationPriority priority) {
    if (run->photos.empty()) run->finish();
    for (const PhotoPointer& photo : run->photos) {
        queueFor(isCloudHosted)
            .add(
                [this, request = ThumbnailRequest(photo), cacheDirectory, run] {
                    const auto outcome = loadThumbnail(request, cacheDirectory, tools_).kind;
                    const auto taken = tools_.exif.readEXIFDate(request.sourceURL);
                    tools_.main.post([photo = request.photo, outcome, taken, run] {
                        using Kind = ThumbnailOutcome::Kind;
                        if (photo->analysisGeneration() == run->generation) photo->setExifDateTaken(taken);
                        // A file that cannot be read has had its pass: there is nothing to wait for.
                        // One that has gone meanwhile keeps what it has.
                        if (outcome == Kind::failed && !photo->isMissing()) photo->setLabelsAnalyzed(true);
                        if (outcome == Kind::failed) ++run->unreadable;
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

void LoadingPipeline::showFromCache(const PhotoList& photos, const Path& cacheDirectory, bool isCloudHosted) {
    for (const PhotoPointer& photo : photos) {
        if (!photo->isMissing()) continue;
        queueFor(isCloudHosted).add([this, request = ThumbnailRequest(photo), cacheDirectory] {
            loadThumbnail(request, cacheDirectory, tools_);
        });
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

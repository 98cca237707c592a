#include "analysis/analysis_orchestrator.h"

#include <algorithm>
#include <iterator>

#include "analysis/analysis_run.h"
#include "metadata/exif_service.h"
#include "preferences/user_preferences.h"
#include "vocabulary/cloud_storage_provider.h"

namespace kelvaris {
namespace {

constexpr int thumbnailWidth = 8;
constexpr int cloudThumbnailWidth = 2;
constexpr int analysisWidth = 2;
constexpr int utilityWidth = 2;
constexpr int deepAnalysisPixelSize = 1200;

int pixelSizeFor(bool deepAnalysis) { return deepAnalysis ? deepAnalysisPixelSize : analysisPixelSize; }

bool isWorthAnotherTry(const std::optional<AnalysisResult>& result) {
    if (!result || !result->orientationDecision) return false;
    const OrientationDecision& decision = *result->orientationDecision;
    return decision.status == OrientationDecision::Status::failed &&
           (decision.reason == orientation_reason::inferenceTimeout ||
            decision.reason == orientation_reason::inferenceBusy);
}

PhotoList presentPhotos(const PhotoList& photos) {
    PhotoList present;
    std::ranges::copy_if(photos, std::back_inserter(present),
                         [](const PhotoPointer& photo) { return !photo->isMissing(); });
    return present;
}

}  // namespace

AnalysisOrchestrator::AnalysisOrchestrator(Tools tools)
    : tools_(std::move(tools)),
      thumbnailQueue_(tools_.queues.makeQueue("com.kelvaris.thumbnails", thumbnailWidth)),
      cloudThumbnailQueue_(tools_.queues.makeQueue("com.kelvaris.thumbnails.cloud", cloudThumbnailWidth)),
      analysisQueue_(tools_.queues.makeQueue("com.kelvaris.analysis", analysisWidth)),
      utilityQueue_(tools_.queues.makeQueue("com.kelvaris.utility", utilityWidth)) {
    if (!tools_.models) return;
    passes_ = std::make_unique<RollPasses>(*tools_.models, tools_.loading, tools_.analysis,
                                           [this](std::function<void()> task) { post(std::move(task)); });
}

AnalysisOrchestrator::~AnalysisOrchestrator() { closing_->cancel(); }

void AnalysisOrchestrator::post(std::function<void()> task) {
    tools_.thumbnails.main.post([alive = lifetime_.weak(), task = std::move(task)] {
        if (!alive.expired()) task();
    });
}

void AnalysisOrchestrator::analyzeRoll(const PhotoList& roll, const Path& sourceFolder, RollID rollID,
                                       bool isBackground, AnalysisCallbacks callbacks) {
    const auto run = std::make_shared<Run>();
    run->photos = presentPhotos(roll);
    run->roll = roll;
    for (const PhotoPointer& photo : run->photos) {
        if (!photo->labelsAnalyzed()) run->pending.insert(photo->id());
    }
    run->cacheDirectory = tools_.thumbnailCacheBase / rollID.text();
    run->isCloudHosted = detectCloudStorage(sourceFolder, tools_.home).has_value();
    run->readsDates = true;
    run->priority = isBackground ? OperationPriority::veryLow : OperationPriority::normal;
    run->callbacks = std::move(callbacks);
    start(run);
    showFromCache(roll, run);
}

void AnalysisOrchestrator::reanalyze(const PhotoList& photos, const PhotoList& roll, bool isCloudHosted,
                                     AnalysisCallbacks callbacks) {
    const auto run = std::make_shared<Run>();
    run->photos = presentPhotos(photos);
    run->roll = roll;
    for (const PhotoPointer& photo : run->photos) run->pending.insert(photo->id());
    run->isCloudHosted = isCloudHosted;
    run->callbacks = std::move(callbacks);
    start(run);
}

void AnalysisOrchestrator::loadSidebarThumbnails(const PhotoList& photos, RollID rollID, int count,
                                                 bool isCloudHosted) {
    const Path cacheDirectory = tools_.thumbnailCacheBase / rollID.text();
    const std::size_t wanted = std::min(photos.size(), static_cast<std::size_t>(std::max(count, 0)));
    for (std::size_t i = 0; i < wanted; ++i) {
        thumbnailQueueFor(isCloudHosted).add([this, request = ThumbnailRequest(photos[i]), cacheDirectory] {
            loadThumbnail(request, cacheDirectory, tools_.thumbnails);
        });
    }
}

void AnalysisOrchestrator::start(const RunPointer& run) {
    run->pixelSize = pixelSizeFor(tools_.preferences.deepAnalysisEnabled());
    for (const PhotoPointer& photo : run->photos) photo->setAnalysisGeneration(run->generation);
    pump(run);
    checkLoaded(run);
    if (run->pending.empty()) {
        run->hasSettled = true;
        run->callbacks.ending.tell(RunEnd::completed);
    }
    checkSettled(run);
}

void AnalysisOrchestrator::pump(const RunPointer& run) {
    while (run->requested < run->photos.size() && run->outstanding < Run::window) {
        const PhotoPointer& photo = run->photos[run->requested++];
        const bool isPending = run->pending.contains(photo->id());
        if (run->owns(*photo)) {
            if (isPending) ++run->outstanding;
            loadThumbnailOf(run, photo);
            continue;
        }
        ++run->loaded;
        if (!isPending) continue;
        ++run->settled;
        ++run->lost;
    }
}

void AnalysisOrchestrator::loadThumbnailOf(const RunPointer& run, const PhotoPointer& photo) {
    const bool isPending = run->pending.contains(photo->id());
    const auto load = [this, run, isPending, request = ThumbnailRequest(photo), size = run->pixelSize,
                       cacheDirectory = run->cacheDirectory] {
        using Kind = ThumbnailOutcome::Kind;
        const ThumbnailOutcome outcome =
            loadThumbnail(request, cacheDirectory, tools_.thumbnails, isPending ? size : analysisPixelSize);
        std::optional<bool> wasRead;
        if (outcome.kind == Kind::fromSource) wasRead = true;
        if (outcome.kind == Kind::failed) wasRead = false;
        Image bitmap;
        if (isPending && !request.isMissing && outcome.kind != Kind::failed) {
            bitmap = outcome.analysisBitmap;
            if (!bitmap) {
                bitmap =
                    tools_.loading.coordinatedThumbnail(request.sourceURL, size, false, RotationAngle::none);
                wasRead = bitmap != nullptr;
            }
        }
        post([this, run, photo = request.photo, isPending, bitmap, wasRead] {
            finishThumbnail(run, photo, isPending, bitmap, wasRead);
        });
    };
    thumbnailQueueFor(run->isCloudHosted).add(load, run->priority);
}

void AnalysisOrchestrator::finishThumbnail(const RunPointer& run, const PhotoPointer& photo, bool isPending,
                                           const Image& bitmap, std::optional<bool> wasRead) {
    if (wasRead && run->callbacks.onReadOutcome) run->callbacks.onReadOutcome(*wasRead);
    if (isPending) {
        if (run->owns(*photo)) photo->setThumbnailCGImage(bitmap);
        run->held.push_back(photo);
    }
    ++run->loaded;
    run->photoFinished();
    if (run->held.size() == Run::window) dispatchHeld(run);
    checkLoaded(run);
}

void AnalysisOrchestrator::checkLoaded(const RunPointer& run) {
    if (run->hasLoaded || run->loaded < run->photos.size()) return;
    run->hasLoaded = true;
    if (run->callbacks.onThumbnailsLoaded) run->callbacks.onThumbnailsLoaded();
    const auto isOwn = [&run](const PhotoPointer& photo) { return run->owns(*photo); };
    if (run->readsDates && std::ranges::any_of(run->photos, isOwn)) readDates(run->photos);
    dispatchHeld(run);
}

void AnalysisOrchestrator::showFromCache(const PhotoList& photos, const RunPointer& run) {
    for (const PhotoPointer& photo : photos) {
        if (!photo->isMissing()) continue;
        thumbnailQueueFor(run->isCloudHosted)
            .add(
                [this, request = ThumbnailRequest(photo), cacheDirectory = run->cacheDirectory] {
                    loadThumbnail(request, cacheDirectory, tools_.thumbnails);
                },
                run->priority);
    }
}

void AnalysisOrchestrator::dispatchHeld(const RunPointer& run) {
    for (const PhotoPointer& photo : std::exchange(run->held, {})) dispatchAnalysis(run, photo, true);
}

void AnalysisOrchestrator::readDates(const PhotoList& photos) {
    std::vector<ThumbnailRequest> requests(photos.begin(), photos.end());
    utilityQueue_->add([this, requests = std::move(requests)] {
        for (const ThumbnailRequest& request : requests) {
            if (request.isMissing) continue;
            const auto date = tools_.thumbnails.exif.readEXIFDate(request.sourceURL);
            post([request, date] {
                if (request.photo->sourceURL() == request.sourceURL) request.photo->setExifDateTaken(date);
            });
        }
    });
}

void AnalysisOrchestrator::dispatchAnalysis(const RunPointer& run, const PhotoPointer& photo,
                                            bool retryOrientationFailure) {
    if (!run->owns(*photo)) {
        ++run->lost;
        settle(run);
        return;
    }
    if (photo->isMissing() && !photo->thumbnailCGImage()) {
        settle(run);
        return;
    }
    const AnalysisSwitches switches = AnalysisSwitches::of(tools_.preferences);
    const Attempt attempt{.photo = photo,
                          .sourceURL = photo->sourceURL(),
                          .rotation = photo->rotation(),
                          .rotationRevision = photo->rotationRevision(),
                          .autoRotateOnOpen = switches.autoRotateOnOpen,
                          .retryOrientationFailure = retryOrientationFailure};
    const auto source = photo->rotationSource();
    const bool isProtected = source && *source != MetadataSource::autoDetect;
    const FrameContext context{photo->sortIndex(), static_cast<int>(run->roll.size())};
    const Image kept = photo->thumbnailCGImage();
    photo->setThumbnailCGImage(nullptr);
    const auto analyze = [this, run, attempt, switches, isProtected, context, kept] {
        const Image frame = kept ? kept
                                 : tools_.loading.coordinatedThumbnail(
                                       attempt.sourceURL, pixelSizeFor(switches.deepAnalysisEnabled), false,
                                       RotationAngle::none);
        std::optional<AnalysisResult> result;
        if (frame) result = tools_.analysis.analyze(frame, context, switches, attempt.rotation, isProtected);
        post([this, run, attempt, frame, result = std::move(result)] {
            finishAttempt(run, attempt, frame, result);
        });
    };
    analysisQueue_->add(analyze, run->priority);
}

void AnalysisOrchestrator::finishAttempt(const RunPointer& run, const Attempt& attempt, const Image& frame,
                                         const std::optional<AnalysisResult>& result) {
    const PhotoPointer& photo = attempt.photo;
    if (!run->owns(*photo)) {
        ++run->lost;
        settle(run);
        return;
    }
    const bool isSameFile = photo->sourceURL() == attempt.sourceURL;
    const bool hasMovedOn = !isSameFile || photo->rotationRevision() != attempt.rotationRevision ||
                            photo->rotation() != attempt.rotation ||
                            tools_.preferences.autoRotateOnOpen() != attempt.autoRotateOnOpen;
    const bool triesAgain = attempt.retryOrientationFailure && isWorthAnotherTry(result);
    if (hasMovedOn || triesAgain) {
        // The frame is not turned yet, so that it serves again.
        if (isSameFile) photo->setThumbnailCGImage(frame);
        dispatchAnalysis(run, photo, hasMovedOn && attempt.retryOrientationFailure);
        return;
    }
    if (result) {
        photo->setLoadState(PhotoItem::LoadState::loaded);
        run->callbacks.onPhotoAnalyzed(photo, *result);
        ++run->understood;
    } else if (!photo->isMissing()) {  // one that has gone meanwhile keeps what it has
        photo->setLabelsAnalyzed(true);
        photo->setLoadState(PhotoItem::LoadState::failed);
    }
    run->photoFinished();
    settle(run);
}

void AnalysisOrchestrator::settle(const RunPointer& run) {
    --run->outstanding;
    ++run->settled;
    pump(run);
    checkLoaded(run);
    checkSettled(run);
}

void AnalysisOrchestrator::checkSettled(const RunPointer& run) {
    if (run->hasSettled || run->settled < run->pending.size()) return;
    run->hasSettled = true;
    if (run->lost > 0) {
        run->callbacks.ending.tell(RunEnd::cancelled);
    } else {
        finishAnalysis(run);
    }
}

}  // namespace kelvaris

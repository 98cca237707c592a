#include "library/roll_analysis.h"

#include <algorithm>

#include "base/log.h"
#include "library/analysis_pipeline.h"
#include "library/place_names.h"
#include "preferences/user_preferences.h"

namespace kelvaris {
namespace {

constexpr Spring resultSpring{.response = 0.3, .dampingFraction = 0.9, .blendDuration = 0.0};

/// One run of analysis as its roll sees it. Time-out and real end share it, so that whichever comes
/// first calls the completion and the other finds nothing left to do.
struct Run {
    RunStamp stamp = RunStamp::random();
    std::function<void()> completion;
    TimerHandle timeout;

    void complete() {
        timeout.cancel();
        if (const auto action = std::exchange(completion, nullptr)) action();
    }
};

/// Stamps the roll with a new run; with work to do it shows as analysing, at most until the time-out.
std::shared_ptr<Run> beginRun(FilmRoll& roll, bool hasWork, std::chrono::seconds timeout,
                              std::function<void()> completion) {
    auto run = std::make_shared<Run>();
    run->completion = std::move(completion);
    roll.setAnalysisRunID(run->stamp);
    if (!hasWork) return run;

    roll.setIsAnalyzing(true);
    run->timeout = roll.services().main.postAfter(timeout, [weak = roll.weak_from_this(), run] {
        const RollPointer living = weak.lock();
        if (!living || !living->isAnalyzing() || living->analysisRunID() != run->stamp) return;
        log::info("FilmRoll", "Analysis of {} did not finish in time", living->name());
        living->setIsAnalyzing(false);
        run->complete();
    });
    return run;
}

/// @param atEnd called with the roll at the end of the run, when no later one has begun; may be empty.
AnalysisCallbacks callbacksOf(FilmRoll& roll, const std::shared_ptr<Run>& run,
                              std::function<void(FilmRoll&)> atEnd) {
    const std::weak_ptr<FilmRoll> weak = roll.weak_from_this();
    AnalysisCallbacks callbacks;
    callbacks.onPhotoAnalyzed = [weak](const PhotoPointer& photo, const AnalysisResult& result) {
        const RollPointer living = weak.lock();
        if (!living) return;
        applyAnalysisResult(*living, result, *photo, living->services().preferences.autoRotateOnOpen());
    };
    callbacks.onReadOutcome = [weak](bool success) {
        if (const RollPointer living = weak.lock()) recordCloudReadOutcome(*living, success);
    };
    callbacks.onAllComplete = [weak, run, atEnd = std::move(atEnd)] {
        const RollPointer living = weak.lock();
        if (!living || living->analysisRunID() != run->stamp) return;
        living->setIsAnalyzing(false);
        if (atEnd) atEnd(*living);
        run->complete();
    };
    return callbacks;
}

std::string sourceWord(const std::optional<MetadataSource>& source) {
    return source ? std::string(rawValue(*source)) : "none";
}

void showRotationResult(const AnalysisResult& result, PhotoItem& photo, bool autoRotate,
                        bool autoRotateEnabled) {
    if (!result.suggestedRotation) return;
    const int suggested = rawValue(*result.suggestedRotation);
    if (autoRotate) {
        photo.setDisplayRotationDegrees(displayDegrees(*result.suggestedRotation));
        log::debug("FilmRoll", "Auto-rotated {} to {}°", photo.filename(), suggested);
    } else {
        log::debug("FilmRoll", "Skipped auto-rotation for {}: suggested={}° rotation={} source={} pref={}",
                   photo.filename(), suggested, rawValue(photo.rotation()),
                   sourceWord(photo.rotationSource()), autoRotateEnabled);
    }
}

bool reanalyze(FilmRoll& roll, const PhotoList& photos, std::chrono::seconds timeout,
               const std::string& subject, std::function<void()> onComplete) {
    const auto run = beginRun(roll, true, timeout, std::move(onComplete));
    roll.setStatusNotification(StatusNotification::reanalyzing("Re-analyzing " + subject + "..."));
    roll.services().analysis.reanalyze(
        photos, roll.photos(), roll.isCloudHosted(), callbacksOf(roll, run, [subject](FilmRoll& living) {
            living.setStatusNotification(StatusNotification::info("Re-analyzed " + subject));
        }));
    return true;
}

/// The routine behind smartReanalyze and reanalyzeAllPhotos.
bool reanalyzeChosen(FilmRoll& roll, const PhotoList& chosen, std::function<void()> onComplete) {
    if (chosen.empty() || roll.isAnalyzing()) return false;
    for (const PhotoPointer& photo : chosen) clearAIDerivedData(*photo);
    roll.resetCloudAvailability();
    return reanalyze(roll, chosen, analysisTimeout, countOf(static_cast<int>(chosen.size()), "photo"),
                     std::move(onComplete));
}

}  // namespace

void startAnalysisPipeline(FilmRoll& roll, bool isBackground, std::function<void()> onComplete) {
    const bool needsWork = std::any_of(roll.photos().begin(), roll.photos().end(),
                                       [](const PhotoPointer& photo) { return !photo->labelsAnalyzed(); });
    const auto run = beginRun(roll, needsWork, analysisTimeout, std::move(onComplete));
    AnalysisCallbacks callbacks = callbacksOf(roll, run, nullptr);
    callbacks.onThumbnailsLoaded = [weak = roll.weak_from_this()] {
        if (const RollPointer living = weak.lock()) lookUpPlaceNames(living);
    };
    roll.services().analysis.analyzeRoll(roll.photos(), roll.sourceFolder(), roll.id(), isBackground,
                                         std::move(callbacks));
}

void applyAnalysisResult(FilmRoll& roll, const AnalysisResult& result, PhotoItem& photo,
                         bool autoRotateEnabled) {
    const auto source = photo.rotationSource();
    const bool autoRotate =
        autoRotateEnabled && result.suggestedRotation && (!source || source == MetadataSource::autoDetect);
    photo.setOrientationDecision(result.orientationDecision);
    if (autoRotate) {
        if (*result.suggestedRotation != photo.rotation()) {
            photo.invalidateOrientationCaches();
            photo.setOrientationDecision(result.orientationDecision);
            roll.markExportDirty();
        }
        photo.setRotation(*result.suggestedRotation);
        photo.setRotationSource(MetadataSource::autoDetect);
    }
    roll.services().animate(resultSpring, [&] {
        photo.applySuggestedLabels(result.labels);
        photo.setQualityScore(result.qualityScore);
        photo.setPeopleCount(result.peopleCount);
        photo.setVisionTags(result.visionTags);
        photo.setDominantColors(result.dominantColors);
        photo.setPerceptualHash(result.perceptualHash);
        photo.setOrientationCacheVersion(PhotoItem::currentOrientationCacheVersion);
        photo.setLabelsAnalyzed(true);
        showRotationResult(result, photo, autoRotate, autoRotateEnabled);
        if (result.detectedTimestamp && !photo.captureDate() && !photo.dateSource()) {
            photo.setCaptureDate(result.detectedTimestamp);
            photo.setDateSource(MetadataSource::autoDetect);
            log::debug("FilmRoll", "Auto-detected date stamp for {}", photo.filename());
        }
    });
}

void recordCloudReadOutcome(FilmRoll& roll, bool success) {
    using Availability = FilmRoll::CloudAvailability;
    if (success) {
        roll.setCloudAvailability(Availability::available);
    } else if (roll.cloudAvailability() == Availability::unknown) {
        roll.setCloudAvailability(Availability::unavailable);
    }
}

void clearAIDerivedData(PhotoItem& photo) {
    photo.clearSuggestedLabels();
    photo.setQualityScore(0.0);
    photo.setPeopleCount(0);
    photo.setLabelsAnalyzed(false);
    photo.setVisionTags({});
    photo.invalidateOrientationCaches();  // vectors, faces, hash, decision
    photo.setDominantColors(std::nullopt);
    photo.setPlaceCategories(std::nullopt);
    photo.setClipLabels(std::nullopt);
    photo.setLoadState(PhotoItem::LoadState::pending);
    if (photo.dateSource() == MetadataSource::autoDetect) {
        photo.setCaptureDate(std::nullopt);
        photo.setDateSource(std::nullopt);
    }
}

bool smartReanalyze(FilmRoll& roll, std::function<void()> onComplete) {
    PhotoList chosen;
    for (const PhotoPointer& photo : roll.photos()) {
        if (!photo->labelsAnalyzed() || photo->loadState() == PhotoItem::LoadState::failed) {
            chosen.push_back(photo);
        }
    }
    return reanalyzeChosen(roll, chosen, std::move(onComplete));
}

bool reanalyzeAllPhotos(FilmRoll& roll, std::function<void()> onComplete) {
    return reanalyzeChosen(roll, roll.photos(), std::move(onComplete));
}

bool smartReanalyzeSinglePhoto(FilmRoll& roll, const PhotoPointer& photo, std::function<void()> onComplete) {
    if (roll.isAnalyzing()) return false;
    clearAIDerivedData(*photo);
    return reanalyze(roll, {photo}, singlePhotoTimeout, photo->filename(), std::move(onComplete));
}

}  // namespace kelvaris

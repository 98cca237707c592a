#include "library/roll_analysis.h"

#include <algorithm>

#include "base/log.h"
#include "library/analysis_pipeline.h"
#include "library/place_names.h"
#include "preferences/user_preferences.h"

namespace kelvaris {
namespace {

constexpr std::chrono::seconds turnCheck{5};
constexpr Spring resultSpring{.response = 0.3, .dampingFraction = 0.9, .blendDuration = 0.0};

/// One run of analysis as its roll and its starter see it. Main thread.
class RollRun : public std::enable_shared_from_this<RollRun> {
public:
    RollRun(FilmRoll& roll, std::chrono::seconds patience, RunListener listener)
        : roll_(roll.weak_from_this()),
          main_(roll.services().main),
          patience_(patience),
          listener_(std::move(listener)) {
        roll.setAnalysisRunID(stamp_);
    }

    /// Shows the roll as being analysed, as long as photos are finished.
    void showWork() {
        if (const RollPointer roll = roll_.lock()) roll->setIsAnalyzing(true);
        photoFinished();
        watch();
    }

    void photoFinished() { lastFinished_ = main_.clock().now(); }

    void end(RunEnd end, const std::function<void(FilmRoll&, RunEnd)>& atEnd) {
        quiet_.cancel();
        if (const RollPointer roll = currentRoll()) {
            roll->setIsAnalyzing(false);
            if (atEnd) atEnd(*roll, end);
        }
        if (const auto heard = std::exchange(listener_.onEnd, nullptr)) heard(end);
        release();
    }

private:
    /// None when the roll has gone or a later run has begun.
    RollPointer currentRoll() const {
        RollPointer roll = roll_.lock();
        return roll && roll->analysisRunID() == stamp_ ? roll : nullptr;
    }

    /// One timer for the whole run, which looks at how long the latest photo is ago.
    void watch() {
        std::chrono::nanoseconds delay = lastFinished_ + patience_ - main_.clock().now();
        // A run that stands behind other work has its whole patience from the moment on that it does not.
        if (listener_.isWaitingItsTurn) delay = std::min<std::chrono::nanoseconds>(delay, turnCheck);
        quiet_ = main_.postAfter(delay, [self = shared_from_this()] { self->look(); });
    }

    void look() {
        if (listener_.isWaitingItsTurn && listener_.isWaitingItsTurn()) photoFinished();
        if (main_.clock().now() < lastFinished_ + patience_) {
            watch();
            return;
        }
        if (const RollPointer roll = currentRoll()) {
            log::info("FilmRoll", "Analysis of {} did not finish in time", roll->name());
            roll->setIsAnalyzing(false);
        }
        release();
    }

    void release() {
        listener_.isWaitingItsTurn = nullptr;
        if (const auto action = std::exchange(listener_.onReleased, nullptr)) action();
    }

    const RunStamp stamp_ = RunStamp::random();
    const std::weak_ptr<FilmRoll> roll_;
    MainQueue& main_;
    const std::chrono::nanoseconds patience_;
    RunListener listener_;
    MonotonicTime lastFinished_;
    TimerHandle quiet_;
};

/// @param atEnd called with the roll at the end of the run, when no later one has begun; may be empty.
AnalysisCallbacks callbacksOf(FilmRoll& roll, const std::shared_ptr<RollRun>& run,
                              std::function<void(FilmRoll&, RunEnd)> atEnd) {
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
    callbacks.onPhotoFinished = [run] { run->photoFinished(); };
    callbacks.ending = RunEnding(roll.services().main, weak,
                                 [run, atEnd = std::move(atEnd)](RunEnd end) { run->end(end, atEnd); });
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

std::string countedPhotos(std::size_t count) { return countOf(static_cast<int>(count), "photo"); }

/// @param chosen photos that are there.
/// @param subject what the user is told of them.
bool reanalyze(FilmRoll& roll, const PhotoList& chosen, std::chrono::seconds timeout,
               const std::string& subject, RunListener listener) {
    for (const PhotoPointer& photo : chosen) clearAIDerivedData(*photo);
    const auto run = std::make_shared<RollRun>(roll, timeout, std::move(listener));
    run->showWork();
    roll.setStatusNotification(StatusNotification::reanalyzing("Re-analyzing " + subject + "..."));
    const auto tell = [subject](FilmRoll& living, RunEnd end) {
        if (end == RunEnd::completed) {
            living.setStatusNotification(StatusNotification::info("Re-analyzed " + subject));
        } else {
            living.setStatusNotification(StatusNotification::error("Could not re-analyze " + subject));
        }
    };
    roll.services().analysis.reanalyze(chosen, roll.photos(), roll.isCloudHosted(),
                                       callbacksOf(roll, run, tell));
    return true;
}

bool isAtRest(const FilmRoll& roll) { return !roll.isAnalyzing() && !roll.isDisconnected(); }

/// The routine behind smartReanalyze and reanalyzeAllPhotos.
template <class Choice>
bool reanalyzeChosen(FilmRoll& roll, const Choice& isChosen, RunListener listener) {
    PhotoList chosen;
    for (const PhotoPointer& photo : roll.photos()) {
        if (!photo->isMissing() && isChosen(*photo)) chosen.push_back(photo);
    }
    if (chosen.empty() || !isAtRest(roll)) return false;
    roll.resetCloudAvailability();
    return reanalyze(roll, chosen, analysisTimeout, countedPhotos(chosen.size()), std::move(listener));
}

}  // namespace

bool needsAnalysis(const PhotoItem& photo) { return !photo.isMissing() && !photo.labelsAnalyzed(); }

bool needsAnalysis(const FilmRoll& roll) {
    return !roll.isDisconnected() && std::ranges::any_of(roll.photos(), [](const PhotoPointer& photo) {
        return needsAnalysis(*photo);
    });
}

void startAnalysisPipeline(FilmRoll& roll, bool isBackground, RunListener listener) {
    const auto run = std::make_shared<RollRun>(roll, analysisTimeout, std::move(listener));
    AnalysisCallbacks callbacks = callbacksOf(roll, run, nullptr);
    if (roll.isDisconnected()) {
        callbacks.ending.tell(RunEnd::failed);
        return;
    }
    if (needsAnalysis(roll)) run->showWork();
    callbacks.onThumbnailsLoaded = [weak = roll.weak_from_this()] {
        if (const RollPointer living = weak.lock()) lookUpPlaceNames(living);
    };
    roll.services().analysis.analyzeRoll(roll.photos(), roll.sourceFolder(), roll.id(), isBackground,
                                         std::move(callbacks));
}

void cancelAnalysis(FilmRoll& roll) {
    const RunStamp nobodysRun = RunStamp::random();
    for (const PhotoPointer& photo : roll.photos()) photo->setAnalysisGeneration(nobodysRun);
    roll.setAnalysisRunID(RunStamp::random());
    roll.setIsAnalyzing(false);
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

bool smartReanalyze(FilmRoll& roll, RunListener listener) {
    const auto isBehind = [](const PhotoItem& photo) {
        return !photo.labelsAnalyzed() || photo.loadState() == PhotoItem::LoadState::failed;
    };
    return reanalyzeChosen(roll, isBehind, std::move(listener));
}

bool reanalyzeAllPhotos(FilmRoll& roll, RunListener listener) {
    return reanalyzeChosen(
        roll, [](const PhotoItem&) { return true; }, std::move(listener));
}

bool smartReanalyzeSinglePhoto(FilmRoll& roll, const PhotoPointer& photo, RunListener listener) {
    if (photo->isMissing() || !isAtRest(roll)) return false;
    return reanalyze(roll, {photo}, singlePhotoTimeout, photo->filename(), std::move(listener));
}

}  // namespace kelvaris

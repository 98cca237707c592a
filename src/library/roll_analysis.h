#pragma once

#include <chrono>
#include <functional>

#include "base/run_end.h"
#include "library/film_roll.h"
#include "vocabulary/analysis_result.h"

namespace kelvaris {

/// When no photo was finished for this long, a roll is no longer shown as being analysed. Its run goes on,
/// and what comes late is taken.
inline constexpr std::chrono::seconds analysisTimeout{60};
inline constexpr std::chrono::seconds singlePhotoTimeout{30};

/// What whoever starts a run hears of it. Main thread; each may be empty.
struct RunListener {
    /// How the run ended; exactly once, however late.
    std::function<void(RunEnd)> onEnd;
    /// Once: nobody needs to wait for the run any more, because it ended or because nothing of it was
    /// finished for the time-out.
    std::function<void()> onReleased;
    /// Asked before a run counts as stuck: whether it only stands behind other work.
    std::function<bool()> isWaitingItsTurn;
};

/// Whether a run over the roll would have this photo to analyse: its file is there, and it lacks a pass.
bool needsAnalysis(const PhotoItem& photo);
/// Whether a run over the roll would find work: its folder is there, with a photo that needs it.
bool needsAnalysis(const FilmRoll& roll);

/// Starts a run over all photos: thumbnails of all, analysis of those that need it. A later run takes
/// its place, and the older one's end then leaves the roll alone. A roll that is away is not touched, and
/// its run has failed. Main thread.
void startAnalysisPipeline(FilmRoll& roll, bool isBackground, RunListener listener = {});

/// Calls off whatever analyses the roll: it is not shown as being analysed any more, and results that are
/// under way are dropped when they arrive. The runs tell their ends themselves, as cancelled. Main thread.
void cancelAnalysis(FilmRoll& roll);

/// Takes a result into a photo: never against the user's own rotation, date or labels.
void applyAnalysisResult(FilmRoll& roll, const AnalysisResult& result, PhotoItem& photo,
                         bool autoRotateEnabled);

/// A read that worked proves the cloud folder available; one that failed only makes an unknown one
/// unavailable.
void recordCloudReadOutcome(FilmRoll& roll, bool success);

/// Makes the photo as if it had never been analysed; what the user did to it stays.
void clearAIDerivedData(PhotoItem& photo);

/// Analyses again the photos that lack a complete pass or could not be read, but for missing ones.
/// @return false, with nothing done, for a roll that is away, is being analysed or has no such photo;
/// the listener then hears nothing.
bool smartReanalyze(FilmRoll& roll, RunListener listener = {});

/// Analyses every photo again whose file is there.
/// @return false, with nothing done, for a roll that is away, is being analysed or has no such photo.
bool reanalyzeAllPhotos(FilmRoll& roll, RunListener listener = {});

/// A second look at one photo.
/// @return false, with nothing done, for a roll that is away or being analysed, and for a missing photo.
bool smartReanalyzeSinglePhoto(FilmRoll& roll, const PhotoPointer& photo, RunListener listener = {});

}  // namespace kelvaris

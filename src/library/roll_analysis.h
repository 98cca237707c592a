#pragma once

#include <chrono>
#include <functional>

#include "library/film_roll.h"
#include "vocabulary/analysis_result.h"

namespace kelvaris {

/// After this long a roll is no longer shown as being analysed, even if a worker is stuck.
inline constexpr std::chrono::seconds analysisTimeout{60};
inline constexpr std::chrono::seconds singlePhotoTimeout{30};

/// Starts a run over all photos: thumbnails of all, analysis of those that lack it. A later run takes
/// its place, and the older one's end is then ignored. Main thread.
/// @param onComplete called once, at the end or at the time-out, whichever comes first; may be empty.
void startAnalysisPipeline(FilmRoll& roll, bool isBackground, std::function<void()> onComplete);

/// Takes a result into a photo: never against the user's own rotation, date or labels.
void applyAnalysisResult(FilmRoll& roll, const AnalysisResult& result, PhotoItem& photo,
                         bool autoRotateEnabled);

/// A read that worked proves the cloud folder available; one that failed only makes an unknown one
/// unavailable.
void recordCloudReadOutcome(FilmRoll& roll, bool success);

/// Makes the photo as if it had never been analysed; what the user did to it stays.
void clearAIDerivedData(PhotoItem& photo);

/// Analyses again the photos that lack a complete pass or could not be read.
/// @return false, with nothing done, for a roll that is being analysed or has no such photo;
/// onComplete is then not called.
bool smartReanalyze(FilmRoll& roll, std::function<void()> onComplete);

/// Analyses every photo again.
/// @return false, with nothing done, for a roll that is being analysed or has no photos.
bool reanalyzeAllPhotos(FilmRoll& roll, std::function<void()> onComplete);

/// A second look at one photo.
/// @return false, with nothing done, for a roll that is being analysed.
bool smartReanalyzeSinglePhoto(FilmRoll& roll, const PhotoPointer& photo, std::function<void()> onComplete);

}  // namespace kelvaris

#pragma once

#include <algorithm>
#include <atomic>
#include <map>
#include <set>

#include "analysis/analysis_orchestrator.h"

namespace kelvaris {

/// One run over photos of a roll. Main thread.
struct AnalysisOrchestrator::Run {
    /// Photos whose bitmaps are waiting for their analysis, or on the way to it, at most. A roll of more
    /// is analysed in parts, so that memory does not grow with its length.
    static constexpr std::size_t window = 64;

    const RunStamp generation = RunStamp::random();
    PhotoList photos;           ///< whose files are there
    PhotoList roll;             ///< these and the roll's others
    std::set<PhotoID> pending;  ///< those to be analysed
    std::optional<Path> cacheDirectory;
    bool isCloudHosted = false;
    bool readsDates = false;
    OperationPriority priority = OperationPriority::normal;
    int pixelSize = analysisPixelSize;
    AnalysisCallbacks callbacks;

    std::size_t requested = 0;    ///< thumbnails asked for, in order
    std::size_t loaded = 0;       ///< thumbnails that are done with
    std::size_t outstanding = 0;  ///< pending photos between the asking and the end of their analysis
    PhotoList held;               ///< pending photos that are loaded and wait for the others
    std::size_t settled = 0;      ///< pending photos that are done with
    std::size_t lost = 0;         ///< of these, those that a later run has, or whose roll has gone
    std::size_t understood = 0;   ///< of these, those that were read and analysed
    bool hasLoaded = false;       ///< every thumbnail is done with
    bool hasSettled = false;      ///< every pending photo is done with
    std::atomic<bool> isCalledOff = false;  ///< for workers; set when a photo is found to be lost

    struct CountedPeople {
        Path sourceURL;
        int people = 0;
    };
    std::map<PhotoID, CountedPeople> peopleCounts;  ///< by a pass that saw the photo in the recount's size

    /// Whether what is found of the photo may still be written.
    bool owns(const PhotoItem& photo) const {
        return photo.analysisGeneration() == generation && !callbacks.ending.isSubjectGone();
    }
    bool isSuperseded() const {
        return std::ranges::any_of(photos, [this](const PhotoPointer& photo) { return !owns(*photo); });
    }
    RunEnd end() const {
        if (isSuperseded()) return RunEnd::cancelled;
        return understood == 0 ? RunEnd::failed : RunEnd::completed;
    }
    void photoFinished() const {
        if (callbacks.onPhotoFinished) callbacks.onPhotoFinished();
    }
};

/// One try at one photo: what the photo was when it began.
struct AnalysisOrchestrator::Attempt {
    PhotoPointer photo;
    Path sourceURL;
    RotationAngle rotation = RotationAngle::none;
    int rotationRevision = 0;
    bool autoRotateOnOpen = false;
    bool retryOrientationFailure = false;
};

}  // namespace kelvaris

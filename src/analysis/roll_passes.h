#pragma once

#include <functional>
#include <mutex>
#include <unordered_set>
#include <vector>

#include "analysis/model_services.h"
#include "analysis/photo_analysis_service.h"
#include "analysis/snapshot_frames.h"

namespace kelvaris {

/// The passes over a whole roll that need installed models: aesthetic score, places, styles and faces. They
/// go over the photos together, one photo after the other, so that each is decoded once for all of them.
class RollPasses {
public:
    /// @param post runs a task on the main thread, if anybody still waits for it.
    RollPasses(ModelServices services, const ImageLoading& loading, const PhotoAnalysisService& analysis,
               std::function<void(std::function<void()>)> post)
        : services_(services), loading_(loading), analysis_(analysis), post_(std::move(post)) {}

    struct Request {
        AnalysisSwitches switches;
        /// Whether the passes end before the next photo; asked on the worker.
        std::function<bool()> isCancelled;
        /// People of a photo that was looked at in the size of the recount; on the main thread.
        std::function<void(const PhotoSnapshot&, int)> onPeopleCounted;
        /// After each photo that was looked at; on the main thread. May be empty.
        std::function<void()> onPhotoFinished;
    };

    /// Runs what is ready over the eligible snapshots, in order. On a worker, which it blocks. What is found
    /// reaches the photos on the main thread, if their snapshots are still current.
    void run(const std::vector<PhotoSnapshot>& snapshots, const Request& request);

private:
    /// The passes that are on and whose models loaded, with what each has done.
    struct Passes;

    Passes readyPasses(const AnalysisSwitches& switches);
    void score(const PhotoSnapshot& snapshot, SnapshotFrames& frames, Passes& passes);
    void findPlaces(const PhotoSnapshot& snapshot, SnapshotFrames& frames, Passes& passes);
    void findStyles(const PhotoSnapshot& snapshot, SnapshotFrames& frames, Passes& passes);
    void findFaces(const PhotoSnapshot& snapshot, SnapshotFrames& frames, const Request& request,
                   Passes& passes);
    void write(const PhotoSnapshot& snapshot, std::function<void(PhotoItem&)> change);
    bool takeFaces(PhotoID id);
    void releaseFaces(PhotoID id);

    const ModelServices services_;
    const ImageLoading& loading_;
    const PhotoAnalysisService& analysis_;
    const std::function<void(std::function<void()>)> post_;
    std::mutex faceLock_;
    std::unordered_set<PhotoID> faceInFlightIDs_;
};

/// The styles of a photo: their labels, the nearest first, and their tags beside its others. Main thread.
void applyStyles(const std::vector<StyleMatch>& styles, PhotoItem& photo);
/// The faces of a photo, with the stamp that tells how they were looked for. Main thread.
void applyFaces(std::vector<FaceRegion> regions, PhotoItem& photo);

}  // namespace kelvaris

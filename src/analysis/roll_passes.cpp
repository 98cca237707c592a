#include "analysis/roll_passes.h"

#include <algorithm>

#include "analysis/face_vectors.h"
#include "analysis/place_labels.h"
#include "analysis/prefixed_tags.h"
#include "base/log.h"

namespace kelvaris {
namespace {

constexpr std::string_view category = "Analysis";

bool needsFaces(const PhotoSnapshot& snapshot) {
    return !snapshot.faceRegions || needsEmbeddings(*snapshot.faceRegions);
}

}  // namespace

struct RollPasses::Passes {
    struct Pass {
        bool isReady = false;
        int done = 0;
    };
    Pass scores, places, styles, faces;

    bool any() const { return scores.isReady || places.isReady || styles.isReady || faces.isReady; }
};

RollPasses::Passes RollPasses::readyPasses(const AnalysisSwitches& switches) {
    const auto when = [](bool isReady) { return Passes::Pass{isReady, 0}; };
    return {
        .scores =
            when(switches.gemSpotterEnabled && services_.nima.isEnabled() && services_.nima.loadIfNeeded()),
        .places = when(services_.places.isEnabled() && services_.places.loadIfNeeded()),
        .styles = when(switches.deepAnalysisEnabled && services_.clip.isEnabled() && services_.clip.load()),
        .faces = when(switches.deepAnalysisEnabled && services_.faces.isEnabled() && services_.faces.load())};
}

void RollPasses::run(const std::vector<PhotoSnapshot>& snapshots, const Request& request) {
    Passes passes = readyPasses(request.switches);
    if (!passes.any()) return;
    for (const PhotoSnapshot& snapshot : snapshots) {
        if (request.isCancelled()) return;
        if (!snapshot.eligible) continue;
        SnapshotFrames frames(loading_, snapshot);
        if (passes.scores.isReady) score(snapshot, frames, passes);
        if (passes.places.isReady) findPlaces(snapshot, frames, passes);
        if (passes.styles.isReady) findStyles(snapshot, frames, passes);
        if (passes.faces.isReady) findFaces(snapshot, frames, request, passes);
        if (request.onPhotoFinished) post_(request.onPhotoFinished);
    }
    if (passes.scores.isReady) {
        log::info(category, "NIMA scoring complete: {} photos scored", passes.scores.done);
    }
    if (passes.places.isReady) {
        log::info(category, "Places365 classification complete: {} photos classified", passes.places.done);
    }
    if (passes.styles.isReady) {
        log::info(category, "Deep analysis complete: {} photos with CLIP labels", passes.styles.done);
    }
    if (passes.faces.isReady) {
        log::info(category, "Face embedding generation complete: {} photos with faces (eager)",
                  passes.faces.done);
    }
}

void RollPasses::score(const PhotoSnapshot& snapshot, SnapshotFrames& frames, Passes& passes) {
    if (!frames.whole()) return;
    const auto value = services_.nima.predictScore(frames.whole());
    if (!value) return;
    ++passes.scores.done;
    write(snapshot, [value](PhotoItem& photo) { photo.setNimaScore(value); });
}

void RollPasses::findPlaces(const PhotoSnapshot& snapshot, SnapshotFrames& frames, Passes& passes) {
    if (!frames.whole()) return;
    const auto categories = services_.places.classifyScene(frames.whole());
    if (!categories) return;
    ++passes.places.done;
    write(snapshot, [categories](PhotoItem& photo) { applyPlaceCategories(*categories, photo); });
}

void RollPasses::findStyles(const PhotoSnapshot& snapshot, SnapshotFrames& frames, Passes& passes) {
    if (!frames.whole()) return;
    auto embedding = services_.clip.imageEmbedding(frames.whole());
    if (!embedding) {
        log::error(category, "CLIP deep analysis failed for {}: {}", snapshot.filename, embedding.error());
        return;
    }
    if (!*embedding) return;
    ++passes.styles.done;
    std::vector<StyleMatch> styles = services_.clip.classifyStyles(**embedding);
    write(snapshot, [vector = std::move(**embedding), styles = std::move(styles)](PhotoItem& photo) {
        photo.setClipEmbedding(vector);
        applyStyles(styles, photo);
        photo.setOrientationCacheVersion(PhotoItem::currentOrientationCacheVersion);
    });
}

void RollPasses::findFaces(const PhotoSnapshot& snapshot, SnapshotFrames& frames, const Request& request,
                           Passes& passes) {
    if (!needsFaces(snapshot) || !takeFaces(snapshot.id)) return;
    std::optional<std::vector<FaceRegion>> regions;
    if (frames.large()) regions = services_.faces.detectAndEmbed(frames.large());
    if (regions && !regions->empty()) ++passes.faces.done;
    if (regions && request.switches.faceFinderEnabled && request.onPeopleCounted) {
        const int people = analysis_.countPeople(frames.large(), static_cast<int>(regions->size()));
        post_([heard = request.onPeopleCounted, snapshot, people] { heard(snapshot, people); });
    }
    post_([this, snapshot, regions = std::move(regions)] {
        releaseFaces(snapshot.id);
        const PhotoPointer photo = snapshot.current();
        if (photo && regions) applyFaces(*regions, *photo);
    });
}

void RollPasses::write(const PhotoSnapshot& snapshot, std::function<void(PhotoItem&)> change) {
    post_([snapshot, change = std::move(change)] {
        if (const PhotoPointer photo = snapshot.current()) change(*photo);
    });
}

bool RollPasses::takeFaces(PhotoID id) {
    const std::scoped_lock lock(faceLock_);
    return faceInFlightIDs_.insert(id).second;
}

void RollPasses::releaseFaces(PhotoID id) {
    const std::scoped_lock lock(faceLock_);
    faceInFlightIDs_.erase(id);
}

void applyStyles(const std::vector<StyleMatch>& styles, PhotoItem& photo) {
    std::vector<std::string> labels;
    TagConfidences confidences;
    for (const StyleMatch& style : styles) {
        labels.push_back(style.label);
        confidences[style.label] = style.score;
    }
    photo.setClipLabels(std::move(labels));
    photo.setVisionTags(withTags(photo.visionTags(), styleTagPrefix, confidences));
}

void applyFaces(std::vector<FaceRegion> regions, PhotoItem& photo) {
    photo.setFaceRegions(std::move(regions));
    photo.setFaceAnalysisStamp(currentFaceAnalysisStamp);
    photo.setOrientationCacheVersion(PhotoItem::currentOrientationCacheVersion);
}

}  // namespace kelvaris

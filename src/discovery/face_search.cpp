#include "discovery/face_search.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "analysis/face_vectors.h"
#include "base/log.h"
#include "discovery/roll_walk.h"

namespace kelvaris {
std::string FaceSearchState::statusText() const {
    if (isSearching) return "Looking for this face";
    return matches.empty() ? "No similar faces found across your rolls." : "";
}

std::string FaceSearchState::failureText() const {
    if (progress.failed == 0) return {};
    return fmt::format("{} {} couldn't be analyzed. You can retry the search.", progress.failed,
                       progress.failed == 1 ? "photo" : "photos");
}

std::optional<FaceRegion> faceAtPoint(ImagePoint point, std::span<const FaceRegion> regions) {
    for (const FaceRegion& region : regions) {
        const NormalizedRect& box = region.boundingBox;
        const double radius = 1.3 * std::max(box.width, box.height) / 2.0;
        const double distance =
            std::hypot(point.x - (box.x + box.width / 2.0), point.y - (box.y + box.height / 2.0));
        if (distance <= radius) return region;
    }
    return std::nullopt;
}

FaceSearch::FaceSearch(DiscoveryLibrary& library, FaceFinder& finder, OperationQueue& queue, MainQueue& main)
    : library_(library), finder_(finder), queue_(queue), main_(main) {}

FaceSearch::~FaceSearch() {
    supersedePreparation();
    cancelSearch();
}

void FaceSearch::supersedePreparation() {
    facePreparationID_.reset();
    if (preparationCancellation_) preparationCancellation_->cancel();
    preparationCancellation_ = std::make_shared<AnalysisCancellation>();
}

void FaceSearch::cancelSearch() {
    if (faceSearchCancellation_) faceSearchCancellation_->cancel();
}

void FaceSearch::setMessage(std::optional<std::string> message) {
    assign(FaceSearchField::faceSearchMessage, message_, std::move(message));
}

void FaceSearch::setPick(std::optional<PendingFacePick> pick) {
    if (!pick && !pick_) return;
    pick_ = std::move(pick);
    notify(FaceSearchField::pendingFacePick);
}

void FaceSearch::findSimilarFaces(const PhotoPointer& photo, std::optional<ImagePoint> cursorImagePoint) {
    supersedePreparation();
    facePreparationID_ = RunStamp::random();
    setPick(std::nullopt);
    if (!finder_.isEnabled()) {
        setMessage(std::string(modelMissingText));
        return;
    }
    const FaceRollRef::FacePhotoRef reference{PhotoSnapshot::of(photo)};
    const bool isCurrentAnalysis = reference.hasCurrentAnalysis();
    setMessage(isCurrentAnalysis ? std::nullopt : std::optional(std::string(findingFacesText)));
    queue_.add([this, reference, isCurrentAnalysis, cursorImagePoint, preparationID = facePreparationID_,
                cancellation = preparationCancellation_, &finder = finder_, &main = main_,
                alive = lifetime_.weak()] {
        if (cancellation->isCancelled()) return;
        const bool isLoaded = finder.load();
        std::optional<std::vector<FaceRegion>> found;
        if (isLoaded && !isCurrentAnalysis) {
            found = finder.detectAndEmbed(reference.snapshot.sourceURL, currentFaceAnalysisStamp.maxPixelSize,
                                          reference.snapshot.rotation);
        }
        main.post([this, reference, isLoaded, isCurrentAnalysis, found = std::move(found), cursorImagePoint,
                   preparationID, alive] {
            if (!alive.lock() || preparationID != facePreparationID_) return;
            const PhotoPointer live = reference.snapshot.photo.lock();
            setMessage(std::nullopt);
            if (!live) return;
            if (!isLoaded) {
                setMessage(std::string(modelMissingText));
                return;
            }
            if (found) {
                if (const RollPointer roll = library_.rollOf(live->id())) {
                    saveFaceAnalysis(roll->id(), reference, *found);
                }
            }
            const PhotoItem::FaceRegions stored = reference.snapshot.faceRegions;
            regionsFound(live, cursorImagePoint,
                         isCurrentAnalysis ? *stored : found.value_or(std::vector<FaceRegion>()));
        });
    });
}

void FaceSearch::regionsFound(const PhotoPointer& photo, std::optional<ImagePoint> point,
                              const std::vector<FaceRegion>& regions) {
    if (regions.empty()) {
        setMessage(std::string(noFacesText));
        return;
    }
    std::vector<FaceRegion> usable;
    std::copy_if(regions.begin(), regions.end(), std::back_inserter(usable), hasUsableEmbedding);
    if (usable.empty()) {
        setMessage(std::string(noneComparableText));
        return;
    }
    if (const auto face = point ? faceAtPoint(*point, regions) : std::nullopt) {
        findSimilarFaces(photo, *face);
    } else if (usable.size() == 1) {
        findSimilarFaces(photo, usable.front());
    } else {
        setPick(PendingFacePick{photo, regions});
    }
}

void FaceSearch::findSimilarFaces(const PhotoPointer& photo, const FaceRegion& face) {
    supersedePreparation();
    setPick(std::nullopt);
    if (!finder_.isEnabled()) {
        setMessage(std::string(modelMissingText));
        return;
    }
    if (!hasUsableEmbedding(face)) {
        setMessage(std::string(tooSmallText));
        return;
    }
    setMessage(std::nullopt);
    cancelSearch();
    faceSearchCancellation_ = std::make_shared<AnalysisCancellation>();
    const RollPointer active = library_.activeRoll();
    result_ = FaceSearchState{.searchID = RunStamp::random(),
                              .sourcePhoto = photo,
                              .sourceFace = face,
                              .originalRollID = active ? std::optional(active->id()) : std::nullopt,
                              .isSearching = true};
    notify(FaceSearchField::faceSearchResult);
    const auto rolls = std::make_shared<std::vector<FaceRollRef>>();
    const RunStamp searchID = result_->searchID;
    walkRolls(
        main_, library_.rolls(),
        [this, rolls, searchID, alive = lifetime_.weak()](const RollPointer& roll) {
            if (!alive.lock() || !isCurrent(searchID)) return false;
            rolls->push_back(FaceRollRef::of(*roll));
            return true;
        },
        [this, rolls, searchID, source = photo->id(), embedding = face.embedding, alive = lifetime_.weak()] {
            if (alive.lock() && isCurrent(searchID)) run(searchID, source, embedding, rolls);
        });
}

void FaceSearch::run(RunStamp searchID, PhotoID source, std::vector<float> embedding, FaceRolls rolls) {
    const auto whenCurrent = [this, searchID, alive = lifetime_.weak()](auto action) {
        return [this, searchID, alive, action](auto&&... arguments) {
            if (alive.lock() && isCurrent(searchID)) action(std::forward<decltype(arguments)>(arguments)...);
        };
    };
    FaceSimilarityService::Callbacks callbacks{
        .onProgressUpdate = whenCurrent([this](std::vector<FaceMatch> matches, DiscoveryProgress progress) {
            update(std::move(matches), progress, true);
        }),
        .onFresh = whenCurrent([this](const std::vector<FaceSimilarityService::FreshAnalysis>& batch) {
            for (const auto& fresh : batch) saveFaceAnalysis(fresh.rollID, fresh.reference, fresh.regions);
        }),
        .onComplete = whenCurrent([this](std::vector<FaceMatch> matches, DiscoveryProgress progress) {
            update(std::move(matches), progress, false);
        }),
    };
    queue_.add([service = FaceSimilarityService(
                    [&finder = finder_](const Path& file, RotationAngle rotation) {
                        return finder.detectAndEmbed(file, currentFaceAnalysisStamp.maxPixelSize, rotation);
                    },
                    main_),
                embedding = std::move(embedding), source, rolls = std::move(rolls),
                callbacks = std::move(callbacks), cancellation = faceSearchCancellation_, &finder = finder_,
                onMissingModel = whenCurrent([this] { modelMissing(); }), &main = main_] {
        if (!finder.load()) {
            main.post(onMissingModel);
            return;
        }
        service.findSimilarFaces(embedding, source, rolls, FaceSimilarityService::threshold, callbacks,
                                 *cancellation);
    });
}

void FaceSearch::modelMissing() {
    result_.reset();
    notify(FaceSearchField::faceSearchResult);
    setMessage(std::string(modelMissingText));
}

void FaceSearch::saveFaceAnalysis(RollID rollID, const FaceRollRef::FacePhotoRef& reference,
                                  const PhotoItem::FaceRegions& regions) {
    const RollPointer roll = library_.roll(rollID);
    const PhotoPointer photo = reference.current();
    if (!roll || !photo || photoOf(*roll, photo->id()) != photo) return;
    photo->setFaceRegions(regions);
    photo->setFaceAnalysisStamp(currentFaceAnalysisStamp);
    library_.scheduleSave(*roll);
}

void FaceSearch::update(std::vector<FaceMatch> matches, DiscoveryProgress progress, bool isSearching) {
    result_->matches = std::move(matches);
    result_->progress = progress;
    result_->isSearching = isSearching;
    notify(FaceSearchField::faceSearchResult);
}

void FaceSearch::selectFaceMatch(const FaceMatch& match) {
    if (!result_) return;
    result_->selectedMatchID = match.photoID;
    notify(FaceSearchField::faceSearchResult);
    library_.navigate(match.rollID, match.photoID);
}

void FaceSearch::dismissFaceSearch() {
    supersedePreparation();
    cancelSearch();
    setMessage(std::nullopt);
    setPick(std::nullopt);
    if (!result_) return;
    const auto original = std::exchange(result_, std::nullopt)->originalRollID;
    notify(FaceSearchField::faceSearchResult);
    if (original && library_.roll(*original)) library_.navigate(*original, std::nullopt);
}

}  // namespace kelvaris

#include "discovery/scene_search.h"

#include <utility>

#include "base/log.h"
#include "discovery/roll_walk.h"

namespace kelvaris {

std::string SceneSearchState::statusText() const {
    if (isSearching) return "Looking for similar scenes";
    return matches.empty() ? "No similar scenes found across your rolls." : "";
}

std::string SceneSearchState::failureText() const {
    if (progress.failed == 0) return {};
    return fmt::format("{} couldn't be analyzed. Search again to retry.", progress.failed);
}

SceneSearch::SceneSearch(DiscoveryLibrary& library, ImageEmbedder& embedder, OperationQueue& queue,
                         MainQueue& main)
    : library_(library), embedder_(embedder), queue_(queue), main_(main) {}

SceneSearch::~SceneSearch() {
    supersedePreparation();
    cancelSearch();
}

void SceneSearch::supersedePreparation() {
    scenePreparationID_ = RunStamp::random();
    if (preparationCancellation_) preparationCancellation_->cancel();
    preparationCancellation_ = std::make_shared<AnalysisCancellation>();
}

void SceneSearch::cancelSearch() {
    if (sceneSearchCancellation_) sceneSearchCancellation_->cancel();
}

void SceneSearch::findSimilarScenes(const PhotoPointer& photo, FailureReport onFailed) {
    supersedePreparation();
    if (!embedder_.isEnabled()) {
        onFailed(modelMissingText);
        return;
    }
    queue_.add([this, preparationID = scenePreparationID_, snapshot = PhotoSnapshot::of(photo),
                hasEmbedding = photo->clipEmbedding().has_value(), onFailed = std::move(onFailed),
                cancellation = preparationCancellation_, &embedder = embedder_, &main = main_,
                alive = lifetime_.weak()] {
        if (cancellation->isCancelled()) return;
        const bool isLoaded = embedder.load();
        std::optional<std::vector<float>> embedding;
        if (isLoaded && !hasEmbedding) {
            auto result = embedder.imageEmbedding(snapshot.sourceURL, snapshot.rotation);
            if (result) {
                embedding = std::move(*result);
            } else {
                log::error("Scenes", "CLIP embedding failed for {}: {}", snapshot.filename, result.error());
            }
        }
        main.post(
            [this, preparationID, snapshot, isLoaded, embedding = std::move(embedding), onFailed, alive] {
                if (!alive.lock() || preparationID != scenePreparationID_) return;
                prepared(snapshot, isLoaded, embedding, onFailed);
            });
    });
}

void SceneSearch::prepared(const PhotoSnapshot& snapshot, bool isLoaded,
                           std::optional<std::vector<float>> embedding, const FailureReport& onFailed) {
    if (!isLoaded) {
        onFailed(modelMissingText);
        return;
    }
    const PhotoPointer photo = snapshot.photo.lock();
    if (!photo) return;
    if (embedding && snapshot.isCurrent()) {
        photo->setClipEmbedding(*embedding);
        if (const RollPointer roll = library_.rollOf(photo->id())) library_.scheduleSave(*roll);
    }
    const PhotoItem::Embedding vector =
        photo->clipEmbedding() ? photo->clipEmbedding() : PhotoItem::Embedding(std::move(embedding));
    if (!vector) {
        onFailed(embeddingFailedText);
        return;
    }
    const RollPointer roll = library_.activeRoll();
    startSceneSearch(photo, vector, roll ? std::optional(roll->id()) : std::nullopt);
}

void SceneSearch::startSceneSearch(const PhotoPointer& photo, const PhotoItem::Embedding& embedding,
                                   std::optional<RollID> currentRollID) {
    cancelSearch();
    sceneSearchCancellation_ = std::make_shared<AnalysisCancellation>();
    result_ = SceneSearchState{.searchID = RunStamp::random(),
                               .sourcePhoto = photo,
                               .originalRollID = currentRollID,
                               .isSearching = true};
    notify(SceneSearchField::sceneSearchResult);
    const auto rolls = std::make_shared<std::vector<SceneRollRef>>();
    const RunStamp searchID = result_->searchID;
    walkRolls(
        main_, library_.rolls(),
        [this, rolls, searchID, alive = lifetime_.weak()](const RollPointer& roll) {
            if (!alive.lock() || !isCurrent(searchID)) return false;
            if (!roll->isDisconnected()) rolls->push_back(SceneRollRef::of(*roll));
            return true;
        },
        [this, rolls, searchID, source = photo->id(), embedding, alive = lifetime_.weak()] {
            if (alive.lock() && isCurrent(searchID)) run(searchID, source, embedding, rolls);
        });
}

void SceneSearch::run(RunStamp searchID, PhotoID source, const PhotoItem::Embedding& embedding,
                      SceneRolls rolls) {
    const auto whenCurrent = [this, searchID, alive = lifetime_.weak()](auto action) {
        return [this, searchID, alive, action](auto&&... arguments) {
            if (alive.lock() && isCurrent(searchID)) action(std::forward<decltype(arguments)>(arguments)...);
        };
    };
    SceneSimilarityService::Callbacks callbacks{
        .onProgressUpdate = whenCurrent([this](std::vector<SceneMatch> matches, DiscoveryProgress progress) {
            update(std::move(matches), progress, true);
        }),
        .onFresh = whenCurrent(
            [this](const std::vector<SceneSimilarityService::FreshEmbedding>& batch) { storeFresh(batch); }),
        .onComplete = whenCurrent([this](std::vector<SceneMatch> matches, DiscoveryProgress progress) {
            update(std::move(matches), progress, false);
        }),
    };
    queue_.add([service = SceneSimilarityService(
                    [&embedder = embedder_](const Path& file, RotationAngle rotation) {
                        return embedder.imageEmbedding(file, rotation);
                    },
                    main_),
                embedding, source, rolls = std::move(rolls), callbacks = std::move(callbacks),
                cancellation = sceneSearchCancellation_] {
        service.findSimilarScenes(*embedding, source, rolls, SceneSimilarityService::threshold, callbacks,
                                  *cancellation);
    });
}

void SceneSearch::storeFresh(const std::vector<SceneSimilarityService::FreshEmbedding>& batch) {
    for (const auto& fresh : batch) {
        const PhotoPointer photo = fresh.snapshot.current();
        if (!photo) continue;
        photo->setClipEmbedding(fresh.embedding);
        if (const RollPointer roll = library_.roll(fresh.rollID)) library_.scheduleSave(*roll);
    }
}

void SceneSearch::update(std::vector<SceneMatch> matches, DiscoveryProgress progress, bool isSearching) {
    result_->matches = std::move(matches);
    result_->progress = progress;
    result_->isSearching = isSearching;
    notify(SceneSearchField::sceneSearchResult);
}

void SceneSearch::selectSceneMatch(const SceneMatch& match) {
    if (!result_) return;
    result_->selectedMatchID = match.photoID;
    notify(SceneSearchField::sceneSearchResult);
    library_.navigate(match.rollID, match.photoID);
}

void SceneSearch::dismissSceneSearch() {
    supersedePreparation();
    cancelSearch();
    if (!result_) return;
    const auto original = std::exchange(result_, std::nullopt)->originalRollID;
    notify(SceneSearchField::sceneSearchResult);
    if (original && library_.roll(*original)) library_.navigate(*original, std::nullopt);
}

}  // namespace kelvaris

#pragma once

#include <memory>

#include "analysis/clip_embedding_filler.h"
#include "application/app_view_model.h"
#include "discovery/face_groups.h"
#include "discovery/face_search.h"
#include "discovery/roll_list_search.h"
#include "discovery/scene_search.h"
#include "discovery/similar_photos.h"
#include "discovery/strip_search.h"

namespace kelvaris {

/// The models that the searches use; a missing one counts as not downloaded. All outlive the searches.
struct DiscoveryModels {
    TextEmbedder* text = nullptr;
    ImageEmbedder* images = nullptr;
    FaceFinder* faces = nullptr;
};

/// All searches over the library of the running system, on queues of their own. Main thread.
class Discovery : private DiscoveryLibrary {
public:
    /// @param words may be null. Everything handed in outlives the object.
    Discovery(AppViewModel& app, const Language& language, const WordSimilarity* words,
              const DiscoveryModels& models, OperationQueueFactory& queues, MainQueue& main);
    /// Running searches end at their next photo.
    ~Discovery() override;

    StripSearch& stripSearch() { return stripSearch_; }
    RollListSearch& rollListSearch() { return rollListSearch_; }
    SimilarPhotos& similarPhotos() { return similarPhotos_; }
    SceneSearch& sceneSearch() { return sceneSearch_; }
    FaceSearch& faceSearch() { return faceSearch_; }
    FaceGroups& faceGroups() { return faceGroups_; }
    /// The vectors that searches by words ask for.
    const ClipEmbeddingFiller& vectors() const { return filler_; }
    /// Where the searches by words run, one after the other.
    OperationQueue& queue() { return *queue_; }

private:
    std::vector<RollPointer> rolls() const override { return app_.rolls(); }
    RollPointer activeRoll() const override { return app_.activeRoll(); }
    void navigate(RollID roll, std::optional<PhotoID> photo) override;
    void scheduleSave(FilmRoll& roll) override;
    void loadThumbnails(const FilmRoll& roll, const PhotoList& photos) override;
    SearchEnvironment environment(const Language& language, const WordSimilarity* words, TextEmbedder* text,
                                  MainQueue& main);

    class MissingImageModel;
    class MissingFaceModel;

    AppViewModel& app_;
    std::unique_ptr<ImageEmbedder> missingImages_;
    std::unique_ptr<FaceFinder> missingFaces_;
    std::unique_ptr<OperationQueue> queue_;
    std::unique_ptr<OperationQueue> walkQueue_;
    std::unique_ptr<OperationQueue> vectorQueue_;
    ClipEmbeddingFiller filler_;
    StripSearch stripSearch_;
    RollListSearch rollListSearch_;
    SimilarPhotos similarPhotos_;
    SceneSearch sceneSearch_;
    FaceSearch faceSearch_;
    FaceGroups faceGroups_;
};

}  // namespace kelvaris

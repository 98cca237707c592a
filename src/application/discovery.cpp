#include "application/discovery.h"

#include "library/roll_selection.h"

namespace kelvaris {

/// Stands in for a model that is not there, so that the searches say so in their own words.
class Discovery::MissingImageModel final : public ImageEmbedder {
public:
    bool isEnabled() override { return false; }
    bool load() override { return false; }
    EmbeddingResult imageEmbedding(const Path&, RotationAngle) override {
        return std::optional<std::vector<float>>();
    }
};

class Discovery::MissingFaceModel final : public FaceFinder {
public:
    bool isEnabled() override { return false; }
    bool load() override { return false; }
    std::optional<std::vector<FaceRegion>> detectAndEmbed(const Path&, int, RotationAngle) override {
        return std::nullopt;
    }
};

namespace {

/// Work on pictures for searches, which a user waits for; deferred vectors go one after the other beside.
constexpr std::string_view searchQueueName = "com.kelvaris.discovery";
constexpr std::string_view vectorQueueName = "com.kelvaris.discovery.vectors";

}  // namespace

Discovery::Discovery(AppViewModel& app, const Language& language, const WordSimilarity* words,
                     const DiscoveryModels& models, OperationQueueFactory& queues, MainQueue& main)
    : app_(app),
      missingImages_(std::make_unique<MissingImageModel>()),
      missingFaces_(std::make_unique<MissingFaceModel>()),
      queue_(queues.makeQueue(std::string(searchQueueName), 1)),
      vectorQueue_(queues.makeQueue(std::string(vectorQueueName), 1)),
      filler_(models.images ? *models.images : *missingImages_, *vectorQueue_, main),
      stripSearch_({main, *queue_, language, words, models.text, &filler_}),
      rollListSearch_(*this, {main, *queue_, language, words, models.text, &filler_}),
      similarPhotos_(*this, *queue_, main),
      sceneSearch_(*this, models.images ? *models.images : *missingImages_, *queue_, main),
      faceSearch_(*this, models.faces ? *models.faces : *missingFaces_, *queue_, main),
      faceGroups_(*this, app.preferences(), &app.undoStack(), *queue_, main) {}

Discovery::~Discovery() = default;

void Discovery::navigate(RollID id, std::optional<PhotoID> photo) {
    const RollPointer roll = app_.roll(id);
    if (!roll) return;
    app_.navigateToRoll(roll);
    if (!photo) return;
    if (const PhotoPointer found = photoOf(*roll, *photo)) selectPhoto(*roll, found);
}

}  // namespace kelvaris

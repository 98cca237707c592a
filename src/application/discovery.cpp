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

/// Searches that end within a moment, one after the other.
constexpr std::string_view searchQueueName = "com.kelvaris.discovery";
/// Walks that may have to look at every picture of the library, and groupings. Beside them there must be
/// room for the preparation of the search that will replace them.
constexpr std::string_view walkQueueName = "com.kelvaris.discovery.walks";
constexpr int walkQueueWidth = 4;
/// Deferred vectors.
constexpr std::string_view vectorQueueName = "com.kelvaris.discovery.vectors";

}  // namespace

Discovery::Discovery(AppViewModel& app, const Language& language, const WordSimilarity* words,
                     const DiscoveryModels& models, OperationQueueFactory& queues, MainQueue& main)
    : app_(app),
      missingImages_(std::make_unique<MissingImageModel>()),
      missingFaces_(std::make_unique<MissingFaceModel>()),
      queue_(queues.makeQueue(std::string(searchQueueName), 1)),
      walkQueue_(queues.makeQueue(std::string(walkQueueName), walkQueueWidth)),
      vectorQueue_(queues.makeQueue(std::string(vectorQueueName), 1)),
      filler_(models.images ? *models.images : *missingImages_, *vectorQueue_, main),
      stripSearch_(environment(language, words, models.text, main)),
      rollListSearch_(*this, environment(language, words, models.text, main)),
      similarPhotos_(*this, *queue_, main),
      sceneSearch_(*this, models.images ? *models.images : *missingImages_, *walkQueue_, main),
      faceSearch_(*this, models.faces ? *models.faces : *missingFaces_, *walkQueue_, main),
      faceGroups_(*this, app.preferences(), &app.undoStack(), *walkQueue_, main) {}

Discovery::~Discovery() = default;

SearchEnvironment Discovery::environment(const Language& language, const WordSimilarity* words,
                                         TextEmbedder* text, MainQueue& main) {
    return {.main = main,
            .queue = *queue_,
            .language = language,
            .words = words,
            .textEmbedder = text,
            .filler = &filler_,
            .scheduleSave = [this](FilmRoll& roll) { scheduleSave(roll); }};
}

void Discovery::scheduleSave(FilmRoll& roll) {
    // Beside another program that writes, a search goes on without keeping what it makes.
    if (app_.vault().canWrite()) app_.scheduleSave(roll.shared_from_this());
}

void Discovery::loadThumbnails(const FilmRoll& roll, const PhotoList& photos) {
    if (app_.startMode() == StartMode::screen) app_.loadThumbnails(roll, photos);
}

void Discovery::navigate(RollID id, std::optional<PhotoID> photo) {
    const RollPointer roll = app_.roll(id);
    if (!roll) return;
    app_.navigateToRoll(roll);
    if (!photo) return;
    if (const PhotoPointer found = photoOf(*roll, *photo)) selectPhoto(*roll, found);
}

}  // namespace kelvaris

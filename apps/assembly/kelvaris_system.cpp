#include "assembly/kelvaris_system.h"

#include <array>
#include <atomic>
#include <cstdlib>

#include "advisor/foundation_models_reasoning_service.h"
#include "analysis/analysis_orchestrator.h"
#include "analysis/orientation_service.h"
#include "analysis/timestamp_detection_service.h"
#include "analysis/zero_shot_scenes.h"
#include "base/limited_waits.h"
#include "base/log.h"
#include "images/image_cache.h"
#include "library/animation.h"
#include "platform_linux/icu_characters.h"
#include "platform_linux/icu_language.h"
#include "platform_linux/json_defaults.h"
#include "platform_linux/libjpeg_writer.h"
#include "platform_linux/linux_files.h"
#include "platform_linux/linux_folder_access.h"
#include "platform_linux/linux_folder_search.h"
#include "platform_linux/linux_places.h"
#include "platform_linux/linux_vision.h"
#include "platform_linux/log_sink.h"
#include "platform_linux/loopback_language_model.h"
#include "platform_linux/native_path.h"
#include "platform_linux/onnx_inference.h"
#include "platform_linux/system_clock.h"
#include "platform_linux/vips_codec.h"

namespace kelvaris {

namespace {

/// Which models the user lets be used, for any thread.
class ModelSwitches {
public:
    explicit ModelSwitches(UserPreferences& preferences) : preferences_(preferences) {
        read();
        subscription_ = preferences.observe([this](PreferenceField field) {
            if (field == PreferenceField::model) read();
        });
    }

    bool isEnabled(ModelID id) const { return switches_[static_cast<std::size_t>(id)]; }

private:
    void read() {
        for (const auto& [id, word] : RawValues<ModelID>::rows) {
            switches_[static_cast<std::size_t>(id)] = preferences_.isModelEnabled(word);
        }
    }

    UserPreferences& preferences_;
    std::array<std::atomic<bool>, RawValues<ModelID>::rows.size()> switches_;
    Subscription subscription_;
};

/// Until places can be named on this machine, none is.
class SilentGeocoder final : public Geocoder {
public:
    explicit SilentGeocoder(MainQueue& main) : main_(main) {}
    void placeName(double, double, Completion completion) override {
        main_.post([completion = std::move(completion)] { completion(std::nullopt); });
    }

private:
    MainQueue& main_;
};

LogOptions logOptions(const Places& places) {
    LogOptions options;
    if (places.isLasting) options.folder = places.state;
    options.standardErrorLevel = log::Level::error;
    return options;
}

/// What the advice on gear needs, apart from the rest since most runs ask for none.
struct AdvisorParts {
    AdvisorParts(const Files& files, const Places& places, const Language& language, const Clock& clock,
                 OperationQueueFactory& queues, const UserPreferences& preferences, PreferencesStore& store,
                 MainQueue& main)
        : catalog(files, places.resources, language),
          model(LoopbackLanguageModel::make(
              {.baseURL = preferences.languageModelURL(), .modelName = preferences.languageModelName()})),
          prose(model.get()),
          queue(queues.makeQueue("com.kelvaris.advisor", 1)),
          service(catalog, language, clock, *queue, &prose),
          advice(service, store, main) {}
    ~AdvisorParts() { queue.reset(); }  // what still works on it uses the service

    CatalogService catalog;
    std::unique_ptr<LoopbackLanguageModel> model;
    FoundationModelsReasoningService prose;
    std::unique_ptr<OperationQueue> queue;
    GearRecommendationService service;
    GearAdvice advice;
};

/// The build's endpoint, or the one that the environment names (a server of the user's own).
ModelEndpoint modelEndpoint() {
    const char* override = std::getenv("KELVARIS_MODEL_ENDPOINT");
    if (override == nullptr || *override == '\0') return ModelEndpoint::standard();
    std::string base = override;
    while (base.ends_with('/')) base.pop_back();
    return ModelEndpoint{base};
}

/// A classification has no words for an error.
std::optional<std::vector<float>> orNothing(EmbeddingResult embedding) {
    if (!embedding) {
        log::error("Application", "CLIP does not see the scene: {}", embedding.error());
        return std::nullopt;
    }
    return std::move(*embedding);
}

CurlHttpOptions httpOptions() {
    CurlHttpOptions options;
    if (const char* certificates = std::getenv("KELVARIS_CERTIFICATES"))
        options.certificates = Path(pathTextFromNative(certificates));
    return options;
}

}  // namespace

Places systemPlaces(const std::optional<Path>& root) {
    PlacesOptions options;
    options.root = root;
    options.isDevelopment = isDevelopmentBuild();
    return linuxPlaces(options);
}

ModelParts::ModelParts(const Places& places, MainQueue& main, OperationQueueFactory& queues, Files& files,
                       const Clock& clock)
    : http(httpOptions()),
      endpoint(modelEndpoint()),
      registry(files, clock, modelsDirectory(places)),
      updates(main, http, clock, registry, endpoint),
      downloads({main, queues, files, http, compression, digests}, registry, updates, endpoint) {}

/// In the order of making.
struct KelvarisSystem::Parts {
    explicit Parts(const SystemOptions& options)
        : places(systemPlaces(options.root)),
          logSink(logOptions(places)),
          defaults(files, places.config / "defaults.json", options.access != VaultService::Access::readOnly),
          shell(main, ConsoleAnswers{{}, false, options.terminate}),
          vault(VaultPaths::under(places.data, places.caches / "thumbnails"),
                VaultMachine{files, folders, language, clock, main, queues, mirrorState}, options.access) {
        favorites.onSave = [this] { preferences.scheduleVaultSync(); };
        log::info("Application", "Storage: bundle={} vault={}", "com.kelvaris.app", places.data.string());
    }

    ~Parts() { vision->close(); }

    Places places;
    LogSink logSink;
    SystemClock clock;
    SystemMonotonicClock monotonic;
    MainQueue main{monotonic};
    LinuxFiles files;
    ThreadedOperationQueueFactory queues{&VipsImageCodec::endThread};
    LinuxFolderAccess folders{files};
    LinuxFolderSearch folderSearch{
        main, queues, [this] { return currentSearchPlaces(places.home); }, {}, true};
    JsonDefaults defaults;
    IcuLanguage language;
    ConsoleShell shell;
    SilentGeocoder geocoder{main};
    Animator animator;
    std::unique_ptr<VipsImageCodec> images = VipsImageCodec::make();
    LibjpegWriter jpegWriter;
    ImageCache imageCache;
    ExifService exif{*images, files, language, jpegWriter};
    MirrorState mirrorState;
    VaultService vault;
    UserPreferences preferences{defaults, vault, mirrorState, main};
    FavoritesStore favorites{vault, main};
    std::unique_ptr<OperationQueue> userQueue = queues.makeQueue("com.kelvaris.user", 2);
    ImageLoading imageLoading{*images};
    ThreadedLimitedWaits waits;
    OnnxInferenceRuntime inference{files};
    ModelSwitches modelSwitches{preferences};
    ModelTools modelTools{inference, files, waits, modelsDirectory(places),
                          [this](ModelID id) { return modelSwitches.isEnabled(id); }};
    OrientationService orientation{inference, files,
                                   modelTools.folder(ModelID::orientation) / "OrientationClassifier.mlmodelc",
                                   [this] { return modelSwitches.isEnabled(ModelID::orientation); }, waits};
    IcuCharacters characters;
    CLIPService clip{modelTools, imageLoading, language, characters, places.resources};
    std::shared_ptr<SceneVision> vision = std::make_shared<SceneVision>(
        std::make_shared<LinuxVision>(inference, modelsDirectory(places) / "vision"),
        [this](const Image& image) { return orNothing(clip.imageEmbedding(image)); },
        [this](std::string_view text) { return orNothing(clip.textEmbedding(text)); });
    NIMAService nima{modelTools};
    PlacesService placesModel{modelTools};
    FaceEmbeddingService faces{modelTools, imageLoading, vision};
    ModelServices modelServices{clip, nima, placesModel, faces};
    TimestampDetectionService timestamps{*vision, language, clock};
    PhotoAnalysisService analysis{
        vision, imageLoading, waits,
        [this](const Image& image, bool deep) { return orientation.assess(image, deep); },
        [this](const Image& image) { return timestamps.detectTimestamp(image); }};
    AnalysisOrchestrator pipeline{{.thumbnails = {main, files, *images, exif},
                                   .loading = imageLoading,
                                   .analysis = analysis,
                                   .preferences = preferences,
                                   .shell = shell,
                                   .animator = animator,
                                   .queues = queues,
                                   .thumbnailCacheBase = places.caches / "thumbnails",
                                   .home = places.home,
                                   .models = modelServices}};
    LibraryServices library{main,  *userQueue, files,    *images,     imageCache, language, clock,
                            shell, animator,   geocoder, preferences, exif,       pipeline, places.home};
    AppViewModel app{
        AppServices{library, defaults, folders, folderSearch, queues, favorites, preferences, vault, places}};
    DiscoveryRefresh discoveryRefresh{app, pipeline};
    std::unique_ptr<AdvisorParts> advisor;
    std::unique_ptr<ModelParts> models;

    AdvisorParts& advisorParts() {
        if (!advisor) {
            advisor = std::make_unique<AdvisorParts>(files, places, language, clock, queues, preferences,
                                                     vault, main);
            advisor->advice.readStored();
        }
        return *advisor;
    }
};

KelvarisSystem::KelvarisSystem(const SystemOptions& options) : parts_(std::make_unique<Parts>(options)) {}
KelvarisSystem::~KelvarisSystem() = default;

MainQueue& KelvarisSystem::main() { return parts_->main; }
AppViewModel& KelvarisSystem::app() { return parts_->app; }
VaultService& KelvarisSystem::vault() { return parts_->vault; }
MirrorState& KelvarisSystem::mirrorState() { return parts_->mirrorState; }
UserPreferences& KelvarisSystem::preferences() { return parts_->preferences; }
Files& KelvarisSystem::files() { return parts_->files; }
const Language& KelvarisSystem::language() { return parts_->language; }
const Places& KelvarisSystem::places() { return parts_->places; }
ConsoleShell& KelvarisSystem::shell() { return parts_->shell; }
ImageCodec& KelvarisSystem::images() { return *parts_->images; }
ModelParts& KelvarisSystem::models() {
    if (!parts_->models) {
        parts_->models = std::make_unique<ModelParts>(parts_->places, parts_->main, parts_->queues,
                                                      parts_->files, parts_->clock);
        parts_->models->registry.setResetHandler([parts = parts_.get()](ModelID id) {
            if (id == ModelID::orientation) parts->orientation.reload();
            parts->modelServices.reload(id);
            if (id == ModelID::clipVitB16) parts->vision->reset();
        });
    }
    return *parts_->models;
}
PhotoAnalysisService& KelvarisSystem::analysis() { return parts_->analysis; }
DiscoveryRefresh& KelvarisSystem::discoveryRefresh() { return parts_->discoveryRefresh; }
DiscoveryModels KelvarisSystem::discoveryModels() {
    return {.text = &parts_->clip, .images = &parts_->clip, .faces = &parts_->faces};
}
const CatalogService& KelvarisSystem::catalog() { return parts_->advisorParts().catalog; }
GearAdvice& KelvarisSystem::gearAdvice() { return parts_->advisorParts().advice; }

Path KelvarisSystem::absolutePath(const Path& path) const { return kelvaris::absolutePath(path); }

void KelvarisSystem::settle() { parts_->main.drain(); }

}  // namespace kelvaris

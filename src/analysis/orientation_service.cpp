#include "analysis/orientation_service.h"

#include <mutex>

#include "analysis/orientation_decide.h"
#include "base/log.h"
#include "images/image_loading.h"

namespace kelvaris {

namespace {

using Status = OrientationDecision::Status;
using Model = std::shared_ptr<const InferenceModel>;

constexpr std::string_view logCategory = "Orientation";
constexpr std::chrono::seconds inferenceLimit{10};

OrientationDecision predict(const InferenceModel& model, const Bitmap& bitmap) {
    const OrientationContract contract = OrientationContract::of(model.metadata());
    const auto failed = [&](std::string_view reason) {
        return undecidedOrientation(Status::failed, reason, contract.version);
    };
    if (contract.preprocessing != orientationPreprocessingVersion) {
        return failed(orientation_reason::unknownPreprocessingContract);
    }
    auto prepared = preprocessedForOrientation(bitmap);
    if (!prepared) return failed(orientation_reason::imagePreprocessingFailed);
    const std::vector<ModelInput> values = {{"image", std::make_shared<const Bitmap>(std::move(*prepared))}};
    const auto outputs = model.run(values);
    if (!outputs) {
        log::error(logCategory, "Orientation prediction failed: {}", outputs.error().message);
        return failed(orientation_reason::predictionFailed);
    }
    const auto scores = orientationScores(model, *outputs);
    if (scores.empty()) return failed(orientation_reason::missingClassifierScores);
    return decideOrientation(scores, contract.output, contract.version);
}

}  // namespace

/// Loads the model once. Shared with operations that were left behind.
struct OrientationService::Loader {
    Model load(const Path& folder) {
        const std::scoped_lock lock(mutex);
        if (loaded) return model;
        loaded = true;
        auto result = runtime.load(folder);
        if (result) {
            model = *result;
        } else {
            log::error(logCategory, "Orientation model load failed: {}", result.error().message);
        }
        return model;
    }

    InferenceRuntime& runtime;
    std::mutex mutex;
    bool loaded = false;
    Model model;
};

OrientationService::OrientationService(InferenceRuntime& runtime, const Files& files, Path modelFolder,
                                       std::function<bool()> isEnabled, LimitedWaits& waits)
    : files_(files),
      modelFolder_(std::move(modelFolder)),
      isEnabled_(std::move(isEnabled)),
      loader_(new Loader{.runtime = runtime}),
      gate_(waits) {}

OrientationDecision OrientationService::assess(const Image& image, bool deep) {
    if (!isEnabled_()) return undecidedOrientation(Status::skipped, orientation_reason::modelDisabled);
    if (!files_.exists(modelFolder_)) {
        return undecidedOrientation(Status::unavailable, orientation_reason::modelMissing);
    }
    return gate_.run(inferenceLimit, [loader = loader_, folder = modelFolder_, image, deep] {
        const Model model = loader->load(folder);
        if (model == nullptr)
            return undecidedOrientation(Status::failed, orientation_reason::modelLoadFailed);
        if (image == nullptr)
            return undecidedOrientation(Status::failed, orientation_reason::imagePreprocessingFailed);
        OrientationDecision first = predict(*model, *image);
        if (!deep || !wantsSecondLook(first)) return first;
        const Image reversed = ImageLoading::transformed(image, 1, RotationAngle::clockwise180);
        return reversed == nullptr ? first : corroborated(std::move(first), predict(*model, *reversed));
    });
}

void OrientationService::reload() {
    const std::scoped_lock lock(loader_->mutex);
    loader_->loaded = false;
    loader_->model = nullptr;
}

}  // namespace kelvaris

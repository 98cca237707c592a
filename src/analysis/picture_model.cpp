#include "analysis/picture_model.h"

#include "base/log.h"
#include "models/model_registry.h"

namespace kelvaris {
namespace {

constexpr std::string_view category = "Models";

}  // namespace

bool ModelTools::isInstalled(ModelID id) const { return holdsModel(files, folder(id), id); }

std::optional<InferenceOutputs> runLimited(LimitedWaits& waits, std::shared_ptr<const InferenceModel> model,
                                           Image image, PictureFit fit, int freeSide) {
    return runLimited<InferenceOutputs>(waits, modelTimeLimit,
                                        [model = std::move(model), image = std::move(image), fit, freeSide] {
                                            return runOnPicture(*model, image, fit, freeSide);
                                        });
}

PictureModel::Pointer PictureModel::loadIfNeeded() {
    const std::scoped_lock lock(modelLock_);
    if (loaded_) return model_;
    loaded_ = true;
    if (!tools_.isInstalled(id_)) {
        log::info(category, "{} model not downloaded", name_);
        return nullptr;
    }
    auto result = tools_.runtime.load(tools_.folder(id_) / folder_);
    if (!result) {
        log::error(category, "{} model not available: {}", name_, result.error().message);
        return nullptr;
    }
    log::info(category, "{} model loaded successfully", name_);
    return model_ = *result;
}

std::optional<std::vector<OutputTensor>> PictureModel::answers(const Pointer& model, const Image& image,
                                                               PictureFit fit, int freeSide) const {
    auto outputs = runLimited(tools_.waits, model, image, fit, freeSide);
    if (!outputs) {
        log::error(category, "{} timed out", task_);
        return std::nullopt;
    }
    if (!*outputs) {
        log::error(category, "{} failed: {}", task_, outputs->error().message);
        return std::nullopt;
    }
    return std::move(**outputs);
}

void PictureModel::reload() {
    const std::scoped_lock lock(modelLock_);
    loaded_ = false;
    model_ = nullptr;
}

}  // namespace kelvaris

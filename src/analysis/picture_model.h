#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "base/limited_waits.h"
#include "models/model_id.h"
#include "platform/files.h"
#include "platform/picture_inference.h"

namespace kelvaris {

/// How long a worker waits for one inference or one search for faces.
inline constexpr std::chrono::seconds modelTimeLimit{10};

/// The long side at which the models that judge a whole picture take it.
inline constexpr int wholePicturePixels = 224;

/// What a service of the analysis needs to use an installed model. What is referred to outlives the
/// service, and the runtime every inference that was left behind.
struct ModelTools {
    InferenceRuntime& runtime;
    const Files& files;
    LimitedWaits& waits;
    Path modelsDirectory;                    ///< holds a folder for each model, named by its id
    std::function<bool(ModelID)> isEnabled;  ///< whether the user lets the model be used; any thread

    Path folder(ModelID id) const { return modelsDirectory / rawValue(id); }
    bool isInstalled(ModelID id) const;
};

using InferenceOutputs = InferenceResult<std::vector<OutputTensor>>;

/// Runs the model on the picture on a thread of its own and waits for it, at most modelTimeLimit.
/// @return nothing when the limit passed; the run is left behind with all that it uses.
std::optional<InferenceOutputs> runLimited(LimitedWaits& waits, std::shared_ptr<const InferenceModel> model,
                                           Image image, PictureFit fit, int freeSide);

/// A model of one network that takes pictures: loaded once, at its first use, and dropped when its files
/// are. Any thread; nothing is held while the network runs.
class PictureModel {
public:
    using Pointer = std::shared_ptr<const InferenceModel>;

    /// @param name by which the log speaks of the model, and `task` of what it does.
    /// @param folder of the network within the model's folder.
    PictureModel(const ModelTools& tools, ModelID id, std::string_view name, std::string_view task,
                 std::string_view folder)
        : tools_(tools), id_(id), name_(name), task_(task), folder_(folder) {}

    bool isEnabled() const { return tools_.isEnabled(id_) && tools_.isInstalled(id_); }
    /// The loaded model; null when it is not installed or does not load, which is found out once.
    Pointer loadIfNeeded();
    /// Drops the model, so that the next use loads it anew.
    void reload();

    /// What a loaded model answers, within modelTimeLimit; nothing when it does not, which the log tells.
    std::optional<std::vector<OutputTensor>> answers(const Pointer& model, const Image& image, PictureFit fit,
                                                     int freeSide) const;

    LimitedWaits& waits() const { return tools_.waits; }
    bool isWanted() const { return tools_.isEnabled(id_); }

private:
    const ModelTools tools_;
    const ModelID id_;
    const std::string name_;
    const std::string task_;
    const std::string folder_;
    std::mutex modelLock_;
    bool loaded_ = false;
    Pointer model_;
};

}  // namespace kelvaris

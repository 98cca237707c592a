#include "platform_linux/linux_vision.h"

#include <algorithm>
#include <charconv>
#include <cmath>

#include "base/log.h"
#include "platform/picture_inference.h"

namespace kelvaris {

namespace {

constexpr const char* landmarkFile = "shape_predictor_68_face_landmarks.dat";
constexpr const char* sceneClassifier = "SceneClassifier.mlmodelc";
constexpr std::string_view thresholdKey = "kelvaris.vision.threshold";
/// For models that take a picture of any size.
constexpr int freeInputSide = 640;

VisionResult<std::vector<OutputTensor>> answers(const InferenceModel& model, const Image& image,
                                                PictureFit fit) {
    auto outputs = runOnPicture(model, image, fit, freeInputSide);
    if (!outputs) return Unexpected(VisionError{outputs.error().message});
    return std::move(outputs).value();
}

float threshold(const InferenceModel& model) {
    float value = 0.5F;
    if (const auto found = model.metadata().find(std::string(thresholdKey));
        found != model.metadata().end()) {
        std::from_chars(found->second.data(), found->second.data() + found->second.size(), value);
    }
    return value;
}

}  // namespace

LinuxVision::LinuxVision(InferenceRuntime& runtime, Path modelFolder)
    : runtime_(runtime),
      modelFolder_(std::move(modelFolder)),
      faces_({modelFolder_ / landmarkFile, Path("/usr/share/dlib") / landmarkFile}) {}

LinuxVision::Model LinuxVision::model(const std::string& name) {
    const std::scoped_lock lock(mutex_);
    if (const auto found = models_.find(name); found != models_.end()) return found->second;
    auto loaded = runtime_.load(modelFolder_ / name);
    if (!loaded && loaded.error().code != InferenceError::Code::notAModel) {
        log::error("Vision", "{} does not load: {}", name, loaded.error().message);
    }
    return models_[name] = loaded ? *loaded : nullptr;
}

VisionResult<std::vector<FaceObservation>> LinuxVision::detectFaces(const Image& image, bool landmarks) {
    try {
        return faces_.find(*image, landmarks);
    } catch (const std::exception& error) {
        return Unexpected(VisionError{error.what()});
    }
}

VisionResult<std::vector<NormalizedBox>> LinuxVision::detectBoxes(const Model& model,
                                                                  const Image& image) const {
    if (model == nullptr) return std::vector<NormalizedBox>();
    const auto outputs = answers(*model, image, PictureFit::stretch);
    if (!outputs) return Unexpected(outputs.error());
    const OutputTensor* boxes = outputNamed(*outputs, "boxes");
    const OutputTensor* scores = outputNamed(*outputs, "scores");
    if (boxes == nullptr || scores == nullptr || boxes->values.size() != scores->values.size() * 4) {
        return Unexpected(VisionError{"the model answers no boxes with scores"});
    }
    const float least = threshold(*model);
    std::vector<NormalizedBox> result;
    for (std::size_t index = 0; index < scores->values.size(); ++index) {
        const float* box = boxes->values.data() + (index * 4);
        const bool finite = std::all_of(box, box + 4, [](float value) { return std::isfinite(value); });
        // Written so that a score that is not a number does not count.
        if (!(scores->values[index] >= least) || !finite) continue;
        result.push_back({box[0], 1.0 - box[1] - box[3], box[2], box[3]});
    }
    return result;
}

VisionResult<std::vector<NormalizedBox>> LinuxVision::detectHumans(const Image& image) {
    return detectBoxes(model("HumanDetector.mlmodelc"), image);
}

VisionResult<std::vector<NormalizedBox>> LinuxVision::detectBodyPoses(const Image& image) {
    return detectBoxes(model("BodyPoseDetector.mlmodelc"), image);
}

bool LinuxVision::prepareScenes() { return model(sceneClassifier) != nullptr; }

VisionResult<std::vector<SceneObservation>> LinuxVision::classifyScene(const Image& image) {
    const Model classifier = model(sceneClassifier);
    if (classifier == nullptr) return std::vector<SceneObservation>();
    const auto outputs = answers(*classifier, image, PictureFit::centerCrop);
    if (!outputs) return Unexpected(outputs.error());
    std::vector<SceneObservation> scenes;
    for (LabelledScore& score : classScores(*classifier, *outputs)) {
        if (std::isfinite(score.score)) scenes.push_back({std::move(score.label), score.score});
    }
    std::stable_sort(scenes.begin(), scenes.end(),
                     [](const auto& a, const auto& b) { return a.confidence > b.confidence; });
    return scenes;
}

VisionResult<std::vector<TextObservation>> LinuxVision::recognizeText(const Image& image,
                                                                      const TextRequest& request) {
    return texts_.recognize(*image, request);
}

}  // namespace kelvaris

#pragma once

#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "platform/inference.h"
#include "platform/vision.h"
#include "platform_linux/face_finder.h"
#include "platform_linux/text_recognizer.h"

namespace kelvaris {

/// Faces by a detector of its own, text by the text engine, and people, bodies and scenes by models that
/// the user may have put into the folder `vision` of the models folder:
/// - `HumanDetector.mlmodelc` and `BodyPoseDetector.mlmodelc` take a picture and answer "boxes" (x, y,
///   width and height for each finding, in shares of the sides, from the top left corner) and "scores";
///   findings below the creator-defined key "kelvaris.vision.threshold" (0.5 without it) do not count.
/// - `SceneClassifier.mlmodelc` takes a picture and answers one probability for each line of its labels.
/// A model is loaded at its first use; a missing one gives no results.
class LinuxVision final : public Vision {
public:
    /// @param runtime must outlive this.
    /// @param modelFolder the folder `vision`; it may also hold the predictor of face points.
    LinuxVision(InferenceRuntime& runtime, Path modelFolder);

    VisionResult<std::vector<FaceObservation>> detectFaces(const Image& image, bool landmarks) override;
    VisionResult<std::vector<NormalizedBox>> detectHumans(const Image& image) override;
    VisionResult<std::vector<NormalizedBox>> detectBodyPoses(const Image& image) override;
    bool prepareScenes() override;
    VisionResult<std::vector<SceneObservation>> classifyScene(const Image& image) override;
    VisionResult<std::vector<TextObservation>> recognizeText(const Image& image,
                                                             const TextRequest& request) override;

private:
    using Model = std::shared_ptr<const InferenceModel>;

    Model model(const std::string& name);
    VisionResult<std::vector<NormalizedBox>> detectBoxes(const Model& model, const Image& image) const;

    InferenceRuntime& runtime_;
    const Path modelFolder_;
    FrontalFaceFinder faces_;
    TextRecognizer texts_;
    std::mutex mutex_;
    std::map<std::string, Model> models_;
};

}  // namespace kelvaris

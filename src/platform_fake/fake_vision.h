#pragma once

#include <atomic>
#include <functional>
#include <mutex>

#include "platform/vision.h"

namespace kelvaris {

/// Sees what a test tells it. Each answer may look at the picture, fail, or block for as long as the
/// test likes; the answers must be set before the first call. Without one nothing is found.
class FakeVision final : public Vision {
public:
    template <class T>
    using Answer = std::function<VisionResult<std::vector<T>>(const Image&)>;

    Answer<FaceObservation> faces;
    Answer<NormalizedBox> humans;
    Answer<NormalizedBox> bodyPoses;
    Answer<SceneObservation> scenes;
    std::function<VisionResult<std::vector<TextObservation>>(const Image&, const TextRequest&)> texts;

    /// How many requests were made, of any kind.
    std::atomic<int> calls = 0;

    VisionResult<std::vector<FaceObservation>> detectFaces(const Image& image, bool landmarks) override {
        auto found = answer(faces, image);
        if (found && !landmarks) {
            for (FaceObservation& face : *found) face.landmarks = {};
        }
        return found;
    }
    VisionResult<std::vector<NormalizedBox>> detectHumans(const Image& image) override {
        return answer(humans, image);
    }
    VisionResult<std::vector<NormalizedBox>> detectBodyPoses(const Image& image) override {
        return answer(bodyPoses, image);
    }
    bool prepareScenes() override { return static_cast<bool>(scenes); }
    VisionResult<std::vector<SceneObservation>> classifyScene(const Image& image) override {
        return answer(scenes, image);
    }
    VisionResult<std::vector<TextObservation>> recognizeText(const Image& image,
                                                             const TextRequest& request) override {
        ++calls;
        return texts ? texts(image, request) : std::vector<TextObservation>();
    }

private:
    template <class T>
    VisionResult<std::vector<T>> answer(const Answer<T>& given, const Image& image) {
        ++calls;
        return given ? given(image) : std::vector<T>();
    }
};

/// One answer whatever the picture shows.
template <class T>
FakeVision::Answer<T> always(std::vector<T> found) {
    return [found = std::move(found)](const Image&) { return found; };
}

/// The request fails.
template <class T>
FakeVision::Answer<T> failing() {
    return [](const Image&) { return VisionResult<std::vector<T>>(Unexpected(VisionError{"failed"})); };
}

}  // namespace kelvaris

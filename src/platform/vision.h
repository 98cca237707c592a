#pragma once

#include <chrono>
#include <string>
#include <vector>

#include "base/result.h"
#include "platform/images.h"

namespace kelvaris {

struct VisionError {
    std::string message;
};

template <class T>
using VisionResult = Result<T, VisionError>;

/// A box in shares of the picture's sides, 0 to 1, counted from the bottom left corner.
struct NormalizedBox {
    double x = 0;
    double y = 0;
    double width = 0;
    double height = 0;

    bool operator==(const NormalizedBox&) const = default;
};

/// A point in pixels, counted from the bottom left corner.
struct PixelPoint {
    double x = 0;
    double y = 0;

    bool operator==(const PixelPoint&) const = default;
};

/// Points on a face; a group that was not found is empty. Left and right are those of the picture.
struct FaceLandmarks {
    std::vector<PixelPoint> leftEye;
    std::vector<PixelPoint> rightEye;
    std::vector<PixelPoint> nose;
    std::vector<PixelPoint> outerLips;
};

struct FaceObservation {
    NormalizedBox box;
    double confidence = 0;
    FaceLandmarks landmarks;  ///< empty groups unless they were asked for
};

/// What a scene classifier says, with its own spelling of the class.
struct SceneObservation {
    std::string identifier;
    float confidence = 0;
};

/// A line of text found in a picture.
struct TextObservation {
    std::string text;
    double confidence = 0;  ///< 0 to 1
};

struct TextRequest {
    std::string characters;  ///< the only ones to be found; empty for all
    std::chrono::milliseconds limit{2000};
};

/// Sees faces, people, scenes and text in pictures that stand upright. Any thread; a call blocks for
/// as long as it takes. No result of a kind that no detector is installed for is an empty list.
class Vision {
public:
    virtual ~Vision() = default;

    /// Faces from 48 pixels in pictures of up to 1000 pixels, from 80 in larger ones; largest first.
    virtual VisionResult<std::vector<FaceObservation>> detectFaces(const Image& image, bool landmarks) = 0;
    virtual VisionResult<std::vector<NormalizedBox>> detectHumans(const Image& image) = 0;
    /// One box for each person whose body was made out.
    virtual VisionResult<std::vector<NormalizedBox>> detectBodyPoses(const Image& image) = 0;
    /// Makes ready what the next classification needs and may take long to make; whoever waits for a
    /// classification for a limited time calls this before.
    /// @return whether scenes can be classified here.
    virtual bool prepareScenes() = 0;
    /// Sorted by confidence, highest first.
    virtual VisionResult<std::vector<SceneObservation>> classifyScene(const Image& image) = 0;
    /// The picture should hold little but the text: one line, dark on light.
    virtual VisionResult<std::vector<TextObservation>> recognizeText(const Image& image,
                                                                     const TextRequest& request) = 0;
};

}  // namespace kelvaris

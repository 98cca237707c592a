#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "base/path.h"
#include "base/result.h"
#include "vocabulary/face_region.h"
#include "vocabulary/rotation_angle.h"

namespace kelvaris {

/// A unit vector, nothing when the model is off, absent or gave nothing, or the text of an error.
using EmbeddingResult = Result<std::optional<std::vector<float>>, std::string>;

/// Turns a sentence into a vector of the space in which pictures have theirs. Runs a model: workers only.
class TextEmbedder {
public:
    virtual ~TextEmbedder() = default;
    virtual EmbeddingResult textEmbedding(std::string_view text) = 0;
};

/// Turns pictures into vectors. Runs a model: workers only, but for isAvailable.
class ImageEmbedder {
public:
    virtual ~ImageEmbedder() = default;
    /// Whether the user lets the model be used and it is there. Any thread; may load the model.
    virtual bool isAvailable() = 0;
    virtual EmbeddingResult imageEmbedding(const Path& file, RotationAngle rotation) = 0;
};

/// Finds the faces of a picture with their vectors. Runs models: workers only, but for isAvailable.
class FaceFinder {
public:
    virtual ~FaceFinder() = default;
    /// Whether the user lets the model be used and it is there. Any thread; may load the model.
    virtual bool isAvailable() = 0;
    /// @return nothing when the file could not be read or analysed.
    virtual std::optional<std::vector<FaceRegion>> detectAndEmbed(const Path& file, int maxPixelSize,
                                                                  RotationAngle rotation) = 0;
};

}  // namespace kelvaris

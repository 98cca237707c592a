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

/// A model as its users see it: first whether it is wanted and there, then loaded, then used.
class EmbeddingModel {
public:
    virtual ~EmbeddingModel() = default;
    /// Whether the user lets the model be used and its files are there. Main thread; quick.
    virtual bool isEnabled() = 0;
    /// Loads the model when it is not loaded. Workers only. @return false when it does not load.
    virtual bool load() = 0;
};

/// Turns a sentence into a vector of the space in which pictures have theirs.
class TextEmbedder : public EmbeddingModel {
public:
    /// Loads the model when need be. Workers only.
    virtual EmbeddingResult textEmbedding(std::string_view text) = 0;
};

/// Turns pictures into vectors.
class ImageEmbedder : public EmbeddingModel {
public:
    /// Loads the model when need be. Workers only.
    virtual EmbeddingResult imageEmbedding(const Path& file, RotationAngle rotation) = 0;
};

/// Finds the faces of a picture with their vectors.
class FaceFinder : public EmbeddingModel {
public:
    /// Loads the model when need be. Workers only.
    /// @param maxPixelSize long side of the picture that is searched.
    /// @return nothing when the file could not be read or analysed.
    virtual std::optional<std::vector<FaceRegion>> detectAndEmbed(const Path& file, int maxPixelSize,
                                                                  RotationAngle rotation) = 0;
};

}  // namespace kelvaris

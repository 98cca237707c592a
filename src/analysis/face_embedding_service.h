#pragma once

#include <memory>
#include <optional>
#include <vector>

#include "analysis/embedding_ports.h"
#include "analysis/picture_model.h"
#include "images/image_loading.h"
#include "platform/vision.h"

namespace kelvaris {

/// Finds the faces of a photo and gives each a vector by the model "facenet". Any thread but the main one;
/// blocks, for at most modelTimeLimit for each search and each face. No failure is an error.
class FaceEmbeddingService final : public FaceFinder {
public:
    /// @param vision shared with searches that hang and are left behind.
    FaceEmbeddingService(const ModelTools& tools, const ImageLoading& loading,
                         std::shared_ptr<Vision> vision);

    bool isEnabled() override { return model_.isEnabled(); }
    bool load() override { return model_.loadIfNeeded() != nullptr; }
    void reload() { model_.reload(); }

    /// @return nothing when the model is off or missing, or the file could not be read.
    std::optional<std::vector<FaceRegion>> detectAndEmbed(const Path& file, int maxPixelSize,
                                                          RotationAngle rotation) override;
    /// @param image upright.
    std::optional<std::vector<FaceRegion>> detectAndEmbed(const Image& image);
    /// The same faces, none with a vector.
    std::optional<std::vector<FaceRegion>> detectOnly(const Path& file, int maxPixelSize,
                                                      RotationAngle rotation);

private:
    std::vector<FaceObservation> detectFaces(const Image& image, bool withLandmarks,
                                             std::string_view label) const;
    FaceRegion embedded(const Image& image, const FaceObservation& face);
    std::optional<std::vector<float>> alignedEmbedding(const Image& image, const FaceLandmarks& landmarks);
    std::optional<std::vector<float>> naiveFaceEmbedding(const Image& image, const NormalizedRect& box);
    std::optional<std::vector<float>> embedding(const Image& face);

    PictureModel model_;
    const ImageLoading& loading_;
    const std::shared_ptr<Vision> vision_;
};

}  // namespace kelvaris

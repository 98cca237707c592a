#pragma once

#include <optional>

#include "analysis/picture_model.h"
#include "vocabulary/analysis_result.h"

namespace kelvaris {

/// What kind of place a picture shows, by the model "places365". Any thread but the main one; blocks for
/// at most modelTimeLimit. No failure is an error: what went wrong is in the log.
class PlacesService {
public:
    explicit PlacesService(const ModelTools& tools)
        : model_(tools, ModelID::places365, "Places365", "Places365 classification", "Places365.mlmodelc") {}

    /// Whether the user lets the model be used and its files are there. Quick.
    bool isEnabled() const { return model_.isEnabled(); }
    /// @return whether there is a model to use.
    bool loadIfNeeded() { return model_.loadIfNeeded() != nullptr; }
    void reload() { model_.reload(); }

    /// @param image upright; its middle is judged.
    /// @return the likeliest places, each with a confidence that is worth telling.
    std::optional<TagConfidences> classifyScene(const Image& image);

private:
    PictureModel model_;
};

}  // namespace kelvaris

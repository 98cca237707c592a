#pragma once

#include <optional>
#include <span>

#include "analysis/picture_model.h"

namespace kelvaris {

/// The mean of a distribution over the ratings 1 to 10, brought to 0...1 (Talebi and Milanfar, "NIMA:
/// Neural Image Assessment", 2018). The values need not add up to one.
/// @return nothing unless there are ten finite values with a positive sum.
std::optional<double> normalizedScore(std::span<const float> ratings);

/// How pleasing a picture is, by the model "nima". Any thread but the main one; blocks for at most
/// modelTimeLimit. No failure is an error: what went wrong is in the log.
class NIMAService {
public:
    explicit NIMAService(const ModelTools& tools)
        : model_(tools, ModelID::nima, "NIMA", "NIMA prediction", "NIMA.mlmodelc") {}

    /// Whether the user lets the model be used and its files are there. Quick.
    bool isEnabled() const { return model_.isEnabled(); }
    /// @return whether there is a model to use.
    bool loadIfNeeded() { return model_.loadIfNeeded() != nullptr; }
    void reload() { model_.reload(); }

    /// @param image upright; its middle is judged.
    /// @return 0 to 1.
    std::optional<double> predictScore(const Image& image);

private:
    PictureModel model_;
};

}  // namespace kelvaris

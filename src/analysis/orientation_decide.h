#pragma once

#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "platform/images.h"
#include "platform/inference.h"
#include "vocabulary/orientation_decision.h"

namespace kelvaris {

/// What an orientation model says of itself in its creator-defined keys.
struct OrientationContract {
    std::string version = "legacy-logits";
    std::string output = "logits";  ///< "logits" or "probabilities"
    std::string preprocessing = std::string(orientationPreprocessingVersion);

    static OrientationContract of(const ModelMetadata& metadata);
};

/// A decision without a rotation and without scores.
OrientationDecision undecidedOrientation(OrientationDecision::Status status, std::string_view reason,
                                         std::string modelVersion = "unknown");

/// The picture as the model wants it, 384 by 384 in RGB: stretched to 416 by 416 whatever its shape,
/// then its middle. Nothing for an empty picture.
std::optional<Bitmap> preprocessedForOrientation(const Bitmap& bitmap);

/// The model's four scores in the order of 0, 90, 180 and 270 degrees; empty when its answer is anything
/// else. Class names are whole degrees in any order. Without class names the first output must hold
/// four values, which then stand in that order.
std::vector<double> orientationScores(const InferenceModel& model, std::span<const OutputTensor> outputs);

/// Turns scores in the order of 0, 90, 180 and 270 degrees into a decision: upright or a correction
/// when the top probability is at least 0.9 (as a 32-bit number) and leads by at least 0.4, else
/// uncertain; failed when the scores are no four finite values of the contract's kind.
OrientationDecision decideOrientation(std::span<const double> scores, std::string_view outputKind,
                                      const std::string& modelVersion);

/// Whether a second look, at the frame turned by 180 degrees, is worth its time.
bool wantsSecondLook(const OrientationDecision& first);

/// The first decision with the second look's verdict as its reason. Scores of the turned frame that are
/// not four change nothing.
OrientationDecision corroborated(OrientationDecision first, const OrientationDecision& reversed);

}  // namespace kelvaris

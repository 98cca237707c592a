#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "vocabulary/raw_value.h"
#include "vocabulary/rotation_angle.h"

namespace kelvaris {

/// What the orientation model made of a frame, or why it made nothing of it.
struct OrientationDecision {
    enum class Status : std::uint8_t { upright, correction, uncertain, skipped, unavailable, failed };

    Status status = Status::skipped;
    std::optional<RotationAngle> rotation;  ///< the rotation that makes the frame upright
    std::vector<double> scores;             ///< probabilities of 0, 90, 180 and 270 degrees, or empty
    std::string modelVersion;
    std::string preprocessingVersion;
    std::string reason;  ///< one of orientation_reason

    bool operator==(const OrientationDecision&) const = default;

    /// The rotation to offer to the user for an uncertain frame: the top class, when the scores are
    /// four probabilities of which it has at least 0.5 and leads by at least 0.15.
    std::optional<RotationAngle> reviewRotation() const;
};

/// The way pixels are prepared for the orientation model.
inline constexpr std::string_view orientationPreprocessingVersion = "rgb-resize416-center384-v1";

namespace orientation_reason {
inline constexpr std::string_view provisionalProbabilityAndMargin = "provisional_probability_and_margin";
inline constexpr std::string_view provisionalPolicyAbstention = "provisional_policy_abstention";
inline constexpr std::string_view deepAgreementUncalibrated = "deep_agreement_uncalibrated";
inline constexpr std::string_view deepDisagreement = "deep_disagreement";
inline constexpr std::string_view invalidScores = "invalid_scores";
inline constexpr std::string_view unknownOutputContract = "unknown_output_contract";
inline constexpr std::string_view unknownPreprocessingContract = "unknown_preprocessing_contract";
inline constexpr std::string_view imagePreprocessingFailed = "image_preprocessing_failed";
inline constexpr std::string_view predictionFailed = "prediction_failed";
inline constexpr std::string_view missingClassifierScores = "missing_classifier_scores";
inline constexpr std::string_view modelDisabled = "model_disabled";
inline constexpr std::string_view modelMissing = "model_missing";
inline constexpr std::string_view modelLoadFailed = "model_load_failed";
inline constexpr std::string_view inferenceTimeout = "inference_timeout";
inline constexpr std::string_view inferenceBusy = "inference_busy";
}  // namespace orientation_reason

template <>
struct RawValues<OrientationDecision::Status> {
    using Status = OrientationDecision::Status;
    static constexpr std::array rows{
        std::pair{Status::upright, std::string_view("upright")},
        std::pair{Status::correction, std::string_view("correction")},
        std::pair{Status::uncertain, std::string_view("uncertain")},
        std::pair{Status::skipped, std::string_view("skipped")},
        std::pair{Status::unavailable, std::string_view("unavailable")},
        std::pair{Status::failed, std::string_view("failed")},
    };
};

template <class Visitor>
void describe(Visitor& visitor, OrientationDecision& record) {
    visitor.required("status", record.status, "What the orientation model decided");
    visitor.optional("rotation", record.rotation, "Rotation that makes the frame upright, in degrees");
    visitor.required("scores", record.scores, "Probabilities of 0, 90, 180 and 270 degrees");
    visitor.required("modelVersion", record.modelVersion, "Version of the model");
    visitor.required("preprocessingVersion", record.preprocessingVersion, "How the pixels were prepared");
    visitor.required("reason", record.reason, "Why the decision was made");
}

}  // namespace kelvaris

#include "analysis/orientation_decide.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>

#include "platform/bitmap_scaling.h"

namespace kelvaris {

namespace {

using Status = OrientationDecision::Status;

constexpr double leastTop = 0.9F;  // compared as the 32-bit number that it is
constexpr double leastLead = 0.4;
constexpr double leastTopOfSecondLook = 0.65;
constexpr double sumTolerance = 0.01;

constexpr std::array rotations = {RotationAngle::none, RotationAngle::clockwise90,
                                  RotationAngle::clockwise180, RotationAngle::clockwise270};

std::vector<double> softmax(std::span<const double> scores) {
    const double largest = *std::max_element(scores.begin(), scores.end());
    std::vector<double> result;
    double sum = 0;
    for (const double score : scores) {
        result.push_back(std::exp(score - largest));
        sum += result.back();
    }
    for (double& value : result) value /= sum;
    return result;
}

bool areProbabilities(std::span<const double> scores) {
    double sum = 0;
    for (const double score : scores) {
        if (score < 0 || score > 1) return false;
        sum += score;
    }
    return std::abs(sum - 1) <= sumTolerance;
}

std::size_t topIndex(std::span<const double> scores) {
    return static_cast<std::size_t>(std::max_element(scores.begin(), scores.end()) - scores.begin());
}

/// Which of the four classes a name stands for.
std::optional<std::size_t> classIndex(std::string_view name) {
    int degrees = -1;
    const auto [end, error] = std::from_chars(name.data(), name.data() + name.size(), degrees);
    if (error != std::errc() || end != name.data() + name.size()) return std::nullopt;
    if (degrees < 0 || degrees > 270 || degrees % 90 != 0) return std::nullopt;
    return static_cast<std::size_t>(degrees / 90);
}

}  // namespace

OrientationContract OrientationContract::of(const ModelMetadata& metadata) {
    OrientationContract contract;
    const auto read = [&](const char* key, std::string& field) {
        if (const auto found = metadata.find(key); found != metadata.end()) field = found->second;
    };
    read("kelvaris.orientation.version", contract.version);
    read("kelvaris.orientation.output", contract.output);
    read("kelvaris.orientation.preprocessing", contract.preprocessing);
    return contract;
}

OrientationDecision undecidedOrientation(Status status, std::string_view reason, std::string modelVersion) {
    return {.status = status,
            .rotation = std::nullopt,
            .scores = {},
            .modelVersion = std::move(modelVersion),
            .preprocessingVersion = std::string(orientationPreprocessingVersion),
            .reason = std::string(reason)};
}

std::optional<Bitmap> preprocessedForOrientation(const Bitmap& bitmap) {
    constexpr int stretchedSide = 416;
    constexpr int side = 384;
    constexpr int border = (stretchedSide - side) / 2;
    if (bitmap.width <= 0 || bitmap.height <= 0) return std::nullopt;
    Bitmap middle = cropped(stretched(bitmap, stretchedSide, stretchedSide), border, border, side, side);
    if (middle.channels == 1) {
        std::vector<std::uint8_t> colored;
        colored.reserve(middle.pixels.size() * 3);
        for (const std::uint8_t sample : middle.pixels) colored.insert(colored.end(), 3, sample);
        middle.channels = 3;
        middle.pixels = std::move(colored);
    }
    return middle;
}

std::vector<double> orientationScores(const InferenceModel& model, std::span<const OutputTensor> outputs) {
    if (model.labels().empty()) {
        if (outputs.empty() || outputs.front().values.size() != rotations.size()) return {};
        return {outputs.front().values.begin(), outputs.front().values.end()};
    }
    const auto named = classScores(model, outputs);
    if (named.size() != rotations.size()) return {};
    std::array<std::optional<double>, rotations.size()> ordered;
    for (const LabelledScore& each : named) {
        const auto index = classIndex(each.label);
        if (!index || ordered[*index]) return {};
        ordered[*index] = each.score;
    }
    std::vector<double> scores;
    for (const auto& score : ordered) scores.push_back(*score);
    return scores;
}

OrientationDecision decideOrientation(std::span<const double> scores, std::string_view outputKind,
                                      const std::string& modelVersion) {
    const auto failed = [&](std::string_view reason) {
        return undecidedOrientation(Status::failed, reason, modelVersion);
    };
    const bool finite =
        std::all_of(scores.begin(), scores.end(), [](double score) { return std::isfinite(score); });
    if (scores.size() != rotations.size() || !finite) return failed(orientation_reason::invalidScores);

    OrientationDecision decision = failed("");
    if (outputKind == "logits") {
        decision.scores = softmax(scores);
    } else if (outputKind == "probabilities") {
        if (!areProbabilities(scores)) return failed(orientation_reason::invalidScores);
        decision.scores.assign(scores.begin(), scores.end());
    } else {
        return failed(orientation_reason::unknownOutputContract);
    }

    std::array<std::size_t, 4> order = {0, 1, 2, 3};
    std::stable_sort(order.begin(), order.end(),
                     [&](std::size_t a, std::size_t b) { return decision.scores[a] > decision.scores[b]; });
    const double top = decision.scores[order[0]];
    const double lead = top - decision.scores[order[1]];
    if (top < leastTop || lead < leastLead) {
        decision.status = Status::uncertain;
        decision.reason = orientation_reason::provisionalPolicyAbstention;
        return decision;
    }
    decision.status = order[0] == 0 ? Status::upright : Status::correction;
    if (decision.status == Status::correction) decision.rotation = rotations[order[0]];
    decision.reason = orientation_reason::provisionalProbabilityAndMargin;
    return decision;
}

bool wantsSecondLook(const OrientationDecision& first) {
    return first.status == Status::uncertain && first.scores.size() == rotations.size() &&
           first.scores[topIndex(first.scores)] >= leastTopOfSecondLook;
}

OrientationDecision corroborated(OrientationDecision first, const OrientationDecision& reversed) {
    const std::vector<double>& turned = reversed.scores;
    if (turned.size() != rotations.size()) return first;
    // The same upright direction has the opposite class in the turned frame.
    const std::array<double, 4> realigned = {turned[2], turned[3], turned[0], turned[1]};
    first.reason = topIndex(first.scores) == topIndex(realigned)
                       ? orientation_reason::deepAgreementUncalibrated
                       : orientation_reason::deepDisagreement;
    return first;
}

}  // namespace kelvaris

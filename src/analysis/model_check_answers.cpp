#include "analysis/model_check_answers.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <set>

#include "analysis/model_output.h"
#include "analysis/nima_service.h"
#include "analysis/orientation_decide.h"
#include "analysis/place_labels.h"
#include "analysis/scene_labels.h"
#include "base/text.h"
#include "platform/picture_inference.h"

namespace kelvaris {

namespace {

constexpr std::size_t ratingCount = 10;
/// A box may reach beyond the picture, but one beyond this is not in shares of the sides.
constexpr float largestShare = 2;

bool isKnownPlace(std::string_view name) {
    return std::ranges::binary_search(places365Mapping, name, {}, &PlaceWord::name);
}

bool isKnownScene(std::string_view name) {
    return labelOfScene(name) || std::ranges::find(personWords, asciiLowercased(name)) != personWords.end();
}

/// Collects what is said of one answer.
class Judge {
public:
    explicit Judge(std::span<const OutputTensor> outputs) : outputs_(outputs) {}

    void say(CheckVerdict verdict, std::string text) {
        judged_.rows.push_back({"", verdict, std::move(text)});
    }

    /// The output when it is one, has that many values, and all are finite; otherwise says why not.
    const OutputTensor* finite(const OutputTensor* output, std::size_t count) {
        if (output == nullptr) return nothing("has no output of numbers");
        if (output->values.size() != count) {
            return nothing(fmt::format("output {} has {} values in place of {}", output->name,
                                       output->values.size(), count));
        }
        return allFinite(*output);
    }
    const OutputTensor* allFinite(const OutputTensor& output) {
        judged_.values = output.values;
        if (std::ranges::all_of(output.values, [](float value) { return std::isfinite(value); }))
            return &output;
        return nothing(fmt::format("output {} has values that are not finite", output.name));
    }

    void vector(const OutputTensor* output) {
        if (finite(output, clipEmbeddingDimension) == nullptr) return;
        if (!normalizedEmbedding(std::span<const float>(output->values), clipEmbeddingDimension)) {
            return say(CheckVerdict::fails,
                       fmt::format("output {} is a vector without a usable length", output->name));
        }
        say(CheckVerdict::fits,
            fmt::format("output {} gives {} values", output->name, clipEmbeddingDimension));
    }

    void textVector() {
        const OutputTensor* output = outputNamed(outputs_, "embedding");
        if (output == nullptr) return say(CheckVerdict::fails, "has no output embedding");
        vector(output);
    }

    void ratings() {
        const OutputTensor* output = finite(first(), ratingCount);
        if (output == nullptr) return;
        const auto score = normalizedScore(output->values);
        if (!score) {
            return say(CheckVerdict::fails, fmt::format("output {} sums to nothing above 0", output->name));
        }
        say(CheckVerdict::fits, fmt::format("output {} gives ten ratings", output->name));
        warnUnlessShares(*output);
    }

    void turns(const InferenceModel& model) {
        const auto scores = orientationScores(model, outputs_);
        if (scores.empty()) {
            return say(CheckVerdict::fails, "gives no four scores, or its labels are not 0, 90, 180 and 270");
        }
        judged_.values.assign(scores.begin(), scores.end());
        const OrientationContract contract = OrientationContract::of(model.metadata());
        if (contract.preprocessing != orientationPreprocessingVersion) {
            say(CheckVerdict::fails, fmt::format("the key kelvaris.orientation.preprocessing is not {}",
                                                 orientationPreprocessingVersion));
        }
        const auto decision = decideOrientation(scores, contract.output, contract.version);
        if (decision.status == OrientationDecision::Status::failed) {
            return say(CheckVerdict::fails, fmt::format("its scores, taken for {}, are not usable: {}",
                                                        contract.output, decision.reason));
        }
        say(CheckVerdict::fits,
            fmt::format("gives four scores for quarter turns as {}, {}", contract.output,
                        model.labels().empty() ? "in the order of the turns" : "in the order of its labels"));
    }

    /// @param known whether a label means something to the program.
    void classes(const InferenceModel& model, bool (*known)(std::string_view)) {
        const std::vector<std::string>& labels = model.labels();
        if (labels.empty()) return say(CheckVerdict::fails, "has no labels.txt with a name a line");
        const std::set<std::string> distinct(labels.begin(), labels.end());
        if (distinct.size() != labels.size() || distinct.contains("")) {
            say(CheckVerdict::warns, "labels.txt has empty or repeated lines");
        }
        const auto output =
            std::ranges::find(outputs_, labels.size(), [](const auto& each) { return each.values.size(); });
        if (output == outputs_.end()) {
            return say(CheckVerdict::fails,
                       fmt::format("no output has the {} values that labels.txt has lines", labels.size()));
        }
        if (allFinite(*output) == nullptr) return;
        say(CheckVerdict::fits,
            fmt::format("output {} gives a score for each of {} labels", output->name, labels.size()));
        warnUnlessShares(*output);
        const auto count = std::ranges::count_if(labels, known);
        say(count > 0 ? CheckVerdict::fits : CheckVerdict::warns,
            fmt::format("{} of {} labels lead to labels of photos", count, labels.size()));
    }

    void boxes() {
        const OutputTensor* boxes = outputNamed(outputs_, "boxes");
        const OutputTensor* scores = outputNamed(outputs_, "scores");
        if (boxes == nullptr || scores == nullptr || boxes->values.size() != scores->values.size() * 4) {
            return say(CheckVerdict::fails,
                       "has no outputs boxes and scores with four numbers to each score");
        }
        if (allFinite(*scores) == nullptr || allFinite(*boxes) == nullptr) return;
        if (std::ranges::any_of(boxes->values, [](float value) { return value > largestShare; })) {
            say(CheckVerdict::warns, "boxes are to be in shares of the sides, 0 to 1");
        }
        say(CheckVerdict::fits, "gives boxes with scores");
    }

    const OutputTensor* first() const { return outputs_.empty() ? nullptr : &outputs_.front(); }

    JudgedAnswer take() { return std::move(judged_); }

private:
    const OutputTensor* nothing(std::string text) {
        say(CheckVerdict::fails, std::move(text));
        return nullptr;
    }
    void warnUnlessShares(const OutputTensor& output) {
        if (std::ranges::all_of(output.values, [](float value) { return value >= 0 && value <= 1; })) return;
        say(CheckVerdict::warns,
            fmt::format("output {} gives no probabilities; a softmax may be missing", output.name));
    }

    std::span<const OutputTensor> outputs_;
    JudgedAnswer judged_;
};

}  // namespace

JudgedAnswer judgedAnswer(AnswerKind kind, const InferenceModel& model,
                          std::span<const OutputTensor> outputs) {
    Judge judge(outputs);
    switch (kind) {
        case AnswerKind::vector:
            judge.vector(judge.first());
            break;
        case AnswerKind::textVector:
            judge.textVector();
            break;
        case AnswerKind::ratings:
            judge.ratings();
            break;
        case AnswerKind::turns:
            judge.turns(model);
            break;
        case AnswerKind::places:
            judge.classes(model, isKnownPlace);
            break;
        case AnswerKind::scenes:
            judge.classes(model, isKnownScene);
            break;
        case AnswerKind::boxes:
            judge.boxes();
            break;
    }
    return judge.take();
}

}  // namespace kelvaris

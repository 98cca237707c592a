#include "analysis/scene_labels.h"

#include <algorithm>
#include <string>
#include <vector>

#include "base/text.h"

namespace kelvaris {
namespace {

constexpr float tagThreshold = 0.04F;
constexpr float labelThreshold = 0.12F;
constexpr std::size_t sceneLabelLimit = 3;
constexpr std::size_t subjectLabelLimit = 4;

constexpr auto wordsInOrder = [] {
    auto words = classificationMapping;
    std::ranges::sort(words, {}, &SceneWord::identifier);
    return words;
}();

std::optional<PhotoLabel> labelOfLowerCase(std::string_view identifier) {
    const auto found = std::ranges::lower_bound(wordsInOrder, identifier, {}, &SceneWord::identifier);
    if (found == wordsInOrder.end() || found->identifier != identifier) return std::nullopt;
    return found->label;
}

struct Candidate {
    PhotoLabel label;
    float confidence;
};

void addBest(std::vector<Candidate> candidates, PhotoLabelSet& labels) {
    std::ranges::stable_sort(candidates, std::greater(), &Candidate::confidence);
    PhotoLabelSet taken;
    for (const Candidate& candidate : candidates) {
        if (taken.size() >= sceneLabelLimit || (labels & subjectLabelSet).size() >= subjectLabelLimit) return;
        taken.insert(candidate.label);
        labels.insert(candidate.label);
    }
}

}  // namespace

std::optional<PhotoLabel> labelOfScene(std::string_view identifier) {
    return labelOfLowerCase(asciiLowercased(identifier));
}

SceneReading readScene(std::span<const SceneObservation> observations, PhotoLabelSet labels,
                       float personThreshold) {
    SceneReading reading{labels, {}};
    std::vector<Candidate> candidates;
    bool showsPerson = false;
    for (const SceneObservation& observation : observations) {
        if (observation.confidence >= tagThreshold) {
            reading.tags[observation.identifier] = observation.confidence;
        }
        const std::string identifier = asciiLowercased(observation.identifier);
        if (observation.confidence >= labelThreshold) {
            if (const auto label = labelOfLowerCase(identifier)) {
                candidates.push_back({*label, observation.confidence});
            }
        }
        showsPerson = showsPerson || (observation.confidence >= personThreshold &&
                                      std::ranges::find(personWords, identifier) != personWords.end());
    }
    addBest(std::move(candidates), reading.labels);
    if (showsPerson) reading.labels.insert(PhotoLabel::person);
    return reading;
}

}  // namespace kelvaris

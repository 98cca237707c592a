#include "analysis/places_service.h"

#include <algorithm>
#include <cmath>

#include "base/log.h"

namespace kelvaris {
namespace {

constexpr std::string_view category = "Places";
constexpr std::size_t placeLimit = 5;
constexpr float leastConfidence = 0.05F;

TagConfidences likeliest(std::vector<LabelledScore> scores) {
    std::erase_if(scores, [](const LabelledScore& each) { return !std::isfinite(each.score); });
    std::ranges::stable_sort(scores, std::greater(), &LabelledScore::score);
    TagConfidences places;
    for (std::size_t index = 0; index < std::min(scores.size(), placeLimit); ++index) {
        if (scores[index].score >= leastConfidence) places[scores[index].label] = scores[index].score;
    }
    return places;
}

}  // namespace

std::optional<TagConfidences> PlacesService::classifyScene(const Image& image) {
    const auto model = model_.loadIfNeeded();
    if (!model) return std::nullopt;
    const auto outputs = model_.answers(model, image, PictureFit::centerCrop, wholePicturePixels);
    if (!outputs) return std::nullopt;
    std::vector<LabelledScore> scores = classScores(*model, *outputs);
    if (scores.empty()) {
        log::error(category,
                   "Places365 classification failed: the model names no class for each of its values");
        return std::nullopt;
    }
    return likeliest(std::move(scores));
}

}  // namespace kelvaris

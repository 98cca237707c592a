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
    const auto outputs = runLimited(model_.waits(), model, image, PictureFit::centerCrop, wholePicturePixels);
    if (!outputs) {
        log::error(category, "Places365 classification timed out");
        return std::nullopt;
    }
    const auto failed = [](std::string_view why) {
        log::error(category, "Places365 classification failed: {}", why);
        return std::nullopt;
    };
    if (!*outputs) return failed(outputs->error().message);
    std::vector<LabelledScore> scores = classScores(*model, **outputs);
    if (scores.empty()) return failed("the model names no class for each of its values");
    return likeliest(std::move(scores));
}

}  // namespace kelvaris

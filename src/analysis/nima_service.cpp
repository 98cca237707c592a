#include "analysis/nima_service.h"

#include <algorithm>
#include <cmath>

#include "base/log.h"

namespace kelvaris {
namespace {

constexpr std::string_view category = "NIMA";
constexpr std::size_t ratingCount = 10;

}  // namespace

std::optional<double> normalizedScore(std::span<const float> ratings) {
    if (ratings.size() != ratingCount) return std::nullopt;
    double sum = 0;
    double weighted = 0;
    for (std::size_t index = 0; index < ratingCount; ++index) {
        if (!std::isfinite(ratings[index])) return std::nullopt;
        sum += ratings[index];
        weighted += static_cast<double>(index + 1) * ratings[index];
    }
    if (!(sum > 0)) return std::nullopt;
    return std::clamp((weighted / sum - 1) / (ratingCount - 1), 0.0, 1.0);
}

std::optional<double> NIMAService::predictScore(const Image& image) {
    const auto model = model_.loadIfNeeded();
    if (!model) return std::nullopt;
    const auto outputs = model_.answers(model, image, PictureFit::centerCrop, wholePicturePixels);
    if (!outputs) return std::nullopt;
    if (outputs->empty()) {
        log::error(category, "NIMA: no prediction results");
        return std::nullopt;
    }
    return normalizedScore(outputs->front().values);
}

}  // namespace kelvaris

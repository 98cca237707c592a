#include "analysis/frame_quality.h"

#include <algorithm>
#include <cmath>

namespace kelvaris {
namespace {

constexpr int edgeFrames = 3;
constexpr double darkMean = 65;

struct BlankLimits {
    double variance;
    double range;
};
constexpr BlankLimits edgeLimits{145, 30};
constexpr BlankLimits innerLimits{50, 15};

constexpr PhotoLabelSet issueLabels{PhotoLabel::blur, PhotoLabel::dark, PhotoLabel::blowout,
                                    PhotoLabel::blank, PhotoLabel::artifact};

/// Neither light nor dark, and little between: fogged or flatly exposed.
bool isFlat(const ImageStatistics& statistics) { return statistics.p5 > 60 && statistics.dynamicRange < 80; }

bool isDark(const ImageStatistics& statistics) {
    return statistics.mean < darkMean || statistics.p95 < 110 ||
           (statistics.mean < 145 && isFlat(statistics));
}

bool isBlownOut(const ImageStatistics& statistics) {
    return statistics.mean > 180 || (statistics.mean > 145 && isFlat(statistics));
}

}  // namespace

bool hasStructure(const ImageStatistics& statistics) {
    return std::isfinite(statistics.variance) && std::isfinite(statistics.dynamicRange) &&
           statistics.dynamicRange >= innerLimits.range && statistics.variance >= innerLimits.variance;
}

bool isEdgeFrame(const std::optional<FrameContext>& context) {
    return !context || context->sortIndex < edgeFrames ||
           context->sortIndex >= context->totalFrames - edgeFrames;
}

bool isBlank(const ImageStatistics& statistics, bool edgeFrame) {
    const BlankLimits& limits = edgeFrame ? edgeLimits : innerLimits;
    return statistics.variance < limits.variance ||
           (statistics.mean < darkMean && statistics.dynamicRange < limits.range);
}

PhotoLabelSet filmIssues(const ImageStatistics& statistics, bool blank) {
    PhotoLabelSet labels;
    if (statistics.laplacianVariance < 100) labels.insert(PhotoLabel::blur);
    if (!blank && isDark(statistics)) labels.insert(PhotoLabel::dark);
    if (isBlownOut(statistics)) labels.insert(PhotoLabel::blowout);
    if (!blank && statistics.mean < 60 && statistics.dynamicRange >= 60) labels.insert(PhotoLabel::night);
    return labels;
}

double baseQualityScore(const std::optional<ImageStatistics>& statistics) {
    if (!statistics) return 0.5;
    return 0.4 * std::min(statistics->laplacianVariance / 1000, 1.0) +
           0.35 * std::max(1 - std::abs(statistics->mean - 130) / 130, 0.0) +
           0.25 * std::min(statistics->dynamicRange / 200, 1.0);
}

double adjustedQualityScore(double base, const PhotoLabelSet& labels) {
    double score = base;
    if (labels.contains(PhotoLabel::face)) score = std::min(score + 0.15, 1.0);
    if (labels.contains(PhotoLabel::person)) score = std::min(score + 0.05, 1.0);
    return std::max(score - 0.1 * static_cast<double>((labels & issueLabels).size()), 0.0);
}

}  // namespace kelvaris

#pragma once

#include <optional>
#include <string>
#include <vector>

#include "analysis/model_services.h"
#include "analysis/photo_analysis_service.h"
#include "analysis/photo_snapshot.h"

namespace kelvaris {

/// What a photo is to be brought up to.
struct DiscoveryTarget {
    std::string revision;
    std::vector<ModelID> requested;
    AnalysisSwitches switches;
};

/// What a second look at a photo found. What is absent was not asked for, or was not to be had.
struct DiscoveryFindings {
    std::optional<AnalysisResult> analysis;
    std::optional<std::vector<float>> embedding;
    std::vector<StyleMatch> styles;
    std::optional<std::vector<FaceRegion>> faceRegions;
    std::optional<TagConfidences> categories;
    std::optional<double> nimaScore;
    /// Everything that the target asks for is there.
    bool isComplete = false;
};

/// Looks at a photo anew for everything but its orientation. On a worker, which it blocks.
/// @param services may be null: no model is installed.
DiscoveryFindings rediscover(const PhotoSnapshot& snapshot, const DiscoveryTarget& target,
                             const ImageLoading& loading, const PhotoAnalysisService& analysis,
                             const ModelServices* services);

/// Writes what was found. Rotation, dates and issue labels stay as they are; subject labels are only
/// suggested. Main thread.
void applyFindings(const DiscoveryFindings& findings, const std::string& revision, PhotoItem& photo);

}  // namespace kelvaris

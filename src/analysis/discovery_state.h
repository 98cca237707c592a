#pragma once

#include <optional>
#include <span>
#include <string>
#include <vector>

#include "library/photo_item.h"
#include "models/model_id.h"

namespace kelvaris {

class UserPreferences;

/// What of a photo the models have found so far.
struct DiscoveryState {
    bool hasEmbedding = false;
    PhotoItem::FaceRegions faceRegions;
    std::optional<FaceAnalysisStamp> faceAnalysisStamp;
    bool hasCategories = false;
    bool hasNimaScore = false;

    static DiscoveryState of(const PhotoItem& photo);
};

/// Whether faces were not looked for, or not by the current method, or one lacks the vector that it
/// should have.
bool hasIncompleteFaces(const PhotoItem::FaceRegions& regions, const std::optional<FaceAnalysisStamp>& stamp);

/// Whether something is missing that one of the models would find. The orientation never counts.
bool hasIncompleteDiscovery(std::span<const ModelID> requested, const DiscoveryState& state);

/// The state of analysis that a photo should be in, as one text: the models that may be used, and the
/// switches. Main thread.
std::string discoveryRevision(std::span<const ModelID> requested, const UserPreferences& preferences);

}  // namespace kelvaris

#include "analysis/discovery_state.h"

#include <algorithm>

#include "analysis/face_vectors.h"
#include "preferences/user_preferences.h"

namespace kelvaris {

DiscoveryState DiscoveryState::of(const PhotoItem& photo) {
    return {.hasEmbedding = photo.clipEmbedding().has_value(),
            .faceRegions = photo.faceRegions(),
            .faceAnalysisStamp = photo.faceAnalysisStamp(),
            .hasCategories = photo.placeCategories().has_value(),
            .hasNimaScore = photo.nimaScore().has_value()};
}

bool hasIncompleteFaces(const PhotoItem::FaceRegions& regions,
                        const std::optional<FaceAnalysisStamp>& stamp) {
    if (!regions || needsEmbeddings(*regions) || !stamp) return true;
    return stamp->version != currentFaceAnalysisStamp.version ||
           stamp->maxPixelSize < currentFaceAnalysisStamp.maxPixelSize || !stamp->includesEmbeddings;
}

bool hasIncompleteDiscovery(std::span<const ModelID> requested, const DiscoveryState& state) {
    return std::ranges::any_of(requested, [&](ModelID id) {
        switch (id) {
            case ModelID::clipVitB16:
                return !state.hasEmbedding;
            case ModelID::nima:
                return !state.hasNimaScore;
            case ModelID::orientation:
                return false;
            case ModelID::places365:
                return !state.hasCategories;
            case ModelID::faceNet:
                return hasIncompleteFaces(state.faceRegions, state.faceAnalysisStamp);
        }
        return false;
    });
}

std::string discoveryRevision(std::span<const ModelID> requested, const UserPreferences& preferences) {
    std::string revision = "discovery-2/";
    std::string_view separator;
    for (const ModelID id : requested) {
        revision += separator;
        revision += rawValue(id);
        separator = ",";
    }
    revision += '/';
    for (const bool enabled : {preferences.faceFinderEnabled(), preferences.sceneScoutEnabled(),
                               preferences.filmIssuesEnabled(), preferences.gemSpotterEnabled(),
                               preferences.colorSenseEnabled(), preferences.deepAnalysisEnabled()}) {
        revision += enabled ? '1' : '0';
    }
    return revision;
}

}  // namespace kelvaris

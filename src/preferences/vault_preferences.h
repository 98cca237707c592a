#pragma once

#include <optional>
#include <string>
#include <vector>

#include "preferences/favorite_gear.h"
#include "vocabulary/face_grouping_edits.h"
#include "vocabulary/gear_recommendations.h"

namespace kelvaris {

/// The durable copy of the user's profile, customisation and configuration: the record of
/// preferences.md. Every key may be absent; an absent value leaves the live one alone.
struct VaultPreferences {
    std::optional<FaceGroupingEdits> faceGroupingEdits;
    std::optional<std::string> accentColor;
    std::optional<bool> accentColorIsUserSet;
    std::optional<double> exportQuality;
    std::optional<std::string> artistName;
    std::optional<double> dateIntervalSeconds;
    std::optional<double> locationMaxGapHours;
    std::optional<bool> showLocationBadges;
    std::optional<bool> soundEffectsEnabled;
    std::optional<std::vector<FavoriteCamera>> favoriteCameras;
    std::optional<std::string> defaultCameraId;
    std::optional<std::vector<FavoriteFilmStock>> favoriteFilmStocks;
    std::optional<std::string> defaultFilmStockId;
    std::optional<std::vector<std::string>> favoriteCameraSlugs;
    std::optional<std::vector<std::string>> favoriteFilmSlugs;
    std::optional<std::string> rollSortOption;
    std::optional<bool> rollSortAscending;
    std::optional<VaultGearRecommendations> gearRecommendations;
    std::optional<bool> filmIssuesEnabled;
    std::optional<bool> gemSpotterEnabled;
    std::optional<bool> faceFinderEnabled;
    std::optional<bool> sceneScoutEnabled;
    std::optional<bool> timeStamperEnabled;
    std::optional<bool> colorSenseEnabled;
    std::optional<bool> deepAnalysisEnabled;
    std::optional<bool> mirrorEnabled;
    std::optional<std::string> mirrorFolderBookmark;
    std::optional<std::string> mirrorFolderPath;

    /// Whether each present number lies in its range. A record that fails is neither read nor written.
    bool isValid() const;

    bool operator==(const VaultPreferences&) const = default;
};

template <class Visitor>
void describe(Visitor& visitor, VaultPreferences& record) {
    visitor.optional("faceGroupingEdits", record.faceGroupingEdits, "Corrections of face groups");
    visitor.optional("accentColor", record.accentColor, "Accent colour, when the user picked one");
    visitor.optional("accentColorIsUserSet", record.accentColorIsUserSet,
                     "Whether the user picked the accent colour");
    visitor.optional("exportQuality", record.exportQuality, "JPEG quality of exports, 0 to 1");
    visitor.optional("artistName", record.artistName, "Photographer's name written into exports");
    visitor.optional("dateIntervalSeconds", record.dateIntervalSeconds,
                     "Seconds between frames when dates are assigned, at least 0");
    visitor.optional("locationMaxGapHours", record.locationMaxGapHours,
                     "Longest gap to a location record in hours, 1 to 168");
    visitor.optional("showLocationBadges", record.showLocationBadges, "Whether photos show location badges");
    visitor.optional("soundEffectsEnabled", record.soundEffectsEnabled, "Whether sounds are played");
    visitor.optional("favoriteCameras", record.favoriteCameras, "The user's own cameras");
    visitor.optional("defaultCameraId", record.defaultCameraId, "Id of the camera that new rolls start with");
    visitor.optional("favoriteFilmStocks", record.favoriteFilmStocks, "The user's own film stocks");
    visitor.optional("defaultFilmStockId", record.defaultFilmStockId,
                     "Id of the film stock that new rolls start with");
    visitor.optional("favoriteCameraSlugs", record.favoriteCameraSlugs, "Cameras marked in the catalog");
    visitor.optional("favoriteFilmSlugs", record.favoriteFilmSlugs, "Film stocks marked in the catalog");
    visitor.optional("rollSortOption", record.rollSortOption, "What the list of rolls is sorted by");
    visitor.optional("rollSortAscending", record.rollSortAscending, "Whether rolls are sorted ascending");
    visitor.optional("gearRecommendations", record.gearRecommendations, "The latest gear recommendations");
    visitor.optional("filmIssuesEnabled", record.filmIssuesEnabled, "Film Issues");
    visitor.optional("gemSpotterEnabled", record.gemSpotterEnabled, "Gem Spotter");
    visitor.optional("faceFinderEnabled", record.faceFinderEnabled, "Face Finder");
    visitor.optional("sceneScoutEnabled", record.sceneScoutEnabled, "Scene Scout");
    visitor.optional("timeStamperEnabled", record.timeStamperEnabled, "Time Stamper");
    visitor.optional("colorSenseEnabled", record.colorSenseEnabled, "Color Sense");
    visitor.optional("deepAnalysisEnabled", record.deepAnalysisEnabled, "Deep Analysis");
    visitor.optional("mirrorEnabled", record.mirrorEnabled, "Whether saves are mirrored");
    visitor.optional("mirrorFolderBookmark", record.mirrorFolderBookmark,
                     "Reference to the mirror's folder on this machine (Base64)");
    visitor.optional("mirrorFolderPath", record.mirrorFolderPath, "Path of the mirror's folder");
}

}  // namespace kelvaris

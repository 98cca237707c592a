#pragma once

#include <map>
#include <optional>
#include <string>
#include <vector>

#include "application/app_view_model.h"
#include "preferences/vault_preferences.h"
#include "vault/roll_manifest.h"

namespace kelvaris::testing {

// A plain record of what the user did, for holding it against what the program shows and what its files say.
// It knows no FilmRoll and no undo, so that it cannot make the mistakes that they make.

struct PhotoRecord {
    std::optional<Instant> date;
    std::optional<MetadataSource> dateSource;
    std::optional<double> latitude;
    std::optional<double> longitude;
    std::optional<MetadataSource> placeSource;
    std::map<std::string, bool> labels;  ///< the user's own: forced on or off
    RotationAngle turn = RotationAngle::none;
    std::optional<MetadataSource> turnSource;
    bool isOut = false;
    bool isAnalyzed = false;
    int people = 0;  ///< as the latest analysis counted them

    bool operator==(const PhotoRecord&) const = default;
};

struct RollRecord {
    std::string cameraMake;
    std::string cameraModel;
    FilmFormat format = FilmFormat::thirtyFiveMM;
    std::string filmName;
    std::optional<int> filmISO;
    std::string notes;
    Instant baseDate;
    std::optional<WorkflowState> state;
    SortOption sort = SortOption::filename;
    bool ascending = true;
    /// The photos that are not taken out, where the order is one that the user can tell: by name or by hand.
    std::vector<std::string> order;
    std::map<std::string, PhotoRecord> photos;

    bool operator==(const RollRecord&) const = default;

    bool tellsOrder() const { return sort == SortOption::filename || sort == SortOption::custom; }
};

struct PreferencesRecord {
    double exportQuality = 1.0;
    std::string artistName;
    bool showLocationBadges = true;
    std::vector<std::string> cameras;  ///< favourites, as are the films
    std::vector<std::string> films;

    bool operator==(const PreferencesRecord&) const = default;
};

RollRecord recordOf(const FilmRoll& roll);
RollRecord recordOf(const VaultRollManifest& manifest);
PreferencesRecord recordOf(AppViewModel& app);
PreferencesRecord recordOf(const VaultPreferences& preferences);

/// The first thing in which the two differ, in words; empty when there is none.
std::string difference(const RollRecord& wanted, const RollRecord& actual);
std::string difference(const PreferencesRecord& wanted, const PreferencesRecord& actual);

/// The first value that none of the versions has, in words: after a crash each value may be an old or a new
/// one, but never a third, and no photo may be gone.
std::string thirdValue(const std::vector<RollRecord>& versions, const RollRecord& actual);
std::string thirdValue(const std::vector<PreferencesRecord>& versions, const PreferencesRecord& actual);

/// Changes what differs between the two, and nothing else: what undo and redo do.
void move(RollRecord& roll, const RollRecord& from, const RollRecord& to);

/// The names in the order of their numbers.
std::vector<std::string> namesInOrder(const RollRecord& roll);

}  // namespace kelvaris::testing

#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "analysis/analysis_cancellation.h"
#include "analysis/photo_snapshot.h"
#include "base/main_queue.h"
#include "discovery/match_walk.h"
#include "library/film_roll.h"

namespace kelvaris {

/// A snapshot of a roll for the search for a face.
struct FaceRollRef {
    struct FacePhotoRef {
        PhotoSnapshot snapshot;

        /// Whether the photo, its faces included, still equals this. Main thread.
        bool isCurrent() const { return current() != nullptr; }
        /// The photo while it does, or null. Main thread.
        PhotoPointer current() const;
        /// Whether the stored faces can be used as they are.
        bool hasCurrentAnalysis() const;
    };

    RollID id;
    std::string name;
    std::vector<FacePhotoRef> photos;

    static FaceRollRef of(const FilmRoll& roll);
};

/// One photo that holds a face like the one looked for.
struct FaceMatch : PhotoMatch {
    NormalizedRect matchedFaceBox;

    bool operator==(const FaceMatch&) const = default;
};

/// The matches of one roll, as the results screen shows them together.
struct FaceMatchSection {
    RollID rollID;
    std::string rollName;
    std::vector<FaceMatch> matches;

    bool operator==(const FaceMatchSection&) const = default;
};

using FaceRolls = std::shared_ptr<const std::vector<FaceRollRef>>;

/// Walks rolls for photos that hold the person of a given face.
class FaceSimilarityService {
public:
    static constexpr float threshold = 0.45F;
    static constexpr float strongThreshold = 0.55F;
    static constexpr std::size_t possibleLimit = 8;

    /// Finds the faces of a file, as FaceFinder::detectAndEmbed does. Called on a worker.
    using FaceRegionsProvider =
        std::function<std::optional<std::vector<FaceRegion>>(const Path&, RotationAngle)>;

    /// Faces that were looked for on the way.
    struct FreshAnalysis {
        RollID rollID;
        FaceRollRef::FacePhotoRef reference;
        PhotoItem::FaceRegions regions;
    };

    using Callbacks = MatchWalkCallbacks<FaceMatch, FreshAnalysis>;

    /// The main queue must outlive the walks.
    FaceSimilarityService(FaceRegionsProvider faceRegionsProvider, MainQueue& main)
        : faceRegionsProvider_(std::move(faceRegionsProvider)), main_(main) {}

    /// Walks as walkForMatches does. Photos without current analysis are analysed on the way.
    void findSimilarFaces(std::span<const float> embedding, PhotoID excludingPhotoID, const FaceRolls& rolls,
                          float threshold, const Callbacks& callbacks,
                          const AnalysisCancellation& cancellation) const;

    /// The best match within one photo: of its usable faces the nearest, the earlier one on a tie, when it
    /// is near enough.
    static std::optional<FaceMatch> bestMatch(std::span<const float> embedding, const PhotoSnapshot& photo,
                                              std::span<const FaceRegion> regions, const FaceRollRef& roll,
                                              float threshold);

    /// What the results screen shows: strong matches, then the first possible ones or all of them, by
    /// roll, each roll at the place of its first match.
    static std::vector<FaceMatchSection> grouped(std::span<const FaceMatch> matches, bool showAllPossible);

private:
    FaceRegionsProvider faceRegionsProvider_;
    MainQueue& main_;
};

}  // namespace kelvaris

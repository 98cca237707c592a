#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <optional>

#include "analysis/frame_quality.h"
#include "base/limited_waits.h"
#include "base/path.h"
#include "images/image_loading.h"
#include "platform/vision.h"
#include "vocabulary/analysis_result.h"

namespace kelvaris {

class UserPreferences;

/// The switches that a pass of analysis heeds, read once on the main thread and carried to its worker.
struct AnalysisSwitches {
    bool filmIssuesEnabled = true;
    bool autoRotateOnOpen = true;
    bool deepAnalysisEnabled = false;
    bool faceFinderEnabled = true;
    bool gemSpotterEnabled = true;
    bool sceneScoutEnabled = true;
    bool colorSenseEnabled = true;
    bool timeStamperEnabled = true;

    static AnalysisSwitches of(const UserPreferences& preferences);
    bool operator==(const AnalysisSwitches&) const = default;
};

/// Which way up a frame lies. @param deep take the slower, surer way. Any thread; blocks.
using OrientationProvider = std::function<OrientationDecision(const Image& image, bool deep)>;
/// The date that a camera burned into the frame. Any thread; blocks.
using TimestampReader = std::function<std::optional<Instant>(const Image& image)>;

/// Turns one decoded frame into labels, scores, colours, a hash and decisions. Holds no state: any number
/// of threads. What is handed in by reference must outlive the service.
class PhotoAnalysisService {
public:
    static constexpr std::chrono::seconds sceneTimeLimit{10};
    static constexpr int deepPeopleCountPixels = 4000;

    /// @param vision shared with a scene classification that hangs and is left behind.
    /// @param orientation may be empty: no frame is assessed.
    /// @param timestamps may be empty: no date is read.
    PhotoAnalysisService(std::shared_ptr<Vision> vision, const ImageLoading& loading, LimitedWaits& waits,
                         OrientationProvider orientation, TimestampReader timestamps);

    /// @param image the frame as decoded, in any orientation; not null.
    /// @param context absent counts as a frame at the edge of its roll.
    /// @param currentRotation the photo's rotation, by which the frame stands upright as far as is known.
    /// @param rotationProtected the rotation is not the analysis's to change: no orientation is assessed.
    AnalysisResult analyze(const Image& image, const std::optional<FrameContext>& context,
                           const AnalysisSwitches& switches, RotationAngle currentRotation,
                           bool rotationProtected) const;

    /// Looks for people in the file at a size at which distant faces show. Blocks.
    int countPeople(const Path& path, RotationAngle rotation) const;
    /// The same in a picture of that size, in which so many faces are known already. Blocks.
    int countPeople(const Image& image, int faces) const;

    /// Faces, people and scene of an upright frame.
    struct VisionReading {
        PhotoLabelSet labels;
        int peopleCount = 0;
        TagConfidences tags;
    };
    VisionReading analyzeWithVision(const Image& image, const AnalysisSwitches& switches) const;

private:
    struct PeopleFound {
        int faces = 0;
        int humans = 0;
        int bodies = 0;
        int most() const;
    };

    PeopleFound findPeople(const Image& image) const;
    std::optional<std::vector<SceneObservation>> classifyScene(const Image& image) const;
    /// Stores the decision, and gives the rotation by which the frame is to be seen.
    RotationAngle orient(const Image& image, const AnalysisSwitches& switches, RotationAngle currentRotation,
                         AnalysisResult& result) const;

    const std::shared_ptr<Vision> vision_;
    const ImageLoading& loading_;
    LimitedWaits& waits_;
    const OrientationProvider orientation_;
    const TimestampReader timestamps_;
};

}  // namespace kelvaris

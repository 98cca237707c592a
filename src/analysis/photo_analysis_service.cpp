#include "analysis/photo_analysis_service.h"

#include <fmt/format.h>

#include <algorithm>
#include <span>
#include <utility>

#include "analysis/dominant_colors.h"
#include "analysis/perceptual_hash.h"
#include "analysis/scene_labels.h"
#include "base/log.h"
#include "preferences/user_preferences.h"

namespace kelvaris {
namespace {

constexpr std::string_view category = "PhotoAnalysis";
constexpr float personThreshold = 0.12F;
constexpr float deepPersonThreshold = 0.08F;
constexpr int colorClusterCount = 5;
constexpr int colorIterations = 10;
constexpr std::size_t loggedObservations = 10;

template <class T>
int countOf(const VisionResult<std::vector<T>>& found) {
    return found ? static_cast<int>(found->size()) : 0;
}

void logTopIdentifiers(std::span<const SceneObservation> observations) {
    std::string line;
    for (const SceneObservation& each :
         observations.first(std::min(observations.size(), loggedObservations))) {
        if (!line.empty()) line += ", ";
        line += fmt::format("{}:{:.3f}", each.identifier, each.confidence);
    }
    log::info(category, "Vision top identifiers: {}", line);
}

}  // namespace

AnalysisSwitches AnalysisSwitches::of(const UserPreferences& preferences) {
    return {.filmIssuesEnabled = preferences.filmIssuesEnabled(),
            .autoRotateOnOpen = preferences.autoRotateOnOpen(),
            .deepAnalysisEnabled = preferences.deepAnalysisEnabled(),
            .faceFinderEnabled = preferences.faceFinderEnabled(),
            .gemSpotterEnabled = preferences.gemSpotterEnabled(),
            .sceneScoutEnabled = preferences.sceneScoutEnabled(),
            .colorSenseEnabled = preferences.colorSenseEnabled(),
            .timeStamperEnabled = preferences.timeStamperEnabled()};
}

PhotoAnalysisService::PhotoAnalysisService(std::shared_ptr<Vision> vision, const ImageLoading& loading,
                                           LimitedWaits& waits, OrientationProvider orientation,
                                           TimestampReader timestamps)
    : vision_(std::move(vision)),
      loading_(loading),
      waits_(waits),
      orientation_(std::move(orientation)),
      timestamps_(std::move(timestamps)) {}

AnalysisResult PhotoAnalysisService::analyze(const Image& image, const std::optional<FrameContext>& context,
                                             const AnalysisSwitches& switches, RotationAngle currentRotation,
                                             bool rotationProtected) const {
    AnalysisResult result;
    const GreyImage grey = greyCopy(*image);
    const auto statistics = computeImageStatistics(grey);
    const bool structured = statistics && hasStructure(*statistics);
    if (statistics) {
        if (isBlank(*statistics, isEdgeFrame(context))) result.labels.insert(PhotoLabel::blank);
        if (switches.filmIssuesEnabled) {
            result.labels =
                result.labels | filmIssues(*statistics, result.labels.contains(PhotoLabel::blank));
        }
    }

    RotationAngle rotation = currentRotation;
    const bool looksBlank = result.labels.contains(PhotoLabel::blank);
    if (!looksBlank && !rotationProtected && switches.autoRotateOnOpen) {
        rotation = orient(image, switches, currentRotation, result);
    }
    const Image upright = ImageLoading::transformed(image, 1, rotation);

    bool seen = false;
    if (structured || !looksBlank) {
        VisionReading reading = analyzeWithVision(upright, switches);
        seen = !reading.labels.empty();
        result.labels = result.labels | reading.labels;
        result.peopleCount = reading.peopleCount;
        result.visionTags = std::move(reading.tags);
    }
    if (structured && seen) result.labels.erase(PhotoLabel::blank);
    result.qualityScore = adjustedQualityScore(baseQualityScore(statistics), result.labels);
    if (result.labels.contains(PhotoLabel::blank)) return result;

    if (switches.colorSenseEnabled) {
        result.dominantColors = extractDominantColors(*upright, colorClusterCount, colorIterations);
    }
    result.perceptualHash = upright == image ? perceptualHash(grey) : computePerceptualHash(upright);
    if (switches.timeStamperEnabled && timestamps_) result.detectedTimestamp = timestamps_(upright);
    return result;
}

RotationAngle PhotoAnalysisService::orient(const Image& image, const AnalysisSwitches& switches,
                                           RotationAngle currentRotation, AnalysisResult& result) const {
    if (!orientation_) return currentRotation;
    result.orientationDecision = orientation_(image, switches.deepAnalysisEnabled);
    const OrientationDecision& decision = *result.orientationDecision;
    if (decision.status == OrientationDecision::Status::upright) {
        result.suggestedRotation = RotationAngle::none;
    } else if (decision.status == OrientationDecision::Status::correction) {
        result.suggestedRotation = decision.rotation;
    }
    return result.suggestedRotation.value_or(currentRotation);
}

PhotoAnalysisService::VisionReading PhotoAnalysisService::analyzeWithVision(
    const Image& image, const AnalysisSwitches& switches) const {
    VisionReading reading;
    if (switches.faceFinderEnabled) {
        const PeopleFound found = findPeople(image);
        if (found.faces > 0) reading.labels.insert(PhotoLabel::face);
        if (found.most() > 0) reading.labels.insert(PhotoLabel::person);
        reading.peopleCount = found.most();
    }
    if (!switches.sceneScoutEnabled) return reading;
    const auto observations = classifyScene(image);
    if (!observations) return reading;
    logTopIdentifiers(*observations);
    SceneReading scene = readScene(*observations, reading.labels,
                                   switches.deepAnalysisEnabled ? deepPersonThreshold : personThreshold);
    reading.labels = scene.labels;
    reading.tags = std::move(scene.tags);
    return reading;
}

std::optional<std::vector<SceneObservation>> PhotoAnalysisService::classifyScene(const Image& image) const {
    using Answer = VisionResult<std::vector<SceneObservation>>;
    vision_->prepareScenes();
    auto answer = runLimited<Answer>(waits_, sceneTimeLimit,
                                     [image, vision = vision_] { return vision->classifyScene(image); });
    if (!answer) {
        log::error(category, "VNClassifyImageRequest timed out after {:f}s",
                   std::chrono::duration<double>(sceneTimeLimit).count());
        return std::nullopt;
    }
    return std::move(*answer).toOptional();
}

PhotoAnalysisService::PeopleFound PhotoAnalysisService::findPeople(const Image& image) const {
    return {countOf(vision_->detectFaces(image, false)), countOf(vision_->detectHumans(image)),
            countOf(vision_->detectBodyPoses(image))};
}

int PhotoAnalysisService::PeopleFound::most() const { return std::max({faces, humans, bodies}); }

int PhotoAnalysisService::countPeople(const Path& path, RotationAngle rotation) const {
    const Image image = loading_.coordinatedThumbnail(path, deepPeopleCountPixels, false, rotation);
    return image ? findPeople(image).most() : 0;
}

int PhotoAnalysisService::countPeople(const Image& image, int faces) const {
    return PeopleFound{faces, countOf(vision_->detectHumans(image)), countOf(vision_->detectBodyPoses(image))}
        .most();
}

}  // namespace kelvaris

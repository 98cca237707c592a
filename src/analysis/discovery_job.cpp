#include "analysis/discovery_job.h"

#include <algorithm>

#include "analysis/discovery_state.h"
#include "analysis/place_labels.h"
#include "analysis/prefixed_tags.h"
#include "analysis/roll_passes.h"
#include "base/log.h"

namespace kelvaris {
namespace {

constexpr std::string_view category = "Analysis";
constexpr int refreshPixels = 1200;

bool asksFor(const DiscoveryTarget& target, ModelID id) {
    return std::ranges::find(target.requested, id) != target.requested.end();
}

void findStyles(const PhotoSnapshot& snapshot, SnapshotFrames& frames, CLIPService& clip,
                DiscoveryFindings& findings) {
    auto embedding = clip.imageEmbedding(frames.whole());
    if (!embedding) {
        log::error(category, "CLIP embedding failed for {}: {}", snapshot.filename, embedding.error());
        return;
    }
    findings.embedding = std::move(*embedding);
    if (findings.embedding) findings.styles = clip.classifyStyles(*findings.embedding);
}

void askModels(const PhotoSnapshot& snapshot, const DiscoveryTarget& target, SnapshotFrames& frames,
               const ModelServices& services, DiscoveryFindings& findings) {
    const bool wantsFaces = asksFor(target, ModelID::faceNet) &&
                            hasIncompleteFaces(snapshot.faceRegions, snapshot.faceAnalysisStamp);
    const bool wantsWhole = asksFor(target, ModelID::clipVitB16) || asksFor(target, ModelID::places365) ||
                            asksFor(target, ModelID::nima);
    if (wantsWhole && frames.whole()) {
        if (asksFor(target, ModelID::clipVitB16)) findStyles(snapshot, frames, services.clip, findings);
        if (asksFor(target, ModelID::places365)) {
            findings.categories = services.places.classifyScene(frames.whole());
        }
        if (asksFor(target, ModelID::nima)) findings.nimaScore = services.nima.predictScore(frames.whole());
    }
    if (wantsFaces && frames.large()) {
        findings.faceRegions = services.faces.detectAndEmbed(frames.large());
    }
}

bool isComplete(const PhotoSnapshot& snapshot, const DiscoveryTarget& target,
                const DiscoveryFindings& findings) {
    DiscoveryState state{.hasEmbedding = findings.embedding.has_value(),
                         .faceRegions = snapshot.faceRegions,
                         .faceAnalysisStamp = snapshot.faceAnalysisStamp,
                         .hasCategories = findings.categories.has_value(),
                         .hasNimaScore = findings.nimaScore.has_value()};
    if (findings.faceRegions) {
        state.faceRegions = findings.faceRegions;
        state.faceAnalysisStamp = currentFaceAnalysisStamp;
    }
    return findings.analysis && !hasIncompleteDiscovery(target.requested, state);
}

void applyAnalysis(const AnalysisResult& analysis, PhotoItem& photo) {
    photo.setVisionTags(mergedWithPrefixedTags(analysis.visionTags, photo.visionTags()));
    photo.setQualityScore(analysis.qualityScore);
    photo.setPeopleCount(analysis.peopleCount);
    photo.setLabelsAnalyzed(true);
    photo.setOrientationCacheVersion(PhotoItem::currentOrientationCacheVersion);
    if (analysis.dominantColors) photo.setDominantColors(analysis.dominantColors);
    if (analysis.perceptualHash) photo.setPerceptualHash(analysis.perceptualHash);
    photo.applySuggestedLabels(analysis.labels & subjectLabelSet);
}

}  // namespace

DiscoveryFindings rediscover(const PhotoSnapshot& snapshot, const DiscoveryTarget& target,
                             const ImageLoading& loading, const PhotoAnalysisService& analysis,
                             const ModelServices* services) {
    DiscoveryFindings findings;
    if (const Image image =
            loading.coordinatedThumbnail(snapshot.sourceURL, refreshPixels, false, RotationAngle::none)) {
        // A rotation that is protected is not assessed, and nothing of the roll around is known here.
        findings.analysis = analysis.analyze(image, std::nullopt, target.switches, snapshot.rotation, true);
    }
    SnapshotFrames frames(loading, snapshot);
    if (services) askModels(snapshot, target, frames, *services, findings);
    findings.isComplete = isComplete(snapshot, target, findings);
    return findings;
}

void applyFindings(const DiscoveryFindings& findings, const std::string& revision, PhotoItem& photo) {
    if (findings.isComplete) photo.setDiscoveryRevision(revision);
    if (findings.analysis) applyAnalysis(*findings.analysis, photo);
    if (findings.embedding) {
        photo.setClipEmbedding(*findings.embedding);
        applyStyles(findings.styles, photo);
    }
    if (findings.faceRegions) applyFaces(*findings.faceRegions, photo);
    if (findings.nimaScore) photo.setNimaScore(findings.nimaScore);
    if (findings.categories) applyPlaceCategories(*findings.categories, photo);
}

}  // namespace kelvaris

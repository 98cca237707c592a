#include "vault/roll_document.h"

#include <algorithm>
#include <iterator>
#include <string_view>
#include <unordered_set>
#include <utility>

namespace kelvaris {

namespace {

std::vector<std::string> sortedNames(const VaultRollManifest& manifest) {
    std::vector<std::string> names;
    names.reserve(manifest.photos.size());
    for (const PhotoManifestEntry& entry : manifest.photos) names.push_back(entry.filename);
    if (manifest.removedPhotos) {
        for (const PhotoManifestEntry& entry : *manifest.removedPhotos) names.push_back(entry.filename);
    }
    std::sort(names.begin(), names.end());
    names.erase(std::unique(names.begin(), names.end()), names.end());
    return names;
}

bool isOutdated(const PhotoManifestEntry& entry) {
    return entry.analysisVersion && entry.analysisVersion != VaultRollManifest::currentAnalysisVersion;
}

/// What an analysis found and a roll that is loaded does not show when another version found it.
void keepFindings(const PhotoManifestEntry& outdated, PhotoManifestEntry& entry) {
    entry.labels = outdated.labels;
    entry.qualityScore = outdated.qualityScore;
    entry.nimaScore = outdated.nimaScore;
    entry.peopleCount = outdated.peopleCount;
    entry.dominantColors = outdated.dominantColors;
    entry.perceptualHash = outdated.perceptualHash;
    entry.placeCategories = outdated.placeCategories;
    entry.clipLabels = outdated.clipLabels;
    entry.analysisVersion = outdated.analysisVersion;
    if (!entry.captureDate && outdated.dateSource == MetadataSource::autoDetect) {
        entry.captureDate = outdated.captureDate;
        entry.dateSource = outdated.dateSource;
    }
}

}  // namespace

void RollDocument::take(const StoredRoll& stored) {
    file = stored.file;
    stamp = stored.stamp;
    sidecarIsUnusable = stored.sidecarIsUnusable;
    remember(stored.manifest);
}

void RollDocument::remember(const VaultRollManifest& stored) {
    names = sortedNames(stored);
    outdated.clear();
    for (const PhotoManifestEntry& entry : stored.photos) {
        if (isOutdated(entry)) outdated.try_emplace(entry.filename, entry);
    }
}

VaultRollManifest merged(const RollDocument& document, VaultRollManifest live) {
    if (document.outdated.empty()) return live;
    for (PhotoManifestEntry& entry : live.photos) {
        if (entry.analysisVersion) continue;
        const auto found = document.outdated.find(entry.filename);
        if (found != document.outdated.end()) keepFindings(found->second, entry);
    }
    return live;
}

std::vector<std::string> lostNames(const RollDocument& document, const VaultRollManifest& manifest) {
    const std::vector<std::string> kept = sortedNames(manifest);
    std::vector<std::string> lost;
    std::set_difference(document.names.begin(), document.names.end(), kept.begin(), kept.end(),
                        std::back_inserter(lost));
    return lost;
}

std::vector<FileFingerprint> mergedFingerprint(std::vector<FileFingerprint> present,
                                               const std::vector<FileFingerprint>& stored,
                                               const std::vector<PhotoManifestEntry>& photos) {
    std::unordered_set<std::string_view> there;
    for (const FileFingerprint& file : present) there.insert(file.filename);
    std::unordered_set<std::string_view> missing;
    for (const PhotoManifestEntry& photo : photos) {
        if (!there.contains(photo.filename)) missing.insert(photo.filename);
    }
    for (const FileFingerprint& file : stored) {
        if (missing.erase(file.filename) > 0) present.push_back(file);
    }
    std::ranges::sort(present, {}, &FileFingerprint::filename);
    return present;
}

}  // namespace kelvaris

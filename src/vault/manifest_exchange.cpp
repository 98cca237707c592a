#include "vault/manifest_exchange.h"

#include <algorithm>
#include <string_view>
#include <unordered_map>
#include <unordered_set>
#include <utility>

#include "base/log.h"
#include "base/text.h"
#include "library/roll_editing.h"
#include "library/sort_indices.h"

namespace kelvaris {

namespace {

std::optional<std::string> unlessEmpty(const std::string& text) {
    if (text.empty()) return std::nullopt;
    return text;
}

template <class Map>
std::optional<Map> unlessEmpty(const std::optional<Map>& map) {
    return map && !map->empty() ? map : std::nullopt;
}

std::vector<std::string> labelWords(const PhotoLabelSet& labels) {
    std::vector<std::string> words;
    for (const PhotoLabel label : labels) words.emplace_back(rawValue(label));
    std::sort(words.begin(), words.end());
    return words;
}

std::vector<FaceRegionEntry> entriesOf(const std::vector<FaceRegion>& regions) {
    std::vector<FaceRegionEntry> entries;
    entries.reserve(regions.size());
    for (const FaceRegion& region : regions) {
        const NormalizedRect& box = region.boundingBox;
        entries.push_back({.x = box.x,
                           .y = box.y,
                           .width = box.width,
                           .height = box.height,
                           .embeddingVersion = region.embeddingVersion,
                           .tooSmallToMatch = region.tooSmallToMatch});
    }
    return entries;
}

PhotoManifestEntry entryOf(const PhotoItem& photo, bool knowsFiles) {
    PhotoManifestEntry entry;
    entry.filename = photo.filename();
    entry.sortIndex = photo.sortIndex();
    entry.captureDate = photo.captureDate();
    entry.dateSource = photo.dateSource();
    entry.latitude = photo.latitude();
    entry.longitude = photo.longitude();
    entry.locationSource = photo.locationSource();
    entry.placeName = photo.placeName();
    entry.visionTags = unlessEmpty(std::optional(photo.visionTags()));
    entry.manualLabelOverrides = unlessEmpty(std::optional(photo.manualLabelOverrides()));
    if (photo.labelsAnalyzed()) {
        entry.labels = labelWords(photo.labels());
        entry.qualityScore = photo.qualityScore();
        if (photo.peopleCount() >= 1) entry.peopleCount = photo.peopleCount();
        entry.analysisVersion = VaultRollManifest::currentAnalysisVersion;
    }
    entry.nimaScore = photo.nimaScore();
    if (photo.rotation() != RotationAngle::none || photo.rotationSource()) entry.rotation = photo.rotation();
    entry.rotationSource = photo.rotationSource();
    entry.orientationDecision = photo.orientationDecision().toOptional();
    entry.orientationCacheVersion = photo.orientationCacheVersion();
    entry.dominantColors = photo.dominantColors();
    entry.perceptualHash = photo.perceptualHash();
    entry.placeCategories = unlessEmpty(photo.placeCategories());
    entry.clipLabels = photo.clipLabels();
    if (photo.faceRegions()) entry.faceRegions = entriesOf(*photo.faceRegions());
    entry.faceAnalysisStamp = photo.faceAnalysisStamp();
    entry.discoveryRevision = photo.discoveryRevision();
    if (knowsFiles && photo.isMissing()) entry.isMissing = true;
    return entry;
}

PhotoEmbeddings vectorsOf(const PhotoItem& photo) {
    PhotoEmbeddings vectors;
    vectors.clip = photo.clipEmbedding().toOptional();
    if (!photo.faceRegions()) return vectors;
    for (const FaceRegion& region : *photo.faceRegions()) {
        if (!region.embedding.empty()) vectors.faces.push_back(region.embedding);
    }
    return vectors;
}

void applyRollValues(const VaultRollManifest& manifest, FilmRoll& roll) {
    if (manifest.cameraMake) roll.setCameraMake(*manifest.cameraMake);
    if (manifest.cameraModel) roll.setCameraModel(*manifest.cameraModel);
    if (manifest.cameraFormat) roll.setCameraFormat(*manifest.cameraFormat);
    if (manifest.filmName) roll.setFilmName(*manifest.filmName);
    roll.setFilmISO(manifest.filmISO);
    if (manifest.notes) roll.setNotes(*manifest.notes);
    if (manifest.baseDate) roll.setBaseDate(*manifest.baseDate);
    if (manifest.sortOption) {
        if (const auto known = fromRawValue<SortOption>(*manifest.sortOption)) roll.setSortOption(*known);
    }
    if (manifest.sortAscending) roll.setSortAscending(*manifest.sortAscending);
    if (manifest.dateOpened) roll.setDateOpened(*manifest.dateOpened);
    roll.setWorkflowState(manifest.workflowState);
    roll.setLastExported(manifest.lastExported);
    roll.setExportDirty(manifest.exportDirty);
    roll.setStoredFingerprint(manifest.fileFingerprint);
}

void applyAnalysis(const PhotoManifestEntry& entry, PhotoItem& photo) {
    PhotoLabelSet labels;
    for (const std::string& word : *entry.labels) {
        if (const auto known = fromRawValue<PhotoLabel>(word)) labels.insert(*known);
    }
    photo.setLabels(labels);
    photo.setQualityScore(entry.qualityScore.value_or(0));
    photo.setNimaScore(entry.nimaScore);
    photo.setDominantColors(entry.dominantColors);
    photo.setPerceptualHash(entry.perceptualHash);
    photo.setPlaceCategories(entry.placeCategories);
    photo.setClipLabels(entry.clipLabels);
    photo.setPeopleCount(static_cast<int>(entry.peopleCount.value_or(0)));
    photo.setLabelsAnalyzed(true);
}

/// Vectors, hash and faces of a turned photo that were made before its turn was taken into account.
void discardStaleOrientationCaches(const PhotoManifestEntry& entry, PhotoItem& photo) {
    if (photo.rotation() == RotationAngle::none ||
        photo.orientationCacheVersion() == VaultRollManifest::currentOrientationCacheVersion) {
        return;
    }
    photo.setClipEmbedding({});
    photo.setPerceptualHash({});
    if (!entry.faceRegions || entry.faceRegions->empty()) return photo.setFaceRegions({});
    auto regions = restoreFaceRegions(entry.faceRegions, {});
    for (FaceRegion& region : *regions) region.embeddingVersion = 0;
    photo.setFaceRegions(std::move(regions));
}

void applyEntry(const PhotoManifestEntry& entry, PhotoEmbeddings vectors, PhotoItem& photo) {
    const bool isCurrent = entry.analysisVersion == VaultRollManifest::currentAnalysisVersion;
    photo.setSortIndex(static_cast<int>(entry.sortIndex));

    const bool redetectsDate = entry.dateSource == MetadataSource::autoDetect && !isCurrent;
    photo.setCaptureDate(redetectsDate ? std::nullopt : entry.captureDate);
    photo.setDateSource(redetectsDate ? std::nullopt : entry.dateSource);

    photo.setLatitude(entry.latitude);
    photo.setLongitude(entry.longitude);
    photo.setLocationSource(entry.locationSource);
    photo.setPlaceName(entry.placeName);

    photo.setManualLabelOverrides(entry.manualLabelOverrides.value_or(std::map<std::string, bool>()));
    photo.setVisionTags(entry.visionTags.value_or(TagConfidences()));
    photo.setClipEmbedding(std::move(vectors.clip));
    if (entry.labels && isCurrent) applyAnalysis(entry, photo);
    photo.applySuggestedLabels({});  // folds the user's own labels in
    photo.setDiscoveryRevision(entry.discoveryRevision);
    photo.setFaceAnalysisStamp(entry.faceAnalysisStamp);
    photo.setFaceRegions(restoreFaceRegions(entry.faceRegions, std::move(vectors.faces)));

    if (entry.rotation) {
        photo.setRotation(*entry.rotation);
        photo.setDisplayRotationDegrees(displayDegrees(*entry.rotation));
    }
    photo.setRotationSource(entry.rotationSource);
    photo.setOrientationDecision(entry.orientationDecision);
    photo.setOrientationCacheVersion(entry.orientationCacheVersion);
    discardStaleOrientationCaches(entry, photo);
}

/// Stored indices stay; a photo whose index another one has goes behind the largest.
void separateSortIndices(const FilmRoll& roll) {
    SortIndices indices;
    std::vector<PhotoItem*> clashing;
    for (const PhotoPointer& photo : roll.photos()) {
        if (!indices.take(photo->sortIndex())) clashing.push_back(photo.get());
    }
    for (PhotoItem* photo : clashing) photo->setSortIndex(indices.takeNext());
}

PhotoEmbeddings extracted(EmbeddingsByFilename& embeddings, const std::string& filename) {
    auto vectors = embeddings.extract(filename);
    return vectors ? std::move(vectors.mapped()) : PhotoEmbeddings();
}

/// The photo of an entry whose file nobody has seen yet.
PhotoPointer unseenPhoto(const FilmRoll& roll, const PhotoManifestEntry& entry) {
    auto photo =
        std::make_shared<PhotoItem>(roll.sourceFolder() / entry.filename, static_cast<int>(entry.sortIndex));
    photo->setIsMissing(true);
    return photo;
}

}  // namespace

VaultRollManifest buildManifest(const FilmRoll& roll, std::vector<FileFingerprint> fingerprint) {
    VaultRollManifest manifest;
    manifest.id = roll.id().text();
    manifest.folderPath = roll.sourceFolder().string();
    if (roll.folderBookmarkData()) manifest.folderBookmark = base64Encoded(*roll.folderBookmarkData());
    manifest.fileFingerprint = std::move(fingerprint);
    manifest.workflowState = roll.workflowState();
    manifest.lastExported = roll.lastExported();
    manifest.exportDirty = roll.exportDirty();
    manifest.cameraMake = unlessEmpty(roll.cameraMake());
    manifest.cameraModel = unlessEmpty(roll.cameraModel());
    manifest.cameraFormat = roll.cameraFormat();
    manifest.filmName = unlessEmpty(roll.filmName());
    manifest.filmISO = roll.filmISO();
    manifest.notes = unlessEmpty(roll.notes());
    manifest.baseDate = roll.baseDate();
    manifest.sortOption = std::string(rawValue(roll.sortOption()));
    manifest.sortAscending = roll.sortAscending();
    manifest.dateOpened = roll.dateOpened();
    manifest.photos.reserve(roll.photos().size());
    // Of a roll that is away every file is out of reach; which of them are gone is not known then.
    const bool knowsFiles = !roll.isDisconnected();
    for (const auto& photo : roll.photos()) manifest.photos.push_back(entryOf(*photo, knowsFiles));
    if (!roll.removedPhotos().empty()) {
        manifest.removedPhotos.emplace();
        for (const auto& photo : roll.removedPhotos()) {
            manifest.removedPhotos->push_back(entryOf(*photo, false));
        }
    }
    return manifest;
}

EmbeddingsByFilename buildEmbeddings(const FilmRoll& roll) {
    EmbeddingsByFilename embeddings;
    for (const PhotoList* list : {&roll.photos(), &roll.removedPhotos()}) {
        for (const auto& photo : *list) {
            PhotoEmbeddings vectors = vectorsOf(*photo);
            if (vectors != PhotoEmbeddings())
                embeddings.insert_or_assign(photo->filename(), std::move(vectors));
        }
    }
    return embeddings;
}

bool applyManifest(const VaultRollManifest& manifest, EmbeddingsByFilename embeddings, FilmRoll& roll) {
    if (!manifest.isValid()) {
        log::error("Vault", "Refusing to apply invalid roll metadata");
        return false;
    }
    applyRollValues(manifest, roll);

    // A photo stays the object that it is, in either list: steps for undo hold it.
    std::unordered_map<std::string_view, PhotoPointer> live;
    for (const PhotoPointer& photo : roll.photos()) live.emplace(photo->filename(), photo);
    std::unordered_map<std::string_view, PhotoPointer> out;
    for (const PhotoPointer& photo : roll.removedPhotos()) out.emplace(photo->filename(), photo);
    const auto outOrUnseen = [&](const PhotoManifestEntry& entry) {
        const auto known = out.find(entry.filename);
        return known == out.end() ? unseenPhoto(roll, entry) : known->second;
    };
    PhotoList removed;
    for (const PhotoManifestEntry& entry :
         manifest.removedPhotos.value_or(std::vector<PhotoManifestEntry>())) {
        const auto known = live.extract(entry.filename);
        removed.push_back(known ? known.mapped() : outOrUnseen(entry));
        applyEntry(entry, extracted(embeddings, entry.filename), *removed.back());
    }
    PhotoList photos;
    std::unordered_set<std::string_view> taken;
    for (const PhotoPointer& photo : removed) taken.insert(photo->filename());
    for (const PhotoPointer& photo : roll.photos()) {
        if (!taken.contains(photo->filename())) photos.push_back(photo);
    }
    for (const PhotoManifestEntry& entry : manifest.photos) {
        if (!taken.insert(entry.filename).second) continue;  // the first of two entries counts
        const auto known = live.find(entry.filename);
        if (known == live.end()) photos.push_back(outOrUnseen(entry));
        applyEntry(entry, extracted(embeddings, entry.filename),
                   known == live.end() ? *photos.back() : *known->second);
    }
    roll.setPhotos(std::move(photos));
    roll.setRemovedPhotos(std::move(removed));
    separateSortIndices(roll);

    const bool keepsIndices =
        roll.sortOption() == SortOption::filename || roll.sortOption() == SortOption::custom;
    keepsIndices ? orderPhotos(roll) : sortPhotos(roll);
    return true;
}

void takeInManifest(const VaultRollManifest& manifest, FilmRoll& roll) {
    EmbeddingsByFilename vectors = buildEmbeddings(roll);
    roll.setCameraMake({});
    roll.setCameraModel({});
    roll.setFilmName({});
    roll.setNotes({});
    applyManifest(manifest, std::move(vectors), roll);
}

std::optional<std::vector<FaceRegion>> restoreFaceRegions(
    const std::optional<std::vector<FaceRegionEntry>>& entries, std::vector<std::vector<float>> vectors) {
    if (!entries) return std::nullopt;
    const bool agree = vectors.size() == entries->size();
    std::vector<FaceRegion> regions;
    regions.reserve(entries->size());
    for (std::size_t i = 0; i < entries->size(); ++i) {
        const FaceRegionEntry& entry = (*entries)[i];
        regions.push_back({.boundingBox = {entry.x, entry.y, entry.width, entry.height},
                           .embedding = agree ? std::move(vectors[i]) : std::vector<float>(),
                           .embeddingVersion = entry.embeddingVersion.value_or(0),
                           .tooSmallToMatch = entry.tooSmallToMatch});
    }
    return regions;
}

}  // namespace kelvaris

#include "live_json.h"

#include "vocabulary/json_record.h"

namespace kelvaris::cli {

namespace {

using Json = nlohmann::ordered_json;

template <class T>
void put(Json& object, const char* key, const T& value) {
    object[key] = encodedJson(value);
}

template <class T>
void put(Json& object, const char* key, const std::optional<T>& value) {
    if (value) object[key] = encodedJson(*value);
}

template <class T>
void put(Json& object, const char* key, const SharedValue<T>& value) {
    if (value) object[key] = encodedJson(*value);
}

template <class Labels>
Json words(const Labels& labels) {
    Json list = Json::array();
    for (const PhotoLabel label : labels) list.push_back(rawValue(label));
    return list;
}

Json sizeOf(const Image& image) { return Json{{"width", image->width}, {"height", image->height}}; }

Json faces(const std::vector<FaceRegion>& regions) {
    Json list = Json::array();
    for (const FaceRegion& region : regions) {
        const NormalizedRect& box = region.boundingBox;
        Json face{{"x", box.x}, {"y", box.y}, {"width", box.width}, {"height", box.height}};
        face["embeddingVersion"] = region.embeddingVersion;
        if (region.tooSmallToMatch) face["tooSmallToMatch"] = *region.tooSmallToMatch;
        face["vectorLength"] = region.embedding.size();
        list.push_back(std::move(face));
    }
    return list;
}

Json photosJson(const PhotoList& photos) {
    Json list = Json::array();
    for (const PhotoPointer& photo : photos) list.push_back(liveJson(*photo));
    return list;
}

}  // namespace

Json liveJson(const PhotoItem& photo) {
    Json json;
    put(json, "id", photo.id().text());
    put(json, "sourceURL", photo.sourceURL().string());
    put(json, "filename", photo.filename());
    put(json, "sortIndex", photo.sortIndex());
    put(json, "isVisible", photo.isVisible());
    put(json, "captureDate", photo.captureDate());
    put(json, "fileCreationDate", photo.fileCreationDate());
    put(json, "fileModificationDate", photo.fileModificationDate());
    put(json, "exifDateTaken", photo.exifDateTaken());
    put(json, "latitude", photo.latitude());
    put(json, "longitude", photo.longitude());
    put(json, "dateSource", photo.dateSource());
    put(json, "locationSource", photo.locationSource());
    put(json, "placeName", photo.placeName());
    put(json, "rotation", photo.rotation());
    put(json, "rotationRevision", photo.rotationRevision());
    put(json, "orientationDecision", photo.orientationDecision());
    put(json, "orientationCacheVersion", photo.orientationCacheVersion());
    put(json, "displayRotationDegrees", photo.displayRotationDegrees());
    put(json, "rotationSource", photo.rotationSource());
    put(json, "visionTags", photo.visionTags());
    if (photo.clipEmbedding()) json["clipEmbedding"] = Json{{"length", photo.clipEmbedding()->size()}};
    if (photo.thumbnail()) json["thumbnail"] = sizeOf(photo.thumbnail());
    json["labels"] = words(photo.labels());
    put(json, "manualLabelOverrides", photo.manualLabelOverrides());
    put(json, "qualityScore", photo.qualityScore());
    put(json, "nimaScore", photo.nimaScore());
    put(json, "dominantColors", photo.dominantColors());
    put(json, "perceptualHash", photo.perceptualHash());
    put(json, "placeCategories", photo.placeCategories());
    put(json, "clipLabels", photo.clipLabels());
    if (photo.faceRegions()) json["faceRegions"] = faces(*photo.faceRegions());
    put(json, "faceAnalysisStamp", photo.faceAnalysisStamp());
    put(json, "discoveryRevision", photo.discoveryRevision());
    put(json, "peopleCount", photo.peopleCount());
    put(json, "labelsAnalyzed", photo.labelsAnalyzed());
    put(json, "loadState", photo.loadState());
    json["sortedQualityLabels"] = words(photo.sortedQualityLabels());
    json["sortedSubjectLabels"] = words(photo.sortedSubjectLabels());
    json["sortedLabels"] = words(photo.sortedLabels());
    json["displaySubjectLabels"] = words(photo.displaySubjectLabels());
    put(json, "isMissing", photo.isMissing());
    return json;
}

Json liveJson(const FilmRoll& roll, bool withPhotos) {
    Json json;
    put(json, "id", roll.id().text());
    put(json, "name", roll.name());
    put(json, "sourceFolder", roll.sourceFolder().string());
    put(json, "photoCount", roll.photos().size());
    put(json, "baseDate", roll.baseDate());
    put(json, "sortOption", roll.sortOption());
    put(json, "sortAscending", roll.sortAscending());
    put(json, "hideFlagged", roll.hideFlagged());
    put(json, "flaggedCount", roll.flaggedCount());
    put(json, "isAnalyzing", roll.isAnalyzing());
    put(json, "needsFullActivation", roll.needsFullActivation());
    put(json, "workflowState", roll.workflowState());
    put(json, "lastExported", roll.lastExported());
    put(json, "exportDirty", roll.exportDirty());
    put(json, "dateOpened", roll.dateOpened());
    put(json, "isDisconnected", roll.isDisconnected());
    put(json, "storedFingerprint", roll.storedFingerprint());
    put(json, "cameraMake", roll.cameraMake());
    put(json, "cameraModel", roll.cameraModel());
    put(json, "cameraFormat", roll.cameraFormat());
    put(json, "filmName", roll.filmName());
    put(json, "filmISO", roll.filmISO());
    put(json, "notes", roll.notes());
    put(json, "cloudAvailability", roll.cloudAvailability());
    put(json, "dateRange", roll.dateRange());
    put(json, "sourceFolderBreadcrumb", roll.sourceFolderBreadcrumb());
    if (roll.isDisconnected()) put(json, "awayReason", roll.awayReason());
    if (roll.statusNotification()) json["statusNotification"] = roll.statusNotification()->message();
    if (withPhotos) {
        json["photos"] = photosJson(roll.photos());
        if (!roll.removedPhotos().empty()) json["removedPhotos"] = photosJson(roll.removedPhotos());
    }
    return json;
}

}  // namespace kelvaris::cli

#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "base/describe.h"
#include "base/instant.h"
#include "vocabulary/face_analysis_stamp.h"
#include "vocabulary/face_region_entry.h"
#include "vocabulary/file_fingerprint.h"
#include "vocabulary/film_format.h"
#include "vocabulary/metadata_source.h"
#include "vocabulary/orientation_decision.h"
#include "vocabulary/rotation_angle.h"
#include "vocabulary/workflow_state.h"

namespace kelvaris {

/// What a roll's file holds of one photo. The file name joins it to the picture and to the sidecar.
struct PhotoManifestEntry {
    std::string filename;
    std::int64_t sortIndex = 0;
    std::optional<Instant> captureDate;
    std::optional<MetadataSource> dateSource;
    std::optional<double> latitude;
    std::optional<double> longitude;
    std::optional<MetadataSource> locationSource;
    std::optional<std::string> placeName;
    std::optional<std::map<std::string, float>> visionTags;
    std::optional<std::vector<std::string>> labels;
    std::optional<std::map<std::string, bool>> manualLabelOverrides;
    std::optional<double> qualityScore;
    std::optional<double> nimaScore;
    std::optional<std::int64_t> peopleCount;
    std::optional<RotationAngle> rotation;
    std::optional<MetadataSource> rotationSource;
    std::optional<OrientationDecision> orientationDecision;
    std::optional<int> orientationCacheVersion;
    std::optional<std::vector<std::string>> dominantColors;
    std::optional<std::string> perceptualHash;
    std::optional<std::map<std::string, float>> placeCategories;
    std::optional<std::vector<std::string>> clipLabels;
    std::optional<std::vector<FaceRegionEntry>> faceRegions;
    std::optional<FaceAnalysisStamp> faceAnalysisStamp;
    std::optional<std::string> discoveryRevision;
    std::optional<std::int64_t> analysisVersion;
    std::optional<bool> isMissing;

    bool operator==(const PhotoManifestEntry&) const = default;
};

template <class Visitor>
void describe(Visitor& visitor, PhotoManifestEntry& record) {
    visitor.required("filename", record.filename, "Name of the image file; joins everything");
    visitor.required("sortIndex", record.sortIndex, "Place in the roll, 0 to 2147483646");
    visitor.optional("captureDate", record.captureDate, "When the picture was taken");
    visitor.optional("dateSource", record.dateSource, "Who set the date");
    visitor.optional("latitude", record.latitude, "Degrees, south negative");
    visitor.optional("longitude", record.longitude, "Degrees, west negative");
    visitor.optional("locationSource", record.locationSource, "Who set the coordinates");
    visitor.optional("placeName", record.placeName, "Name of the place");
    visitor.optional("visionTags", record.visionTags, "Scene tags with their confidences");
    visitor.optional("labels", record.labels, "Labels shown on the photo, sorted; only when it is analyzed");
    visitor.optional("manualLabelOverrides", record.manualLabelOverrides,
                     "The user's own labels: true forces one on, false off");
    visitor.optional("qualityScore", record.qualityScore, "Technical quality; only when it is analyzed");
    visitor.optional("nimaScore", record.nimaScore, "Aesthetic score");
    visitor.optional("peopleCount", record.peopleCount, "People in the picture; absent for none");
    visitor.optional("rotation", record.rotation, "Clockwise degrees: 0, 90, 180 or 270");
    visitor.optional("rotationSource", record.rotationSource, "Who set the rotation");
    visitor.optional("orientationDecision", record.orientationDecision, "What the orientation model decided");
    visitor.optional("orientationCacheVersion", record.orientationCacheVersion,
                     "Version of the pixels that vectors, hash and faces were made from");
    visitor.optional("dominantColors", record.dominantColors, "Main colors");
    visitor.optional("perceptualHash", record.perceptualHash, "Fingerprint that finds similar pictures");
    visitor.optional("placeCategories", record.placeCategories, "Kinds of place with their confidences");
    visitor.optional("clipLabels", record.clipLabels, "Style labels");
    visitor.optional("faceRegions", record.faceRegions, "Boxes of the faces; [] when none were found");
    visitor.optional("faceAnalysisStamp", record.faceAnalysisStamp, "How faces were looked for");
    visitor.optional("discoveryRevision", record.discoveryRevision,
                     "Settings under which discovery data were made");
    visitor.optional("analysisVersion", record.analysisVersion, "Version of the analysis; absent before it");
    visitor.optional("isMissing", record.isMissing, "true when the file was gone from the folder");
}

/// The durable form of one roll: the frontmatter of its file.
struct VaultRollManifest {
    static constexpr std::int64_t currentVersion = 3;
    static constexpr std::int64_t currentAnalysisVersion = 12;
    /// Version 1: made from normalised pixels with the app's correction.
    static constexpr int currentOrientationCacheVersion = 1;
    static constexpr std::int64_t largestSortIndex = 2'147'483'646;

    std::int64_t version = currentVersion;
    std::string id;
    std::string folderPath;
    std::string folderBookmark;  ///< Base64; empty when there is none, and in a mirror
    std::vector<FileFingerprint> fileFingerprint;
    std::optional<WorkflowState> workflowState;
    std::optional<Instant> lastExported;
    std::optional<bool> exportDirty;
    std::optional<std::string> cameraMake;
    std::optional<std::string> cameraModel;
    std::optional<FilmFormat> cameraFormat;
    std::optional<std::string> filmName;
    std::optional<int> filmISO;
    std::optional<std::string> notes;
    std::optional<Instant> baseDate;
    std::optional<std::string> sortOption;  ///< a stored word of SortOption; unknown words are tolerated
    std::optional<bool> sortAscending;
    std::optional<Instant> dateOpened;  ///< under the key "dateImported"
    std::vector<PhotoManifestEntry> photos;
    std::optional<std::vector<PhotoManifestEntry>> removedPhotos;

    bool operator==(const VaultRollManifest&) const = default;

    /// Whether the text is a UUID in its canonical grouping, in either case.
    static bool isValidID(std::string_view text);

    /// Whether the id is one, sort indices and people counts lie in their ranges, and coordinates on the
    /// globe. Nothing that fails is read, written, applied, mirrored or restored.
    bool isValid() const;
};

template <class Visitor>
void describe(Visitor& visitor, VaultRollManifest& record) {
    visitor.required("version", record.version, "Version of this format, 3");
    visitor.required("id", record.id, "UUID of the roll");
    visitor.required("folderPath", record.folderPath, "Path of the folder of scans");
    visitor.required("folderBookmark", record.folderBookmark,
                     "Machine-local reference to the folder (Base64); may be empty");
    visitor.required("fileFingerprint", record.fileFingerprint, "Names and sizes of the folder's images");
    visitor.optional("workflowState", record.workflowState, "imported, metadata_assigned or exported");
    visitor.optional("lastExported", record.lastExported, "When the roll was last exported");
    visitor.optional("exportDirty", record.exportDirty, "Whether it changed since the last export");
    visitor.optional("cameraMake", record.cameraMake, "Maker of the camera");
    visitor.optional("cameraModel", record.cameraModel, "Model of the camera");
    visitor.optional("cameraFormat", record.cameraFormat, "Film format");
    visitor.optional("filmName", record.filmName, "Name of the film stock");
    visitor.optional("filmISO", record.filmISO, "Speed of the film");
    visitor.optional("notes", record.notes, "The photographer's notes");
    visitor.optional("baseDate", record.baseDate, "Date from which dates are assigned");
    visitor.optional("sortOption", record.sortOption,
                     "filename, captureDate, fileModificationDate, peopleCount or custom");
    visitor.optional("sortAscending", record.sortAscending, "Whether the sort ascends");
    visitor.optional("dateImported", record.dateOpened, "When the roll was first opened");
    visitor.required("photos", record.photos, "One entry a photo, in the order of the roll");
    visitor.optional("removedPhotos", record.removedPhotos,
                     "Photos that were taken out of the roll, with all that is known of them");
}

}  // namespace kelvaris

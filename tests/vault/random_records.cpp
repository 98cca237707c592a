#include "random_records.h"

#include <array>

#include "base/uuid.h"

namespace kelvaris::testing {

namespace {
constexpr std::array sources{MetadataSource::exif, MetadataSource::photo, MetadataSource::roll,
                             MetadataSource::autoDetect};
constexpr std::array rotations{RotationAngle::none, RotationAngle::clockwise90, RotationAngle::clockwise180,
                               RotationAngle::clockwise270};
}  // namespace

std::string RandomRecords::text() {
    static const std::array<std::string, 34> awkward{
        "",
        "~",
        "no",
        "12",
        "1e5",
        "2024-03-01",
        "Portra 400",
        " lead",
        "trail ",
        "a: b",
        "a #b",
        "- dash",
        "---",
        "x\n---\ny",
        "\n",
        "a\n\n b\n",
        "tab\there",
        "\"quote\"",
        "'it''s'",
        "*alias",
        "&anchor",
        "!tag",
        "%directive",
        "@at",
        "{flow}",
        "[list]",
        "?",
        "é",
        "京都",
        "📷 roll",
        "\xEF\xBB\xBF",
        "\r\n",
        std::string("nul\0byte", 8),
        "a very long line of words that has to be folded at the eightieth column "
        "of the file, and then once more, since it goes on"};
    if (chance()) return awkward[below(awkward.size())];
    std::string made;
    static constexpr std::string_view alphabet = "ab :#-'\"\\\n\t,[]{}&*!|>%@`?~019._é";
    for (std::size_t length = below(120); made.size() < length;) {
        const char c = alphabet[below(alphabet.size() - 2)];
        made += c;
        if (below(30) == 0) made += "é";
    }
    return made;
}

Instant RandomRecords::instant() {
    const auto seconds =
        std::chrono::seconds(static_cast<std::int64_t>(below(4'000'000'000)) - 1'000'000'000);
    return Instant(Ticks(seconds)) + Ticks(chance() ? 0 : static_cast<std::int64_t>(below(10'000'000)));
}

PhotoManifestEntry RandomRecords::photo(int index) {
    PhotoManifestEntry entry;
    entry.filename = text() + std::to_string(index) + ".jpg";
    entry.sortIndex = chance() ? index : VaultRollManifest::largestSortIndex - index;
    if (chance()) entry.captureDate = instant();
    if (chance()) entry.dateSource = sources[below(sources.size())];
    if (chance()) entry.latitude = chance() ? 90.0 : number(90);
    if (chance()) entry.longitude = chance() ? -180.0 : number(180);
    if (chance()) entry.locationSource = sources[below(sources.size())];
    if (chance()) entry.placeName = text();
    if (chance()) entry.visionTags = {{text(), confidence()}, {"outdoor", 1.0f}, {"no", confidence()}};
    if (chance()) entry.labels = std::vector<std::string>(below(4), text());
    if (chance()) entry.manualLabelOverrides = {{"gem", chance()}, {text(), chance()}};
    if (chance()) entry.qualityScore = number(1);
    if (chance()) entry.nimaScore = number(10);
    if (chance()) entry.peopleCount = static_cast<std::int64_t>(below(2'147'483'648));
    if (chance()) entry.rotation = rotations[below(rotations.size())];
    if (chance()) entry.rotationSource = sources[below(sources.size())];
    if (chance()) {
        entry.orientationDecision = OrientationDecision{.status = OrientationDecision::Status::correction,
                                                        .rotation = RotationAngle::clockwise90,
                                                        .scores = {0.0625, 0.875, 0.0625, 0},
                                                        .modelVersion = text(),
                                                        .reason = text()};
    }
    if (chance()) entry.orientationCacheVersion = static_cast<int>(below(3));
    if (chance()) entry.dominantColors = {"#A0B0C0", text()};
    if (chance()) entry.perceptualHash = chance() ? "1234567812345678" : "00e5";
    if (chance()) entry.placeCategories = std::map<std::string, float>{};
    if (chance()) entry.clipLabels = std::vector<std::string>{};
    if (chance()) {
        entry.faceRegions.emplace();
        if (chance()) entry.faceRegions->push_back({number(1), number(1), 0.25, 0.5, 3, std::nullopt});
        if (chance()) entry.faceRegions->push_back({0.1, 0.2, 0.3, 0.4, std::nullopt, true});
    }
    if (chance()) entry.faceAnalysisStamp = currentFaceAnalysisStamp;
    if (chance()) entry.discoveryRevision = text();
    if (chance()) entry.analysisVersion = 12;
    if (chance()) entry.isMissing = true;
    return entry;
}

VaultRollManifest RandomRecords::manifest(int photos) {
    VaultRollManifest manifest;
    manifest.id = RollID::random().text();
    manifest.folderPath = "/scans/" + text();
    if (chance()) manifest.folderBookmark = "L3NjYW5z";
    manifest.fileFingerprint = {{text(), static_cast<std::int64_t>(random_() >> 1)}, {"b.jpg", 0}};
    if (chance()) manifest.workflowState = WorkflowState::metadataAssigned;
    if (chance()) manifest.lastExported = instant();
    if (chance()) manifest.exportDirty = chance();
    if (chance()) manifest.cameraMake = text();
    if (chance()) manifest.cameraModel = text();
    if (chance()) manifest.cameraFormat = FilmFormat::oneTwenty;
    if (chance()) manifest.filmName = text();
    if (chance()) manifest.filmISO = 400;
    if (chance()) manifest.notes = text();
    if (chance()) manifest.baseDate = instant();
    if (chance()) manifest.sortOption = chance() ? "custom" : text();
    if (chance()) manifest.sortAscending = chance();
    if (chance()) manifest.dateOpened = instant();
    for (int i = 0; i < photos; ++i) manifest.photos.push_back(photo(i));
    return manifest;
}

}  // namespace kelvaris::testing

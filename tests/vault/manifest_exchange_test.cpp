#include "vault/manifest_exchange.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <map>

#include "library/roll_editing.h"
#include "log_capture.h"
#include "vault_world.h"

namespace kelvaris {
namespace {

using namespace std::chrono_literals;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

constexpr auto now = FakeClock::start;

FaceRegion face(double x, std::vector<float> vector) {
    return {.boundingBox = {x, 0.25, 0.5, 0.5}, .embedding = std::move(vector), .embeddingVersion = 3};
}

class ManifestExchange : public ::testing::Test, protected testing::VaultWorld {
protected:
    /// A roll in which every stored value is set.
    RollPointer fullRoll() {
        auto roll = loadedRoll(2);
        roll->setFolderBookmarkData("token");
        roll->setCameraMake("Nikon");
        roll->setCameraModel("FM2");
        roll->setCameraFormat(FilmFormat::oneTwenty);
        roll->setFilmName("HP5");
        roll->setFilmISO(400);
        roll->setNotes("rain\nall day");
        roll->setBaseDate(now - 24h);
        roll->setSortOption(SortOption::peopleCount);
        roll->setSortAscending(false);
        roll->setDateOpened(now - 1h);
        roll->setWorkflowState(WorkflowState::exported);
        roll->setLastExported(now);
        roll->setExportDirty(true);
        PhotoItem& photo = *roll->photos()[0];
        photo.setCaptureDate(now);
        photo.setDateSource(MetadataSource::autoDetect);
        photo.setLatitude(35.0);
        photo.setLongitude(-135.5);
        photo.setLocationSource(MetadataSource::roll);
        photo.setPlaceName("Kyoto");
        photo.setVisionTags({{"outdoor", 0.5f}});
        photo.setManualLabelOverrides({{"gem", true}, {"from_another_version", true}});
        photo.setLabels({PhotoLabel::water, PhotoLabel::animal, PhotoLabel::gem});
        photo.setQualityScore(0.75);
        photo.setNimaScore(5.5);
        photo.setPeopleCount(2);
        photo.setLabelsAnalyzed(true);
        photo.setRotation(RotationAngle::clockwise270);
        photo.setRotationSource(MetadataSource::photo);
        photo.setOrientationDecision(OrientationDecision{.status = OrientationDecision::Status::uncertain});
        photo.setOrientationCacheVersion(1);
        photo.setDominantColors(std::vector<std::string>{"#102030"});
        photo.setPerceptualHash("00000000000000e5");
        photo.setPlaceCategories(TagConfidences{{"park", 0.5f}});
        photo.setClipLabels(std::vector<std::string>{"moody"});
        photo.setFaceRegions(std::vector{face(0.0, {1.0f}), face(0.5, {0.5f, 0.5f})});
        photo.setFaceAnalysisStamp(currentFaceAnalysisStamp);
        photo.setDiscoveryRevision("r1");
        photo.setClipEmbedding(std::vector<float>{0.25f, 0.75f});
        return roll;
    }

    VaultRollManifest built(const FilmRoll& roll) { return buildManifest(roll, roll.storedFingerprint()); }

    /// The full roll's manifest after a change, put onto the roll of a new start.
    RollPointer appliedWith(const std::function<void(VaultRollManifest&)>& change) {
        const auto roll = fullRoll();
        auto manifest = built(*roll);
        change(manifest);
        const auto again = reopened(*roll);
        EXPECT_TRUE(applyManifest(manifest, buildEmbeddings(*roll), *again));
        return again;
    }
};

TEST_F(ManifestExchange, EverythingComesBackAfterARestart) {
    const auto roll = fullRoll();
    const auto manifest = built(*roll);
    const auto again = reopened(*roll);
    ASSERT_TRUE(applyManifest(manifest, buildEmbeddings(*roll), *again));

    again->setFolderBookmarkData("token");  // taken from the manifest by whoever opens the folder
    EXPECT_TRUE(built(*again) == manifest);
    EXPECT_EQ(buildEmbeddings(*again), buildEmbeddings(*roll));
    const PhotoItem& photo = *again->photos()[0];
    EXPECT_EQ(photo.displayRotationDegrees(), -90);
    EXPECT_EQ(photo.labels(), (PhotoLabelSet{PhotoLabel::animal, PhotoLabel::water, PhotoLabel::gem}));
    EXPECT_EQ(*photo.faceRegions(), *roll->photos()[0]->faceRegions());
    EXPECT_FALSE(again->photos()[1]->labelsAnalyzed());
}

TEST_F(ManifestExchange, WritesOnlyWhatIsKnown) {
    const auto roll = loadedRoll(1);
    PhotoItem& photo = *roll->photos()[0];
    photo.setLabels({PhotoLabel::gem});  // not analysed: a result in flight
    photo.setPeopleCount(3);
    auto manifest = built(*roll);
    EXPECT_TRUE(manifest.photos[0] == (PhotoManifestEntry{.filename = "001.jpg"}));
    EXPECT_EQ(manifest.cameraMake, std::nullopt);
    EXPECT_EQ(manifest.cameraFormat, FilmFormat::thirtyFiveMM);
    EXPECT_EQ(manifest.folderBookmark, "");

    photo.setRotationSource(MetadataSource::photo);
    photo.setLabelsAnalyzed(true);
    photo.setLabels({PhotoLabel::water, PhotoLabel::blur, PhotoLabel::animal});
    photo.setPeopleCount(0);
    photo.setFaceRegions(std::vector<FaceRegion>());
    manifest = built(*roll);
    const PhotoManifestEntry& entry = manifest.photos[0];
    EXPECT_EQ(entry.rotation, RotationAngle::none);
    EXPECT_THAT(*entry.labels, ElementsAre("animal", "blur", "water"));
    EXPECT_EQ(entry.peopleCount, std::nullopt);
    EXPECT_THAT(*entry.faceRegions, IsEmpty());
    EXPECT_EQ(entry.analysisVersion, 12);
}

TEST_F(ManifestExchange, AnalysisOfAnotherVersionIsLeftOutAndDecisionsStay) {
    const auto roll = appliedWith([](auto& manifest) { manifest.photos[0].analysisVersion = 11; });
    const PhotoItem& photo = *roll->photos()[0];
    EXPECT_FALSE(photo.labelsAnalyzed());
    EXPECT_EQ(photo.labels(), PhotoLabelSet{PhotoLabel::gem}) << "forced on by the user";
    EXPECT_EQ(photo.qualityScore(), 0);
    EXPECT_EQ(photo.perceptualHash(), std::nullopt);
    EXPECT_EQ(photo.captureDate(), std::nullopt);
    EXPECT_EQ(photo.dateSource(), std::nullopt);
    EXPECT_EQ(photo.latitude(), 35.0);
    EXPECT_EQ(photo.rotation(), RotationAngle::clockwise270);
    EXPECT_EQ(photo.visionTags().size(), 1u);
    EXPECT_TRUE(photo.clipEmbedding());
    EXPECT_EQ(photo.faceRegions()->size(), 2u);

    const auto fromExif = appliedWith([](auto& manifest) {
        manifest.photos[0].analysisVersion.reset();
        manifest.photos[0].dateSource = MetadataSource::exif;
    });
    EXPECT_EQ(fromExif->photos()[0]->captureDate(), now);
}

TEST_F(ManifestExchange, ATurnedPhotoOfOldPixelsLosesWhatWasMeasuredOnThem) {
    struct Case {
        RotationAngle rotation;
        std::optional<int> cacheVersion;
        bool hasFaces;
        bool keepsVectors;
    };
    for (const Case& each : {Case{RotationAngle::clockwise90, 1, true, true},
                             Case{RotationAngle::clockwise90, std::nullopt, true, false},
                             Case{RotationAngle::clockwise180, 2, true, false},
                             Case{RotationAngle::clockwise90, std::nullopt, false, false},
                             Case{RotationAngle::none, std::nullopt, true, true}}) {
        const auto roll = appliedWith([&](auto& manifest) {
            manifest.photos[0].rotation = each.rotation;
            manifest.photos[0].orientationCacheVersion = each.cacheVersion;
            if (!each.hasFaces) manifest.photos[0].faceRegions->clear();
        });
        const PhotoItem& photo = *roll->photos()[0];
        EXPECT_EQ(photo.rotation(), each.rotation);
        EXPECT_EQ(photo.orientationCacheVersion(), each.cacheVersion) << "raised by new analysis alone";
        EXPECT_EQ(photo.clipEmbedding().has_value(), each.keepsVectors);
        EXPECT_EQ(photo.perceptualHash().has_value(), each.keepsVectors);
        ASSERT_EQ(photo.faceRegions().has_value(), each.hasFaces);
        if (!each.hasFaces) continue;
        EXPECT_EQ((*photo.faceRegions())[0].embedding.empty(), !each.keepsVectors);
        EXPECT_EQ((*photo.faceRegions())[0].embeddingVersion, each.keepsVectors ? 3 : 0);
        EXPECT_EQ((*photo.faceRegions())[1].boundingBox, (NormalizedRect{0.5, 0.25, 0.5, 0.5}));
    }
}

TEST_F(ManifestExchange, VectorsCountOnlyWhenThereAreAsManyAsFaces) {
    const std::vector<FaceRegionEntry> entries(2);
    EXPECT_EQ(restoreFaceRegions(std::nullopt, {{1.0f}}), std::nullopt);
    EXPECT_THAT(*restoreFaceRegions(std::vector<FaceRegionEntry>(), {{1.0f}}), IsEmpty());
    EXPECT_EQ(restoreFaceRegions(entries, {{1.0f}, {2.0f}})->at(1).embedding, std::vector{2.0f});
    for (const std::size_t count : {0, 1, 3}) {
        const auto regions = restoreFaceRegions(entries, std::vector<std::vector<float>>(count, {1.0f}));
        ASSERT_EQ(regions->size(), 2u);
        EXPECT_THAT(regions->at(0).embedding, IsEmpty());
    }
}

TEST_F(ManifestExchange, AbsentTextsStayAndAbsentStatesClear) {
    const auto roll = fullRoll();
    auto manifest = built(*roll);
    for (auto* text : {&manifest.cameraMake, &manifest.notes, &manifest.filmName}) text->reset();
    manifest.sortOption = "by_mood";
    manifest.filmISO.reset();
    manifest.workflowState.reset();
    manifest.exportDirty.reset();
    manifest.photos[0].labels = std::vector<std::string>{"gem", "sparkle"};
    ASSERT_TRUE(applyManifest(manifest, {}, *roll));
    EXPECT_EQ(roll->cameraMake(), "Nikon");
    EXPECT_EQ(roll->notes(), "rain\nall day");
    EXPECT_EQ(roll->sortOption(), SortOption::peopleCount);
    EXPECT_EQ(roll->filmISO(), std::nullopt);
    EXPECT_EQ(roll->workflowState(), std::nullopt);
    EXPECT_EQ(roll->exportDirty(), std::nullopt);
    EXPECT_EQ(roll->photos()[0]->labels(), PhotoLabelSet{PhotoLabel::gem});

    const testing::LogCapture log;
    manifest.photos[0].latitude = 91;
    manifest.notes = "not taken";
    EXPECT_FALSE(applyManifest(manifest, {}, *roll));
    EXPECT_EQ(roll->notes(), "rain\nall day");
    EXPECT_THAT(log.errors(), ElementsAre("Refusing to apply invalid roll metadata"));
}

TEST_F(ManifestExchange, NoTwoPhotosShareASortIndex) {
    const auto applied = [&](const std::map<std::string, std::int64_t>& stored, SortOption option) {
        const auto roll = loadedRoll(4);
        auto manifest = built(*roll);
        manifest.sortOption = std::string(rawValue(option));
        manifest.photos.clear();
        for (const auto& [name, index] : stored)
            manifest.photos.push_back({.filename = name, .sortIndex = index});
        EXPECT_TRUE(applyManifest(manifest, {}, *roll));
        std::vector<std::pair<std::string, int>> order;
        for (const auto& photo : roll->photos()) order.emplace_back(photo->filename(), photo->sortIndex());
        return order;
    };
    using Order = std::vector<std::pair<std::string, int>>;
    // 003 and 004 joined the folder later and would stand at 2 and 3.
    EXPECT_EQ(applied({{"001.jpg", 3}, {"002.jpg", 2}}, SortOption::custom),
              (Order{{"002.jpg", 2}, {"001.jpg", 3}, {"003.jpg", 4}, {"004.jpg", 5}}));
    EXPECT_EQ(applied({{"001.jpg", 3}, {"002.jpg", 7}}, SortOption::filename),
              (Order{{"001.jpg", 3}, {"002.jpg", 7}, {"003.jpg", 2}, {"004.jpg", 8}}));
    // Stored indices may be anything a file holds: twice the same, and the last there is.
    EXPECT_EQ(applied({{"001.jpg", 5}, {"002.jpg", 5}, {"003.jpg", 2147483646}, {"004.jpg", 0}},
                      SortOption::custom),
              (Order{{"004.jpg", 0}, {"002.jpg", 1}, {"001.jpg", 5}, {"003.jpg", 2147483646}}));
}

TEST_F(ManifestExchange, AnEntryWithoutItsFileIsAMissingPhotoThatKeepsEverything) {
    const auto roll = loadedRoll(1);
    auto manifest = built(*roll);
    manifest.photos = {{.filename = "000 gone.jpg", .sortIndex = 7, .latitude = 35.5, .placeName = "away"},
                       {.filename = "001.jpg", .sortIndex = 1, .placeName = "first", .isMissing = true},
                       {.filename = "001.jpg", .sortIndex = 2, .placeName = "second"}};
    ASSERT_TRUE(applyManifest(manifest, {{"000 gone.jpg", {std::vector<float>{1, 2}, {}}}}, *roll));
    ASSERT_EQ(roll->photos().size(), 2u);
    EXPECT_TRUE(roll->photos()[0]->isMissing()) << "in its place by name";
    EXPECT_EQ(roll->photos()[0]->sourceURL(), roll->sourceFolder() / "000 gone.jpg");
    EXPECT_EQ(roll->photos()[1]->placeName(), "first") << "of two entries";
    EXPECT_FALSE(roll->photos()[1]->isMissing()) << "its file is back";
    manifest.photos.pop_back();
    manifest.photos[0].isMissing = true;
    manifest.photos[1].isMissing.reset();
    EXPECT_EQ(built(*roll).photos, manifest.photos);
    EXPECT_TRUE(buildEmbeddings(*roll).contains("000 gone.jpg"));
    leaveFolder(*roll, "gone");
    EXPECT_EQ(built(*roll).photos[1].isMissing, std::nullopt) << "the folder is away, not the file";
}

TEST_F(ManifestExchange, APhotoThatWasTakenOutStaysOutAndComesBackWhole) {
    const auto roll = loadedRoll(3);
    roll->photos()[1]->setPlaceName("Kyoto");
    roll->photos()[1]->setClipEmbedding(std::vector<float>{1, 2});
    removePhoto(*roll, roll->photos()[1]);
    const auto manifest = built(*roll);
    ASSERT_TRUE(manifest.removedPhotos);

    const auto again = reopened(*roll);
    ASSERT_EQ(again->photos().size(), 3u) << "the file is still in the folder";
    ASSERT_TRUE(applyManifest(manifest, buildEmbeddings(*roll), *again));
    EXPECT_EQ(again->photos().size(), 2u);
    EXPECT_EQ(again->photoNamed("002.jpg"), nullptr);
    EXPECT_EQ(built(*again), manifest);
    loadFolder(*again, false);
    EXPECT_EQ(again->photos().size(), 2u);
    bringBackPhoto(*again, again->removedPhotos()[0]);
    EXPECT_EQ(again->photos()[1]->placeName(), "Kyoto");
    EXPECT_TRUE(again->photos()[1]->clipEmbedding());
    EXPECT_EQ(built(*again).removedPhotos, std::nullopt);
}

}  // namespace
}  // namespace kelvaris

#include <gtest/gtest.h>

#include <limits>

#include "vocabulary/analysis_result.h"
#include "vocabulary/cloud_storage_provider.h"
#include "vocabulary/face_analysis_stamp.h"
#include "vocabulary/face_grouping_edits.h"
#include "vocabulary/face_region.h"
#include "vocabulary/face_region_entry.h"
#include "vocabulary/file_fingerprint.h"
#include "vocabulary/film_format.h"
#include "vocabulary/metadata_source.h"
#include "vocabulary/orientation_decision.h"
#include "vocabulary/photo_embeddings.h"
#include "vocabulary/photo_label.h"
#include "vocabulary/roll_context.h"
#include "vocabulary/shared_value.h"
#include "vocabulary/sort_option.h"
#include "vocabulary/status_notification.h"
#include "vocabulary/workflow_state.h"

namespace kelvaris {
namespace {

template <class E>
void expectWordsReadBack() {
    for (const auto& [value, word] : RawValues<E>::rows) {
        EXPECT_EQ(fromRawValue<E>(word), value);
        EXPECT_EQ(rawValue(value), word);
    }
}

TEST(RawValueTest, EveryStoredWordIsDistinctAndReadsBackToItsCase) {
    expectWordsReadBack<PhotoLabel>();
    expectWordsReadBack<RotationAngle>();
    expectWordsReadBack<MetadataSource>();
    expectWordsReadBack<WorkflowState>();
    expectWordsReadBack<FilmFormat>();
    expectWordsReadBack<SortOption>();
    expectWordsReadBack<RollSortOption>();
    expectWordsReadBack<CloudStorageProvider>();
    expectWordsReadBack<OrientationDecision::Status>();
}

TEST(RawValueTest, OnlyTheExactWordIsRead) {
    EXPECT_FALSE(fromRawValue<PhotoLabel>("Blur"));
    EXPECT_FALSE(fromRawValue<PhotoLabel>("blur "));
    EXPECT_FALSE(fromRawValue<PhotoLabel>(""));
    EXPECT_FALSE(fromRawValue<RotationAngle>(45));
    EXPECT_FALSE(fromRawValue<RotationAngle>(360));
    EXPECT_EQ(fromRawValue<WorkflowState>("imported"), WorkflowState::opened);
    EXPECT_EQ(fromRawValue<RollSortOption>("dateImported"), RollSortOption::dateOpened);
}

TEST(PhotoLabelTest, SetsWalkSubjectsThenQualitiesThenTheGem) {
    const PhotoLabelSet set{PhotoLabel::gem, PhotoLabel::blur, PhotoLabel::water, PhotoLabel::animal};
    EXPECT_EQ(set.toVector(),
              (std::vector{PhotoLabel::animal, PhotoLabel::water, PhotoLabel::blur, PhotoLabel::gem}));
    // The declared order would put blur first, a plain string order would put gem before water.
    EXPECT_TRUE(PhotoLabel::water < PhotoLabel::blur);
    EXPECT_TRUE(PhotoLabel::blur < PhotoLabel::gem);
    EXPECT_TRUE(PhotoLabel::action < PhotoLabel::face);
    EXPECT_FALSE(PhotoLabel::gem < PhotoLabel::gem);
}

TEST(PhotoLabelTest, EveryLabelIsInItsOwnClassAndTheGemInNone) {
    EXPECT_EQ(qualityLabels.size(), 5u);
    EXPECT_EQ(subjectLabels.size(), 13u);
    EXPECT_EQ(subjectLabels.front(), PhotoLabel::face);
    EXPECT_TRUE((qualityLabelSet & subjectLabelSet).empty());
    EXPECT_EQ((qualityLabelSet | subjectLabelSet).size(), photoLabelCount - 1);
    EXPECT_TRUE((PhotoLabelSet{PhotoLabel::gem} & qualityLabelSet).empty());
    for (std::size_t i = 0; i < photoLabelCount; ++i) {
        EXPECT_EQ(static_cast<std::size_t>(photoLabelRows[i].label), i) << "row() indexes the table by case";
    }
}

TEST(RotationAngleTest, FourTurnsEndWhereTheyBegan) {
    for (const auto& [angle, degrees] : RawValues<RotationAngle>::rows) {
        EXPECT_EQ(rotatedCounterClockwise(rotatedClockwise(angle)), angle);
        EXPECT_EQ(rawValue(rotatedClockwise(angle)), (degrees + 90) % 360);
    }
    EXPECT_EQ(displayDegrees(RotationAngle::clockwise270), -90.0);
    EXPECT_EQ(displayDegrees(RotationAngle::clockwise180), 180.0);
}

TEST(CloudStorageTest, DetectsServicesFromPaths) {
    const Path home("/home/ada");
    const std::pair<const char*, std::optional<CloudStorageProvider>> cases[] = {
        {"/home/ada/Library/CloudStorage/GoogleDrive-ada@x/scans", CloudStorageProvider::googleDrive},
        {"/home/ada/Library/CloudStorage//OneDrive-Firm/a", CloudStorageProvider::oneDrive},
        {"/v/Library/CloudStorage/Dropbox", CloudStorageProvider::dropbox},
        {"/v/Library/CloudStorage/Box-Box/a", CloudStorageProvider::box},
        {"/v/Library/CloudStorage/Nextcloud/a", CloudStorageProvider::other},
        {"/v/Library/CloudStorage", std::nullopt},
        {"/home/ada/Library/Mobile Documents/com~apple~CloudDocs/a", CloudStorageProvider::iCloud},
        {"/home/ada/Dropbox/a", CloudStorageProvider::dropbox},
        {"/home/ada/Dropbox", std::nullopt},
        {"/home/ada/Google Drive/a", CloudStorageProvider::googleDrive},
        {"/home/ada/OneDrive", CloudStorageProvider::oneDrive},
        {"/home/ada/OneDrive - Firm/scans", CloudStorageProvider::oneDrive},
        {"/home/bob/Dropbox/a", std::nullopt},
        {"/home/ada/Pictures/Dropbox/a", std::nullopt},
    };
    for (const auto& [path, provider] : cases)
        EXPECT_EQ(detectCloudStorage(Path(path), home), provider) << path;
}

TEST(CloudStorageTest, TooltipNamesTheService) {
    const Path home("/home/ada");
    EXPECT_EQ(failedReadTooltip(Path("/home/ada/Dropbox/a.jpg"), home),
              "Dropbox: not downloaded - see preview pane");
    EXPECT_EQ(failedReadTooltip(Path("/home/ada/a.jpg"), home), "Couldn't read - file may be offline");
}

TEST(StatusNotificationTest, MessagesCountInSingularAndPlural) {
    EXPECT_EQ(StatusNotification::opened(1).message(), "Opened 1 photo");
    EXPECT_EQ(StatusNotification::opened(0).message(), "Opened 0 photos");
    EXPECT_EQ(StatusNotification::exported(1, 0).message(), "Exported 1 photo to Kelvaris_Export/");
    EXPECT_EQ(StatusNotification::exported(3, 1).message(), "Exported 3 photos, 1 error");
    EXPECT_EQ(StatusNotification::exported(0, 2).message(), "Exported 0 photos, 2 errors");
    EXPECT_EQ(StatusNotification::locationsLoaded(5, "1 Jan - 2 Jan").message(),
              "5 locations loaded (1 Jan - 2 Jan)");
    const auto warning = StatusNotification::cloudWarning("In the cloud", Path("/scans"));
    EXPECT_EQ(warning.message(), "In the cloud");
    EXPECT_EQ(warning.toastType(), ToastType::warning);
    EXPECT_EQ(warning.icon(), "icloud.slash");
    EXPECT_EQ(StatusNotification::locationsLoading().toastType(), ToastType::info);
    EXPECT_NE(StatusNotification::info("a"), StatusNotification::error("a"));
}

TEST(OrientationDecisionTest, ReviewNeedsFourProbabilitiesAndAClearLeader) {
    OrientationDecision decision;
    decision.status = OrientationDecision::Status::uncertain;
    decision.reason = orientation_reason::provisionalPolicyAbstention;
    decision.scores = {0.1, 0.1, 0.2, 0.6};
    EXPECT_EQ(decision.reviewRotation(), RotationAngle::clockwise270);
    decision.scores = {0.5, 0.35, 0.15, 0.0};
    EXPECT_EQ(decision.reviewRotation(), RotationAngle::none);

    const std::vector<std::vector<double>> refused = {
        {},
        {0.6, 0.4},
        {0.49, 0.3, 0.11, 0.1},
        {0.5, 0.4, 0.05, 0.05},
        {0.9, 0.3, 0.0, 0.0},
        {1.2, -0.2, 0.0, 0.0},
        {std::numeric_limits<double>::quiet_NaN(), 0.6, 0.2, 0.2},
    };
    for (const auto& scores : refused) {
        decision.scores = scores;
        EXPECT_FALSE(decision.reviewRotation());
    }

    decision.scores = {0.1, 0.1, 0.2, 0.6};
    decision.reason = orientation_reason::deepDisagreement;
    EXPECT_FALSE(decision.reviewRotation());
    decision.reason = orientation_reason::provisionalPolicyAbstention;
    decision.status = OrientationDecision::Status::correction;
    EXPECT_FALSE(decision.reviewRotation());
}

TEST(SharedValueTest, ComparesTheValuesNotTheirPlaces) {
    const SharedValue<std::vector<float>> a(std::vector{1.0f, 2.0f});
    const SharedValue<std::vector<float>> b(std::vector{1.0f, 2.0f});
    EXPECT_EQ(a, b);
    EXPECT_NE(a, SharedValue<std::vector<float>>());
    EXPECT_EQ(SharedValue<std::vector<float>>(std::nullopt), SharedValue<std::vector<float>>());
}

}  // namespace
}  // namespace kelvaris

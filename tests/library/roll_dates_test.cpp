#include "library/roll_dates.h"

#include <cmath>

#include <gmock/gmock.h>

#include "library/roll_loading.h"
#include "library/undo_stack.h"
#include "library_world.h"

namespace kelvaris {
namespace {

using namespace std::chrono_literals;

class RollDatesTest : public ::testing::Test, protected testing::LibraryWorld {
protected:
    RollPointer openRoll(int photoCount) {
        const auto roll = makeRoll(photoCount);
        loadFolder(*roll, false);
        roll->setBaseDate(base);
        return roll;
    }
    const Instant base = *parseTimestamp("2026-03-14T09:30:00.1234567Z");
};

TEST_F(RollDatesTest, DatesAreSpacedFromTheBaseAndTheFirstFortyComeOneByOne) {
    const auto roll = openRoll(42);
    roll->setLastExported(base);
    int done = 0;
    assignDates(*roll, 90.5, [&] { ++done; });
    EXPECT_EQ(roll->photos()[41]->captureDate(), base + 3710500ms);
    EXPECT_EQ(roll->photos()[0]->captureDate(), std::nullopt);
    machine.advance(30ms);
    EXPECT_EQ(roll->photos()[0]->captureDate(), base) << "to the last tick";
    EXPECT_EQ(roll->photos()[1]->captureDate(), base + 90500ms);
    EXPECT_EQ(roll->photos()[2]->captureDate(), std::nullopt);
    machine.advance(1140ms);
    EXPECT_TRUE(roll->photos()[39]->captureDate());
    EXPECT_EQ(done, 0);
    machine.advance(30ms);
    EXPECT_EQ(done, 1);
    EXPECT_EQ(roll->photos()[7]->dateSource(), MetadataSource::roll);
    EXPECT_EQ(roll->workflowState(), WorkflowState::metadataAssigned);
    EXPECT_EQ(roll->exportDirty(), true);
    EXPECT_EQ(roll->statusNotification()->message(), "Dates assigned starting 14 Mar 2026, 09:30");
}

TEST_F(RollDatesTest, ThePreferredIntervalServesWithoutAnArgument) {
    preferences.set(settings::dateIntervalSeconds, 120.0);
    const auto roll = openRoll(2);
    assignDates(*roll, std::nullopt, nullptr);
    machine.advance(1s);
    EXPECT_EQ(roll->photos()[1]->captureDate(), base + 2min);
}

TEST_F(RollDatesTest, PlacesComeFromTheHistoryWithinThePreferredGap) {
    preferences.set(settings::locationMaxGapHours, 1.0);
    const auto roll = openRoll(3);
    roll->photos()[0]->setPlaceName("Old");
    roll->photos()[2]->setLatitude(7.0);
    roll->locationService().setRecords({{base, 35.0, 135.0}, {base + 30min, 36.0, 136.0}});
    assignDates(*roll, 15 * 60.0, nullptr);
    machine.advance(1s);
    EXPECT_EQ(roll->photos()[0]->latitude(), 35.0);
    EXPECT_EQ(roll->photos()[0]->placeName(), std::nullopt) << "looked up anew";
    EXPECT_EQ(roll->photos()[1]->longitude(), 135.5);
    EXPECT_EQ(roll->photos()[2]->locationSource(), MetadataSource::roll);
    EXPECT_THAT(roll->statusNotification()->message(), ::testing::EndsWith(" (3/3 located)"));

    roll->setBaseDate(base + 24h);
    for (const auto& photo : roll->photos()) photo->clearLocation();
    assignDates(*roll, 60.0, nullptr);
    machine.advance(1s);
    EXPECT_EQ(roll->photos()[0]->latitude(), std::nullopt);
    EXPECT_THAT(roll->statusNotification()->message(), ::testing::EndsWith(" (no photos in timeline range)"));
}

TEST_F(RollDatesTest, NothingIsWrittenOnceTheRollIsGone) {
    auto roll = openRoll(3);
    const auto last = roll->photos()[2];
    int done = 0;
    assignDates(*roll, 60.0, [&] { ++done; });
    machine.advance(30ms);
    roll.reset();
    machine.advance(1s);
    EXPECT_EQ(last->captureDate(), std::nullopt);
    EXPECT_EQ(done, 0);
}

TEST_F(RollDatesTest, DatesThatNoFileCouldHoldAreRefusedBeforeAnythingIsWritten) {
    const auto roll = openRoll(3);
    for (const double interval : {1e300, 1.3e11, -1.0, std::nan("")}) {
        EXPECT_FALSE(assignDates(*roll, interval, nullptr)) << interval;
    }
    roll->setBaseDate(Instant::fromSeconds(-1e11));
    EXPECT_FALSE(assignDates(*roll, 60.0, nullptr));
    machine.advance(1s);
    EXPECT_EQ(roll->photos()[0]->captureDate(), std::nullopt);
    roll->setBaseDate(base);
    EXPECT_TRUE(assignDates(*roll, 1.2e11, nullptr)) << "the year 9000 or so";
}

TEST_F(RollDatesTest, ANewAssignmentTakesBackThePlacesThatItsDatesDoNotHave) {
    const auto roll = openRoll(3);
    roll->photos()[1]->setLatitude(7.0);
    roll->photos()[1]->setLongitude(8.0);
    roll->photos()[1]->setLocationSource(MetadataSource::photo);
    roll->locationService().setRecords({{base, 35.0, 135.0}, {base + 30min, 36.0, 136.0}});
    UndoStack undo;
    assignDates(*roll, 0.0, nullptr, &undo);
    machine.advance(1s);
    ASSERT_EQ(roll->photos()[2]->locationSource(), MetadataSource::roll);

    roll->photos()[1]->setLocationSource(MetadataSource::photo);
    roll->setBaseDate(base + 240h);
    assignDates(*roll, 60.0, nullptr, &undo);
    machine.advance(1s);
    EXPECT_EQ(roll->photos()[2]->latitude(), std::nullopt);
    EXPECT_EQ(roll->photos()[1]->longitude(), 135.0) << "the user's own place stays";
    undo.undo();
    EXPECT_EQ(roll->photos()[2]->captureDate(), base);
    EXPECT_EQ(roll->photos()[2]->latitude(), 35.0);
    undo.undo();
    EXPECT_EQ(roll->photos()[2]->captureDate(), std::nullopt);
    EXPECT_EQ(roll->workflowState(), std::nullopt);
    undo.redo();
    EXPECT_EQ(roll->photos()[2]->captureDate(), base);
}

TEST_F(RollDatesTest, AnEmptyRollIsAssignedToo) {
    const auto roll = openRoll(0);
    int done = 0;
    assignDates(*roll, 60.0, [&] { ++done; });
    machine.settle();
    EXPECT_EQ(done, 1);
}

TEST_F(RollDatesTest, SummaryCountsByWhoSetTheDate) {
    const auto roll = openRoll(6);
    const std::optional<MetadataSource> sources[] = {MetadataSource::exif, MetadataSource::photo,
                                                     MetadataSource::roll, MetadataSource::autoDetect,
                                                     std::nullopt};
    for (int i = 0; i < 5; ++i) {
        roll->photos()[i]->setCaptureDate(base);
        roll->photos()[i]->setDateSource(sources[i]);
    }
    roll->photos()[5]->setDateSource(MetadataSource::exif);  // without a date it counts nowhere
    EXPECT_EQ(dateOverwriteSummary(*roll), (MetadataOverwriteSummary{1, 1, 1, 2}));
}

TEST_F(RollDatesTest, OnlyDatesThatSomebodyKnewAreAtRisk) {
    const std::pair<std::optional<MetadataSource>, bool> cases[] = {
        {MetadataSource::exif, true},  {MetadataSource::photo, true}, {MetadataSource::autoDetect, true},
        {MetadataSource::roll, false}, {std::nullopt, false},
    };
    for (const auto& [source, isAtRisk] : cases) {
        const auto roll = openRoll(2);
        roll->photos()[1]->setDateSource(source);
        EXPECT_FALSE(hasDatesAtRisk(*roll)) << "there is no date to lose";
        roll->photos()[1]->setCaptureDate(base);
        EXPECT_EQ(hasDatesAtRisk(*roll), isAtRisk);
    }
}

TEST_F(RollDatesTest, WarningNamesWhatIsReplaced) {
    const std::pair<MetadataOverwriteSummary, const char*> cases[] = {
        {{3, 0, 5, 1},
         "This will replace dates on 3 photos with original EXIF dates and 1 photo with existing dates."},
        {{1, 0, 0, 0}, "This will replace dates on 1 photo with original EXIF dates."},
        {{1, 2, 0, 3},
         "This will replace dates on 1 photo with original EXIF dates, 2 photos with manually set dates, and "
         "3 photos with existing dates."},
        {{0, 0, 9, 0}, ""},
    };
    for (const auto& [summary, text] : cases) EXPECT_EQ(summary.warningMessage(), text);
}

}  // namespace
}  // namespace kelvaris

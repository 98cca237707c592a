#include "library/photo_item.h"

#include <gmock/gmock.h>

#include <random>

#include "library/undo_stack.h"

namespace kelvaris {
namespace {

using ::testing::ElementsAre;
using Label = PhotoLabel;

PhotoPointer makePhoto() { return std::make_shared<PhotoItem>(Path("/scans/frame 12.jpg"), 0); }

TEST(PhotoItemTest, AWriteOfAnEqualValueTellsNobody) {
    const auto photo = makePhoto();
    std::vector<PhotoField> seen;
    const auto watching = photo->observe([&](PhotoField field) { seen.push_back(field); });
    photo->setRotation(RotationAngle::none);
    photo->setClipEmbedding(std::vector{1.0f});
    photo->setClipEmbedding(std::vector{1.0f});
    photo->setRotation(RotationAngle::clockwise90);
    photo->setRotation(RotationAngle::clockwise90);
    EXPECT_THAT(seen,
                ElementsAre(PhotoField::clipEmbedding, PhotoField::rotation, PhotoField::rotationRevision));
    EXPECT_EQ(photo->rotationRevision(), 1);
    EXPECT_EQ(photo->filename(), "frame 12.jpg");
}

TEST(PhotoItemTest, DerivedLabelListsStandWhenTheChangeIsSeen) {
    const auto photo = makePhoto();
    std::vector<PhotoField> seen;
    const auto watching = photo->observe([&](PhotoField field) {
        EXPECT_TRUE(photo->sortedSubjectLabels().contains(Label::face));
        seen.push_back(field);
    });
    photo->setLabels({Label::face});
    EXPECT_THAT(seen,
                ElementsAre(PhotoField::labels, PhotoField::sortedLabels, PhotoField::sortedSubjectLabels))
        << "a face is not displayed as a subject, and is no quality";
    EXPECT_TRUE(photo->displaySubjectLabels().empty());
}

TEST(PhotoLabelMergingTest, SuggestionsBringAtMostFourSubjectsInLabelOrder) {
    const auto photo = makePhoto();
    photo->applySuggestedLabels({Label::water, Label::vehicle, Label::animal, Label::food, Label::night,
                                 Label::blur, Label::dark, Label::gem});
    EXPECT_THAT(photo->sortedSubjectLabels(),
                ElementsAre(Label::animal, Label::food, Label::night, Label::vehicle));
    EXPECT_THAT(photo->sortedQualityLabels(), ElementsAre(Label::blur, Label::dark));
    EXPECT_TRUE(photo->labels().contains(Label::gem));

    photo->setManualLabelOverrides({{"water", true}, {"animal", false}, {"sunset", true}});
    photo->applySuggestedLabels({Label::animal, Label::street});
    EXPECT_THAT(photo->sortedSubjectLabels(),
                ElementsAre(Label::food, Label::night, Label::vehicle, Label::water))
        << "the fifth is dropped, the forced one comes all the same, the forbidden one goes";
    EXPECT_TRUE(photo->manualLabelOverrides().contains("sunset")) << "foreign words are kept";
}

TEST(PhotoLabelMergingTest, ClearingKeepsOnlyWhatTheUserForcedOn) {
    const auto photo = makePhoto();
    photo->setManualLabelOverrides({{"blur", true}, {"face", false}, {"nonsense", true}});
    photo->applySuggestedLabels({Label::gem, Label::face, Label::street});
    photo->clearSuggestedLabels();
    EXPECT_THAT(photo->sortedLabels(), ElementsAre(Label::blur));
}

TEST(PhotoLabelMergingTest, OverridesAlwaysWinAndUndoAlwaysLeadsBack) {
    std::mt19937 random(7);
    const auto randomSet = [&random] {
        PhotoLabelSet set;
        for (const auto& each : photoLabelRows) {
            if (random() % 3 == 0) set.insert(each.label);
        }
        return set;
    };
    for (int round = 0; round < 300; ++round) {
        const auto photo = makePhoto();
        UndoStack undo;
        photo->applySuggestedLabels(randomSet());
        std::vector<std::pair<PhotoLabelSet, std::map<std::string, bool>>> history;
        for (int step = 0; step < 6; ++step) {
            history.emplace_back(photo->labels(), photo->manualLabelOverrides());
            photo->setManualLabel(photoLabelRows[random() % photoLabelCount].label, random() % 2 == 0, &undo,
                                  {});
        }
        const auto labelsAfter = photo->labels();
        const auto overridesAfter = photo->manualLabelOverrides();
        for (auto state = history.rbegin(); state != history.rend(); ++state) {
            undo.undo();
            ASSERT_EQ(photo->labels(), state->first);
            ASSERT_EQ(photo->manualLabelOverrides(), state->second);
        }
        while (undo.canRedo()) undo.redo();
        ASSERT_EQ(photo->labels(), labelsAfter);
        ASSERT_EQ(photo->manualLabelOverrides(), overridesAfter);

        photo->applySuggestedLabels(randomSet());
        for (const auto& [word, present] : photo->manualLabelOverrides()) {
            ASSERT_EQ(photo->labels().contains(*fromRawValue<PhotoLabel>(word)), present);
        }
    }
}

TEST(PhotoItemTest, ManualLabelIsNamedInTheUndoMenuAndShowsThePhoto) {
    const auto photo = makePhoto();
    UndoStack undo;
    int shown = 0;
    photo->setManualLabel(Label::gem, true, &undo, [&] { ++shown; });
    photo->setManualLabel(Label::gem, false, &undo, [&] { ++shown; });
    EXPECT_EQ(undo.undoStack()[0].label, "Add Gem");
    EXPECT_EQ(undo.undoStack()[1].label, "Remove Gem");
    undo.undo();
    undo.redo();
    EXPECT_EQ(shown, 2);
}

TEST(PhotoItemTest, ExifNeverOverwritesWhatIsSet) {
    const Instant created = Instant::fromSeconds(100);
    const Instant taken = Instant::fromSeconds(50);
    const PhotoItem::EXIFResult full{.latitude = 1.0, .longitude = 2.0, .captureDate = taken};

    const auto fresh = makePhoto();
    fresh->setFileCreationDate(created);
    fresh->applyEXIF(full);
    EXPECT_EQ(fresh->captureDate(), taken);
    EXPECT_EQ(fresh->dateSource(), MetadataSource::exif);
    EXPECT_EQ(fresh->latitude(), 1.0);
    EXPECT_EQ(fresh->locationSource(), MetadataSource::exif);

    const auto edited = makePhoto();
    edited->setLatitude(10.0);
    edited->setLongitude(20.0);
    edited->setLocationSource(MetadataSource::photo);
    edited->setCaptureDate(created);
    edited->setDateSource(MetadataSource::roll);
    edited->applyEXIF(full);
    EXPECT_EQ(edited->longitude(), 20.0);
    EXPECT_EQ(edited->locationSource(), MetadataSource::photo);
    EXPECT_EQ(edited->captureDate(), created);
    EXPECT_EQ(edited->dateSource(), MetadataSource::roll);

    const auto bare = makePhoto();
    bare->setFileCreationDate(created);
    bare->applyEXIF({.latitude = 1.0});
    EXPECT_EQ(bare->latitude(), std::nullopt);
    EXPECT_EQ(bare->captureDate(), created);
    EXPECT_EQ(bare->dateSource(), std::nullopt) << "the file's own date has no source";
}

TEST(PhotoItemTest, ReviewIsWantedForAnUncertainDecisionThatIsNotTheUsers) {
    const auto photo = makePhoto();
    EXPECT_FALSE(photo->needsRotationReview());
    OrientationDecision decision;
    decision.status = OrientationDecision::Status::uncertain;
    photo->setOrientationDecision(decision);
    EXPECT_TRUE(photo->needsRotationReview());
    photo->setRotationSource(MetadataSource::autoDetect);
    EXPECT_TRUE(photo->needsRotationReview());
    photo->setRotationSource(MetadataSource::photo);
    EXPECT_FALSE(photo->needsRotationReview());
}

TEST(PhotoItemTest, StaysSmallBecauseLibrariesHoldHundredsOfThousands) { EXPECT_LE(sizeof(PhotoItem), 800u); }

}  // namespace
}  // namespace kelvaris

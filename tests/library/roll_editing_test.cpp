#include "library/roll_editing.h"

#include <gmock/gmock.h>

#include "library/roll_loading.h"
#include "library/roll_selection.h"
#include "library/undo_stack.h"
#include "library_world.h"

namespace kelvaris {
namespace {

using ::testing::ElementsAre;

class RollEditingTest : public ::testing::Test, protected testing::LibraryWorld {
protected:
    void SetUp() override {
        preferences.set(settings::soundEffectsEnabled, true);
        roll = makeRoll(4);
        loadFolder(*roll, false);
        for (const auto& photo : roll->photos()) original.push_back(photo);
    }
    /// The photos' original positions in their present order.
    std::vector<int> order() const {
        std::vector<int> positions;
        for (const auto& photo : roll->photos()) {
            positions.push_back(
                static_cast<int>(std::find(original.begin(), original.end(), photo) - original.begin()));
        }
        return positions;
    }
    void sort(SortOption option, bool ascending) {
        roll->setPhotos(original);
        roll->setSortOption(option);
        roll->setSortAscending(ascending);
        sortPhotos(*roll);
    }

    RollPointer roll;
    PhotoList original;
    UndoStack undo;
};

TEST_F(RollEditingTest, UndatedPhotosAreTheGreatest) {
    original[0]->setCaptureDate(std::nullopt);
    original[1]->setCaptureDate(Instant::fromSeconds(20));
    original[2]->setCaptureDate(std::nullopt);
    original[3]->setCaptureDate(Instant::fromSeconds(10));
    sort(SortOption::captureDate, true);
    EXPECT_THAT(order(), ElementsAre(3, 1, 0, 2));
    EXPECT_EQ(original[3]->sortIndex(), 0);
    sort(SortOption::captureDate, false);
    EXPECT_THAT(order(), ElementsAre(0, 2, 1, 3)) << "equal ones keep their order in either direction";
}

TEST_F(RollEditingTest, PhotosWithoutPeopleComeLastInEitherDirection) {
    original[0]->setPeopleCount(0);
    original[1]->setPeopleCount(3);
    original[2]->setPeopleCount(0);
    original[3]->setPeopleCount(1);
    sort(SortOption::peopleCount, true);
    EXPECT_THAT(order(), ElementsAre(3, 1, 0, 2));
    sort(SortOption::peopleCount, false);
    EXPECT_THAT(order(), ElementsAre(1, 3, 0, 2));
}

TEST_F(RollEditingTest, NamesSortNaturallyAndAHandMadeOrderStands) {
    sort(SortOption::filename, false);
    EXPECT_THAT(order(), ElementsAre(3, 2, 1, 0));
    roll->setSortOption(SortOption::custom);
    roll->setSortAscending(true);
    sortPhotos(*roll);
    EXPECT_THAT(order(), ElementsAre(3, 2, 1, 0));
    EXPECT_EQ(original[3]->sortIndex(), 0);
}

TEST_F(RollEditingTest, ADragReordersLiveAndCountsOnlyWhenItEndsElsewhere) {
    const auto before = photoOrder(*roll);
    EXPECT_FALSE(dragPhotoOver(*roll, before[0], before[2], true)) << "not in a search";
    EXPECT_TRUE(dragPhotoOver(*roll, before[0], before[2], false));
    EXPECT_THAT(order(), ElementsAre(1, 2, 0, 3));
    EXPECT_TRUE(dragPhotoOver(*roll, before[0], before[1], false));
    EXPECT_THAT(order(), ElementsAre(0, 1, 2, 3));
    EXPECT_FALSE(finishDrag(*roll, before));
    EXPECT_EQ(roll->sortOption(), SortOption::filename);
    EXPECT_TRUE(machine.shell.sounds.empty());

    dragPhotoOver(*roll, before[3], before[1], false);
    EXPECT_TRUE(finishDrag(*roll, before));
    EXPECT_THAT(order(), ElementsAre(0, 3, 1, 2));
    EXPECT_EQ(roll->sortOption(), SortOption::custom);
    EXPECT_EQ(original[3]->sortIndex(), 1);
    EXPECT_THAT(machine.shell.sounds, ElementsAre(Sound::reorder));
    EXPECT_FALSE(dragPhotoOver(*roll, PhotoID::random(), before[1], false));
}

TEST_F(RollEditingTest, AFullTurnIsNoRotationAndItsUndoRestoresTheSource) {
    const auto photo = original[1];
    selectPhoto(*roll, photo);
    photo->setRotationSource(MetadataSource::autoDetect);
    photo->setPerceptualHash("hash");
    rotateSelectedClockwise(*roll, &undo);
    EXPECT_EQ(photo->rotation(), RotationAngle::clockwise90);
    EXPECT_EQ(photo->rotationSource(), MetadataSource::photo);
    EXPECT_EQ(photo->perceptualHash(), std::nullopt);
    EXPECT_EQ(roll->exportDirty(), std::nullopt) << "never exported";
    roll->setLastExported(Instant());
    for (int i = 0; i < 3; ++i) rotateSelectedClockwise(*roll, &undo);
    EXPECT_EQ(roll->exportDirty(), true);
    EXPECT_EQ(photo->rotation(), RotationAngle::none);
    EXPECT_EQ(photo->displayRotationDegrees(), 360.0);

    selectPhoto(*roll, original[0]);
    while (undo.canUndo()) undo.undo();
    EXPECT_EQ(roll->selectedPhoto(), photo) << "undo shows what it changes";
    EXPECT_EQ(photo->rotation(), RotationAngle::none);
    EXPECT_EQ(photo->rotationSource(), MetadataSource::autoDetect);
    EXPECT_EQ(photo->displayRotationDegrees(), 0.0);

    undo.redo();
    EXPECT_EQ(photo->rotation(), RotationAngle::clockwise90);
    EXPECT_EQ(photo->displayRotationDegrees(), 90.0);
    EXPECT_EQ(photo->rotationSource(), MetadataSource::photo);

    rotateSelectedCounterClockwise(*roll, &undo);
    rotateSelectedCounterClockwise(*roll, &undo);
    EXPECT_EQ(photo->rotation(), RotationAngle::clockwise270);
    EXPECT_EQ(photo->displayRotationDegrees(), -90.0);
    EXPECT_EQ(undo.undoStack().back().label, "Rotate Counter-Clockwise");
}

TEST_F(RollEditingTest, UndoAfterTheRollIsGoneDoesNothing) {
    selectPhoto(*roll, original[0]);
    rotateSelectedClockwise(*roll, &undo);
    roll.reset();
    undo.undo();
    EXPECT_EQ(original[0]->rotation(), RotationAngle::clockwise90);
}

TEST_F(RollEditingTest, AnOfferedRotationIsConfirmedOnce) {
    const auto photo = original[2];
    selectPhoto(*roll, original[0]);
    confirmSuggestedRotation(*roll, photo, &undo);
    EXPECT_FALSE(undo.canUndo()) << "nothing was offered";

    OrientationDecision decision;
    decision.status = OrientationDecision::Status::uncertain;
    decision.scores = {0.1, 0.1, 0.1, 0.7};
    photo->setOrientationDecision(decision);
    confirmSuggestedRotation(*roll, photo, &undo);
    EXPECT_EQ(photo->rotation(), RotationAngle::clockwise270);
    EXPECT_EQ(photo->displayRotationDegrees(), -90.0);
    EXPECT_EQ(roll->selectedPhoto(), photo);
    EXPECT_EQ(undo.undoStack().back().label, "Confirm Suggested Rotation");
    photo->setOrientationDecision(decision);
    confirmSuggestedRotation(*roll, photo, &undo);
    EXPECT_EQ(undo.undoStack().size(), 1u) << "the rotation is the user's own now";
    undo.undo();
    EXPECT_EQ(photo->rotationSource(), std::nullopt);
    EXPECT_EQ(photo->rotation(), RotationAngle::none);
}

TEST_F(RollEditingTest, RemovalSelectsWhatMovesIntoThePlace) {
    selectPhoto(*roll, original[1]);
    removePhoto(*roll, original[1]);
    EXPECT_EQ(roll->selectedPhoto(), original[2]);
    EXPECT_EQ(original[3]->sortIndex(), 2);
    removePhoto(*roll, original[0]);
    EXPECT_EQ(roll->selectedPhoto(), original[2]) << "an unselected photo leaves the selection";
    selectPhoto(*roll, original[3]);
    removePhoto(*roll, original[3]);
    EXPECT_EQ(roll->selectedPhoto(), original[2]);
    removePhoto(*roll, original[2]);
    EXPECT_EQ(roll->selectedPhoto(), nullptr);
    EXPECT_TRUE(roll->photos().empty());
    EXPECT_TRUE(machine.files.exists(original[2]->sourceURL())) << "the scans stay";
    EXPECT_EQ(machine.shell.sounds.size(), 4u);
    removePhoto(*roll, original[2]);
    EXPECT_EQ(machine.shell.sounds.size(), 4u);
}

}  // namespace
}  // namespace kelvaris

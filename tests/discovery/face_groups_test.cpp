#include "discovery/face_groups.h"

#include <gmock/gmock.h>

#include <random>

#include "base/text.h"
#include "discovery/face_corrections.h"
#include "discovery_world.h"

namespace kelvaris {
namespace {

class FaceGroupsTest : public ::testing::Test, public testing::DiscoveryWorld {
protected:
    /// One face at a place of the plane of the first two axes.
    void addFace(int photo, int axis, double x = 0.1) {
        std::vector<float> vector(faceEmbeddingDimension, 0.0F);
        vector[static_cast<std::size_t>(axis)] = 1.0F;
        auto faces = roll->photos()[photo]->faceRegions().toOptional().value_or(std::vector<FaceRegion>());
        faces.push_back({{x, 0.1, 0.1, 0.1}, vector, currentFaceEmbeddingVersion, false});
        roll->photos()[photo]->setFaceRegions(faces);
    }
    std::vector<std::vector<std::string>> shown() {
        machine.settle();
        std::vector<std::vector<std::string>> all;
        for (const auto& group : *people.groups()) {
            all.emplace_back();
            for (const auto& face : group.faces) all.back().push_back(face.anchor.filename.substr(2, 1));
        }
        return all;
    }
    std::string idOf(std::size_t group) { return people.groups()->at(group).id; }
    FaceAnchor faceOf(std::size_t group, std::size_t face) {
        return people.groups()->at(group).faces.at(face).anchor;
    }

    using Shown = std::vector<std::vector<std::string>>;
    RollPointer roll = addRoll("a", 6);
    UndoStack undoStack;
    FaceGroups people{*this, preferences, &undoStack, *queue, machine.main};
};

TEST_F(FaceGroupsTest, CorrectionsLastCanBeUndoneAndAreRefusedOnGroupsThatAreBeingRemade) {
    for (const int photo : {0, 1, 2}) addFace(photo, 0);
    for (const int photo : {3, 4}) addFace(photo, 1);
    people.refresh();
    EXPECT_EQ(shown(), (Shown{{"1", "2", "3"}, {"4", "5"}}));

    EXPECT_TRUE(people.merge(idOf(0), idOf(1)));
    EXPECT_FALSE(people.merge(idOf(0), idOf(1))) << "the groups are being made anew";
    EXPECT_EQ(shown(), (Shown{{"1", "2", "3", "4", "5"}}));
    EXPECT_EQ(preferences.faceGroupingEdits().groups.size(), 1U);
    undoStack.undo();
    EXPECT_EQ(shown(), (Shown{{"1", "2", "3"}, {"4", "5"}}));
    EXPECT_EQ(preferences.faceGroupingEdits(), FaceGroupingEdits{});
    undoStack.redo();
    EXPECT_EQ(shown(), (Shown{{"1", "2", "3", "4", "5"}}));

    EXPECT_TRUE(people.takeOut(faceOf(0, 1), idOf(0)));
    EXPECT_EQ(shown(), (Shown{{"1", "3", "4", "5"}, {"2"}}));
    EXPECT_FALSE(people.takeOut(faceOf(1, 0), idOf(1))) << "it stands alone already";
    EXPECT_TRUE(people.move(faceOf(0, 0), idOf(0), idOf(1)));
    EXPECT_EQ(shown(), (Shown{{"3", "4", "5"}, {"2", "1"}}));
    EXPECT_TRUE(preferences.faceGroupingEdits().separated.empty()) << "it has a group again";
    addFace(5, 0);
    people.refresh();
    EXPECT_EQ(shown(), (Shown{{"3", "4", "5"}, {"2", "1"}, {"6"}}))
        << "pinned groups take nobody by themselves";
    EXPECT_FALSE(people.merge(idOf(0), "nobody"));
    EXPECT_FALSE(people.move(faceOf(1, 0), idOf(0), idOf(1)));
}

TEST_F(FaceGroupsTest, EditsThatNamePhotosThatAreAwayKeepThem) {
    addFace(0, 0);
    addFace(1, 1);
    const FaceAnchor away{RollID::random(), "gone.jpg", 0.1, 0.1, 0.1, 0.1};
    const auto id = FaceGroupID::random();
    preferences.setFaceGroupingEdits(
        {.groups = {{id, {away, {roll->id(), "a-1.jpg", 0.1, 0.1, 0.1, 0.1}}}}, .separated = {away}});
    people.refresh();
    machine.settle();
    const auto manual = idOf(0) == id.text() ? 0U : 1U;
    ASSERT_EQ(idOf(manual), id.text());
    EXPECT_TRUE(people.merge(idOf(1 - manual), idOf(manual)));
    EXPECT_EQ(shown().size(), 1U);
    ASSERT_EQ(preferences.faceGroupingEdits().groups.size(), 1U);
    EXPECT_THAT(preferences.faceGroupingEdits().groups[0].members, ::testing::Contains(away));
}

TEST_F(FaceGroupsTest, AnOldGroupingNeverReplacesANewerOne) {
    addFace(0, 0);
    people.refresh();
    machine.queues.runAll();
    addFace(1, 1);
    people.refresh();
    machine.main.drain();
    EXPECT_TRUE(people.isGrouping());
    EXPECT_EQ(people.groups()->size(), 0U);
    EXPECT_EQ(shown().size(), 2U);
    auto gone = std::make_unique<FaceGroups>(*this, preferences, nullptr, *queue, machine.main);
    gone->refresh();
    machine.queues.runAll();
    gone.reset();
    machine.settle();
}

TEST(FaceCorrections, NoFaceEverBelongsToTwoGroupsWhateverTheUserDoes) {
    std::mt19937 random(5);
    const auto below = [&](std::size_t count) {
        return std::uniform_int_distribution<std::size_t>(0, count - 1)(random);
    };
    const RollID roll = RollID::random();
    std::vector<IndexedFace> faces;
    for (int i = 0; i < 24; ++i) {
        std::vector<float> vector(faceEmbeddingDimension, 0.0F);
        vector[below(4)] = 1.0F;
        faces.push_back({{roll, std::to_string(i / 2), 0.5 * (i % 2), 0.1, 0.2, 0.2},
                         Path("/x"),
                         {{}, vector, currentFaceEmbeddingVersion, false},
                         RotationAngle::none});
    }
    FaceGroupingEdits edits;
    // A file that was edited by hand, with one face in two groups.
    edits.groups = {{FaceGroupID::random(), {faces[0].anchor, faces[1].anchor}},
                    {FaceGroupID::random(), {faces[1].anchor, faces[0].anchor}}};
    for (int step = 0; step < 300; ++step) {
        const auto groups = FaceGroupingService::groups(faces, edits, FaceGroupingService::threshold);
        const auto& one = groups[below(groups.size())];
        const auto& two = groups[below(groups.size())];
        const auto face = one.faces[below(one.faces.size())].anchor;
        const auto choice = below(3);
        if (choice == 0 && &one != &two) {
            edits = face_corrections::merged(one, two, edits);
        } else if (choice == 1 && &one != &two) {
            edits = face_corrections::moved(face, one, two, edits);
        } else if (choice == 2) {
            edits = face_corrections::takenOut(face, one, edits);
        } else {
            continue;
        }
        std::set<FaceAnchor> seen;
        for (const auto& group : edits.groups) {
            EXPECT_FALSE(group.members.empty());
            for (const auto& member : group.members) ASSERT_TRUE(seen.insert(member).second) << step;
        }
        std::size_t shown = 0;
        for (const auto& group : FaceGroupingService::groups(faces, edits, 0.5F)) shown += group.faces.size();
        ASSERT_EQ(shown, faces.size()) << "every face shows exactly once";
    }
}

}  // namespace
}  // namespace kelvaris

#include "discovery/face_grouping.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <map>
#include <random>
#include <set>

#include "analysis/face_vectors.h"
#include "base/text.h"
#include "base/vector_math.h"

namespace kelvaris {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

const RollID roll = *RollID::parse("FFFFFFFF-0000-0000-0000-000000000001");

FaceAnchor anchorIn(std::string filename, double x = 0.1, double y = 0.1, double side = 0.2) {
    return {roll, std::move(filename), x, y, side, side};
}

/// A unit vector in the plane of the first two axes.
std::vector<float> atDegrees(double degrees) {
    std::vector<float> vector(faceEmbeddingDimension, 0.0F);
    vector[0] = static_cast<float>(std::cos(degrees * M_PI / 180.0));
    vector[1] = static_cast<float>(std::sin(degrees * M_PI / 180.0));
    return vector;
}

IndexedFace face(FaceAnchor anchor, std::vector<float> vector) {
    return {anchor,
            Path("/scans/" + anchor.filename),
            {{anchor.x, anchor.y, anchor.width, anchor.height}, std::move(vector), 3, std::nullopt},
            RotationAngle::none};
}

IndexedFace face(std::string filename, double degrees, double x = 0.1) {
    return face(anchorIn(std::move(filename), x), atDegrees(degrees));
}

/// The groups as lists of "file" or "file@x" texts.
std::vector<std::vector<std::string>> filesOf(const std::vector<SuggestedFaceGroup>& groups) {
    std::vector<std::vector<std::string>> all;
    for (const auto& group : groups) {
        std::vector<std::string> files;
        for (const auto& each : group.faces) {
            files.push_back(each.anchor.filename +
                            (each.anchor.x == 0.1 ? "" : "@" + shortestDecimal(each.anchor.x)));
        }
        all.push_back(std::move(files));
    }
    return all;
}

std::vector<std::vector<std::string>> grouped(std::vector<IndexedFace> faces,
                                              const FaceGroupingEdits& edits = {}) {
    return filesOf(FaceGroupingService::groups(std::move(faces), edits, FaceGroupingService::threshold));
}

using Files = std::vector<std::vector<std::string>>;

TEST(FaceGrouping, AFaceJoinsTheGroupToWhoseFarthestMemberItIsNearest) {
    EXPECT_THAT(grouped({}), IsEmpty());
    EXPECT_EQ(grouped({face("a", 0), face("b", 40), face("c", 75)}), (Files{{"a", "b"}, {"c"}}))
        << "near b, but too far from a";
    EXPECT_EQ(grouped({face("a", 0), face("b", 90), face("c", 50)}), (Files{{"b", "c"}, {"a"}}));
    EXPECT_EQ(grouped({face("a", 45), face("b", -45), face("c", 0)}), (Files{{"a", "c"}, {"b"}}))
        << "the earlier group wins a tie";
    std::vector<float> half(faceEmbeddingDimension, 0.0F);
    half[0] = 0.5F;
    half[2] = std::sqrt(0.75F);
    EXPECT_EQ(grouped({face("a", 0), face(anchorIn("b"), half)}), (Files{{"a", "b"}}))
        << "exactly the threshold";
}

TEST(FaceGrouping, TwoFacesOfOnePhotoAreTwoPersonsUnlessTheyAreOneFaceFoundTwice) {
    EXPECT_EQ(grouped({face("a", 0), face("a", 0, 0.6)}).size(), 2U);
    // Boxes of equal size, moved by a third of their width, share exactly half of their union.
    const auto found = [](double x) { return face(FaceAnchor{roll, "a", x, 0.0, 0.375, 0.5}, atDegrees(0)); };
    EXPECT_EQ(grouped({found(0.0), found(0.125)}).size(), 1U);
    EXPECT_EQ(grouped({found(0.0), found(0.126)}).size(), 2U);
}

TEST(FaceGrouping, VectorsThatCannotBeComparedStandAlone) {
    auto old = face("b", 0);
    old.region.embeddingVersion = 2;
    auto broken = face("c", 0);
    broken.region.embedding[511] = std::nanf("");
    auto empty = face("d", 0);
    empty.region.embedding.assign(faceEmbeddingDimension, 0.0F);
    auto shortVector = face("e", 0);
    shortVector.region.embedding.resize(128);
    auto tooSmall = face("f", 0);
    tooSmall.region.tooSmallToMatch = true;  // but its vector is usable
    EXPECT_EQ(grouped({face("a", 0), old, broken, empty, shortVector, tooSmall}),
              (Files{{"a", "f"}, {"b"}, {"c"}, {"d"}, {"e"}}));
}

TEST(FaceGrouping, CorrectionsHoldWhenAFaceIsFoundAgainALittleElsewhere) {
    const auto person = *FaceGroupID::parse("00000000-0000-0000-0000-0000000000AA");
    const auto ghost = *FaceGroupID::parse("00000000-0000-0000-0000-0000000000BB");
    const FaceGroupingEdits edits{
        .groups = {{ghost, {anchorIn("gone")}},
                   {person, {anchorIn("a", 0.12), anchorIn("gone"), anchorIn("c")}}},
        .separated = {anchorIn("d", 0.12)}};
    const auto groups = FaceGroupingService::groups(
        {face("a", 0), face("b", 0), face("c", 90), face("d", 0), face("e", 0)}, edits, 0.5F);
    EXPECT_EQ(filesOf(groups), (Files{{"a", "c"}, {"b", "e"}, {"d"}}));
    EXPECT_EQ(groups[0].id, person.text());
    EXPECT_TRUE(groups[0].manual);
    EXPECT_FALSE(groups[1].manual) << "the group that a left takes new members, a's group does not";
    EXPECT_EQ(groups[1].id, FaceGroupingService::stableKey(anchorIn("b")));
    EXPECT_TRUE(groups[2].manual) << "a face that was taken out stays alone";
}

TEST(FaceGrouping, AFaceClaimedByAnEarlierCorrectionIsSkippedOnlyByItsExactAnchor) {
    const auto first = FaceGroupID::random(), second = FaceGroupID::random();
    const FaceGroupingEdits edits{
        .groups = {{first, {anchorIn("a")}}, {second, {anchorIn("a"), anchorIn("b")}}}, .separated = {}};
    EXPECT_THAT(grouped({face("a", 0), face("b", 0)}, edits),
                ::testing::UnorderedElementsAre(ElementsAre("a"), ElementsAre("b")));
}

TEST(FaceGrouping, PinnedGroupsKeepTheirIdentityAndGrow) {
    const auto groups = FaceGroupingService::groups({face("a", 0), face("b", 0), face("c", 90)}, {}, 0.5F);
    const FaceGroupingEdits pinned = FaceGroupingService::preserve(
        std::span(groups).first(1), {.groups = {}, .separated = {anchorIn("z")}});
    ASSERT_EQ(pinned.groups.size(), 1U);
    EXPECT_THAT(pinned.groups[0].members, ElementsAre(anchorIn("a"), anchorIn("b")));
    EXPECT_THAT(pinned.separated, ElementsAre(anchorIn("z")));
    SuggestedFaceGroup grown{pinned.groups[0].id.text(), {face("b", 0, 0.12), face("c", 90)}, true};
    const auto again = FaceGroupingService::preserve(std::span(&grown, 1), pinned);
    ASSERT_EQ(again.groups.size(), 1U);
    EXPECT_THAT(again.groups[0].members, ElementsAre(anchorIn("a"), anchorIn("b"), anchorIn("c")))
        << "b is a member already, a little to the left";
}

/// The stated algorithm without any short cut.
Files plainGroups(std::vector<IndexedFace> faces, const FaceGroupingEdits& edits, float threshold) {
    std::sort(faces.begin(), faces.end(), [](const IndexedFace& a, const IndexedFace& b) {
        return FaceGroupingService::stableKey(a.anchor) < FaceGroupingService::stableKey(b.anchor);
    });
    std::vector<IndexedFace> kept;
    const auto firstOverlapping = [&](const FaceAnchor& anchor) {
        return std::find_if(kept.begin(), kept.end(), [&](const IndexedFace& each) {
            return FaceGroupingService::overlap(each.anchor, anchor);
        });
    };
    for (const IndexedFace& each : faces) {
        if (firstOverlapping(each.anchor) == kept.end()) kept.push_back(each);
    }
    std::vector<SuggestedFaceGroup> groups;
    std::set<FaceAnchor> claimed;
    for (const ManualFaceGroup& manual : edits.groups) {
        SuggestedFaceGroup group{manual.id.text(), {}, true};
        for (const FaceAnchor& member : manual.members) {
            if (claimed.contains(member)) continue;
            const auto found = firstOverlapping(member);
            if (found != kept.end()) group.faces.push_back(*found);
        }
        for (const IndexedFace& each : group.faces) claimed.insert(each.anchor);
        if (!group.faces.empty()) groups.push_back(group);
    }
    for (const IndexedFace& each : kept) {
        if (claimed.contains(each.anchor)) continue;
        const bool isSeparated = std::any_of(
            edits.separated.begin(), edits.separated.end(),
            [&](const FaceAnchor& anchor) { return FaceGroupingService::overlap(anchor, each.anchor); });
        SuggestedFaceGroup* best = nullptr;
        float bestSimilarity = 0.0F;
        for (SuggestedFaceGroup& group : groups) {
            if (group.manual || isSeparated || !hasUsableEmbedding(each.region)) continue;
            float smallest = std::numeric_limits<float>::infinity();
            bool isClosed = false;
            for (const IndexedFace& member : group.faces) {
                isClosed = isClosed || member.anchor.filename == each.anchor.filename ||
                           !hasUsableEmbedding(member.region);
                smallest =
                    std::min(smallest, cosineSimilarity(each.region.embedding, member.region.embedding));
            }
            if (isClosed || !(smallest >= threshold) || (best && smallest <= bestSimilarity)) continue;
            best = &group;
            bestSimilarity = smallest;
        }
        if (best) {
            best->faces.push_back(each);
        } else {
            groups.push_back({FaceGroupingService::stableKey(each.anchor), {each}, isSeparated});
        }
    }
    std::stable_sort(groups.begin(), groups.end(), [](const auto& a, const auto& b) {
        return a.faces.size() != b.faces.size() ? a.faces.size() > b.faces.size() : a.id < b.id;
    });
    return filesOf(groups);
}

/// Faces of persons whose pictures scatter so widely that many similarities lie about the threshold.
std::vector<IndexedFace> crowd(std::mt19937& random, int personCount, int photoCount) {
    std::normal_distribution<float> normal;
    const auto unit = [&](std::vector<float> base, float scatter) {
        float sum = 0.0F;
        base.resize(faceEmbeddingDimension, 0.0F);
        for (float& value : base) {
            value += scatter * normal(random) / std::sqrt(static_cast<float>(faceEmbeddingDimension));
            sum += value * value;
        }
        for (float& value : base) value /= std::sqrt(sum);
        return base;
    };
    std::vector<std::vector<float>> persons;
    for (int i = 0; i < personCount; ++i) persons.push_back(unit({}, 1.0F));
    std::vector<IndexedFace> faces;
    for (int photo = 0; photo < photoCount; ++photo) {
        const int count = std::uniform_int_distribution(1, 3)(random);
        for (int i = 0; i < count; ++i) {
            const auto& person =
                persons[std::uniform_int_distribution<std::size_t>(0, persons.size() - 1)(random)];
            faces.push_back(face(anchorIn(std::to_string(photo), 0.3 * i), unit(person, 0.95F)));
        }
    }
    return faces;
}

/// What stored corrections and old analysis bring: pinned groups with members that moved a little or are
/// gone, faces taken out, faces found twice, vectors that cannot be compared.
FaceGroupingEdits disturbed(std::mt19937& random, std::vector<IndexedFace>& faces) {
    const auto chosen = [&]() -> IndexedFace& {
        return faces[std::uniform_int_distribution<std::size_t>(0, faces.size() - 1)(random)];
    };
    const auto movedALittle = [](FaceAnchor anchor) {
        anchor.x += 0.03;
        return anchor;
    };
    FaceGroupingEdits edits;
    for (int i = 0; i < 4; ++i) {
        ManualFaceGroup group{FaceGroupID::random(), {anchorIn("gone")}};
        for (int member = 0; member < i; ++member) {
            group.members.push_back(chosen().anchor);
            group.members.push_back(movedALittle(chosen().anchor));
        }
        edits.groups.push_back(group);
    }
    for (int i = 0; i < 5; ++i) edits.separated.push_back(movedALittle(chosen().anchor));
    for (int i = 0; i < 5; ++i) chosen().region.embeddingVersion = 2;
    for (int i = 0; i < 5; ++i) {
        IndexedFace again = chosen();
        again.anchor = movedALittle(again.anchor);
        faces.push_back(again);
    }
    return edits;
}

TEST(FaceGrouping, TheBlockedPassGivesTheGroupsOfThePlainOneForAnyOrderOfTheInput) {
    std::mt19937 random(20261122);
    for (const auto& [persons, photos] : {std::pair{3, 150}, {40, 200}, {1, 120}}) {
        auto faces = crowd(random, persons, photos);
        for (FaceGroupingEdits edits; const bool isDisturbed : {false, true}) {
            if (isDisturbed) edits = disturbed(random, faces);
            const Files expected = plainGroups(faces, edits, 0.5F);
            for (int round = 0; round < 3; ++round) {
                std::shuffle(faces.begin(), faces.end(), random);
                ASSERT_EQ(grouped(faces, edits), expected) << persons << " persons";
            }
        }
    }
}

}  // namespace
}  // namespace kelvaris

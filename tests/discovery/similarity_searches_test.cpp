#include <gmock/gmock.h>

#include <algorithm>
#include <bitset>
#include <cmath>
#include <random>

#include "discovery/face_search.h"
#include "discovery/scene_search.h"
#include "discovery/similar_photos.h"
#include "discovery_world.h"

namespace kelvaris {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

class SimilaritySearchesTest : public ::testing::Test, public testing::DiscoveryWorld {};

TEST(PerceptualHash, ReadsHexNumbersOfAtMost64Bits) {
    EXPECT_EQ(SimilarityService::parseHash("ff"), 255U);
    EXPECT_EQ(SimilarityService::parseHash("+FF"), 255U);
    EXPECT_EQ(SimilarityService::parseHash("-0"), 0U);
    EXPECT_EQ(SimilarityService::parseHash("000ffffffffffffffff"), ~std::uint64_t{0});
    for (const char* bad : {"", "-1", "+-1", "--0", "0x1", "1ffffffffffffffff", "fg", " f", "f ", "+", "-"}) {
        EXPECT_EQ(SimilarityService::parseHash(bad), std::nullopt) << bad;
    }
}

TEST(PerceptualHash, ThePassOverManyGivesWhatOneByOneComparisonGives) {
    std::mt19937_64 random(52);
    const std::uint64_t source = random();
    std::vector<std::uint64_t> hashes(3000, source);
    for (auto& hash : hashes) {
        for (auto flips = random() % 24; flips > 0; --flips) hash ^= std::uint64_t{1} << random() % 64;
    }
    std::vector<SimilarityService::Near> expected;
    for (std::uint32_t i = 0; i < hashes.size(); ++i) {
        const auto distance = static_cast<int>(std::bitset<64>(source ^ hashes[i]).count());
        if (distance <= 12) expected.push_back({i, distance});
    }
    std::stable_sort(expected.begin(), expected.end(),
                     [](const auto& a, const auto& b) { return a.distance < b.distance; });
    EXPECT_EQ(SimilarityService::nearHashes(source, hashes, 12), expected);
}

TEST_F(SimilaritySearchesTest, NearDuplicatesOfAllRollsComeNearestFirst) {
    const auto a = addRoll("a", 3), b = addRoll("b", 4);
    a->photos()[0]->setPerceptualHash("00000000000000ff");
    a->photos()[1]->setPerceptualHash("0000000000000fff");  // 4 bits away
    a->photos()[2]->setPerceptualHash("broken");
    b->photos()[0]->setPerceptualHash("00000000000FFFFF");  // 12
    b->photos()[1]->setPerceptualHash("00000000001fffff");  // 13
    b->photos()[2]->setPerceptualHash("00000000000000FF");  // the same
    SimilarPhotos search(*this, *queue, machine.main);
    search.findSimilarPhotos(a->photos()[0]);
    EXPECT_TRUE(search.isSearching());
    machine.settle();
    std::vector<std::pair<std::string, int>> found;
    for (const auto& each : *search.similarPhotosResult()) found.emplace_back(each.filename, each.distance);
    EXPECT_THAT(found,
                ElementsAre(std::pair("b-3.jpg", 0), std::pair("a-2.jpg", 4), std::pair("b-1.jpg", 12)));
    search.navigateToSimilarPhoto(search.similarPhotosResult()->at(1));
    EXPECT_EQ(visits.back(), (std::pair(a->id(), std::optional(a->photos()[1]->id()))));

    search.findSimilarPhotos(b->photos()[3]);  // has no hash
    search.findSimilarPhotos(a->photos()[0]);
    machine.queues.runAll();
    search.dismiss();
    machine.settle();
    EXPECT_EQ(search.similarPhotosResult(), std::nullopt) << "an old answer";
    search.findSimilarPhotos(b->photos()[3]);
    machine.settle();
    EXPECT_THAT(*search.similarPhotosResult(), IsEmpty());
}

std::vector<float> atCosine(float cosine) { return {cosine, std::sqrt(1.0F - cosine * cosine)}; }

class SceneSearchTest : public SimilaritySearchesTest {
protected:
    SceneSearchTest() {
        for (int i = 0; i < 4; ++i) b->photos()[i]->setClipEmbedding(atCosine(0.9F - 0.1F * i));
        a->photos()[0]->setClipEmbedding(atCosine(1.0F));
    }
    void start(const PhotoPointer& photo) {
        search.findSimilarScenes(photo, [this](std::string_view text) { message = text; });
    }
    std::vector<std::string> found() const {
        std::vector<std::string> names;
        for (const auto& match : search.sceneSearchResult()->matches) names.push_back(match.filename);
        return names;
    }

    RollPointer a = addRoll("a", 2), b = addRoll("b", 4);
    testing::FakeImageEmbedder embedder;
    SceneSearch search{*this, embedder, *queue, machine.main};
    std::string message;
};

TEST_F(SceneSearchTest, SimilarScenesStreamInMostSimilarFirstAndVectorsMadeOnTheWayStay) {
    embedder.vectors = {{"a-2.jpg", atCosine(0.95F)}};
    start(a->photos()[0]);
    machine.settle();
    EXPECT_THAT(found(), ElementsAre("a-2.jpg", "b-1.jpg", "b-2.jpg", "b-3.jpg"));
    EXPECT_FALSE(search.sceneSearchResult()->isSearching);
    EXPECT_EQ(search.sceneSearchResult()->progress, (DiscoveryProgress{5, 5, 0}));
    EXPECT_EQ(a->photos()[1]->clipEmbedding()->front(), 0.95F);
    EXPECT_TRUE(saved.contains(a->id()));
    search.selectSceneMatch(search.sceneSearchResult()->matches[1]);
    EXPECT_EQ(visits.back(), (std::pair(b->id(), std::optional(b->photos()[0]->id()))));
    search.dismissSceneSearch();
    EXPECT_EQ(visits.back(), (std::pair(a->id(), std::optional<PhotoID>())));
    EXPECT_EQ(search.sceneSearchResult(), std::nullopt);
}

TEST_F(SceneSearchTest, PhotosThatCannotBeReadAreCountedAndPassedOver) {
    b->photos()[0]->setClipEmbedding(std::nullopt);
    b->photos()[1]->setClipEmbedding(std::vector{NAN, 1.0F});
    b->photos()[2]->setClipEmbedding(std::vector{1.0F});
    b->photos()[3]->setClipEmbedding(std::vector<float>{});
    start(a->photos()[0]);
    machine.settle();
    EXPECT_EQ(search.sceneSearchResult()->statusText(), "No similar scenes found across your rolls.");
    EXPECT_EQ(search.sceneSearchResult()->failureText(), "2 couldn't be analyzed. Search again to retry.");
}

TEST_F(SceneSearchTest, WithoutAModelOrAVectorNoSearchStarts) {
    start(a->photos()[1]);
    machine.settle();
    EXPECT_EQ(message, SceneSearch::embeddingFailedText);
    embedder.loads = false;
    start(a->photos()[0]);
    machine.settle();
    EXPECT_EQ(message, SceneSearch::modelMissingText);
    message.clear();
    embedder.enabled = false;
    start(a->photos()[0]);
    EXPECT_EQ(message, SceneSearch::modelMissingText);
    EXPECT_EQ(search.sceneSearchResult(), std::nullopt);
}

TEST_F(SceneSearchTest, WhatWasDismissedOrTurnedMeanwhileIsLeftAlone) {
    embedder.vectors = {{"a-2.jpg", atCosine(0.95F)}, {"b-1.jpg", atCosine(0.95F)}};
    b->photos()[0]->setClipEmbedding(std::nullopt);
    start(a->photos()[0]);
    machine.queues.runAll();
    machine.main.drain();  // the search starts
    machine.queues.runAll();
    a->photos()[1]->setRotation(RotationAngle::clockwise90);
    search.dismissSceneSearch();
    start(b->photos()[3]);
    machine.main.drain();
    EXPECT_EQ(search.sceneSearchResult(), std::nullopt) << "answers of the old search arrived";
    EXPECT_FALSE(a->photos()[1]->clipEmbedding());
    EXPECT_FALSE(b->photos()[0]->clipEmbedding()) << "an old callback changes nothing";
    machine.settle();
    EXPECT_EQ(search.sceneSearchResult()->sourcePhoto, b->photos()[3]);
    search.dismissSceneSearch();
    start(a->photos()[0]);
    search.dismissSceneSearch();
    machine.settle();
    EXPECT_EQ(search.sceneSearchResult(), std::nullopt) << "a preparation that was left";
}

TEST_F(SceneSearchTest, ALongSearchTellsItsProgressOnTheWayAndWhatItMadeByThenStays) {
    const auto c = addRoll("c", 5);
    for (const auto& photo : c->photos()) embedder.vectors[photo->filename()] = atCosine(0.8F);
    start(a->photos()[0]);
    machine.queues.runAll();
    machine.main.drain();
    int asked = 0;
    // While the worker reads the pictures, each for a third of a second, the main thread goes on.
    embedder.whileAsked = [&] {
        machine.clock.advance(machine.main, std::chrono::milliseconds(333));
        if (++asked < 5) return;
        EXPECT_EQ(search.sceneSearchResult()->progress, (DiscoveryProgress{8, 10, 1}));
        EXPECT_THAT(found(), ElementsAre("b-1.jpg", "c-1.jpg", "c-2.jpg", "c-3.jpg", "b-2.jpg", "b-3.jpg"));
        search.dismissSceneSearch();
    };
    machine.settle();
    EXPECT_EQ(asked, 5) << "the search ended at the next photo";
    EXPECT_TRUE(c->photos()[2]->clipEmbedding());
    EXPECT_FALSE(c->photos()[4]->clipEmbedding());
    EXPECT_TRUE(saved.contains(c->id()));
}

TEST_F(SceneSearchTest, ASearchMayBeLeftOrReplacedAtEveryMoment) {
    embedder.vectors = {{"a-2.jpg", atCosine(0.95F)}};
    for (int moment = 0; moment < 9; ++moment) {
        a->photos()[1]->setClipEmbedding(std::nullopt);
        start(a->photos()[1]);
        for (int i = 0; i < moment; ++i) step();
        search.dismissSceneSearch();
        const bool wasStored = a->photos()[1]->clipEmbedding().has_value();
        machine.settle();
        EXPECT_EQ(search.sceneSearchResult(), std::nullopt) << moment;
        EXPECT_EQ(a->photos()[1]->clipEmbedding().has_value(), wasStored) << moment;

        start(a->photos()[1]);
        for (int i = 0; i < moment; ++i) step();
        start(b->photos()[3]);
        machine.settle();
        ASSERT_TRUE(search.sceneSearchResult()) << moment;
        EXPECT_EQ(search.sceneSearchResult()->sourcePhoto, b->photos()[3]);
        EXPECT_FALSE(search.sceneSearchResult()->isSearching);
        EXPECT_EQ(search.sceneSearchResult()->matches.size(), 4U) << moment;
        EXPECT_EQ(message, "");
    }
}

TEST_F(SceneSearchTest, ThePreparedVectorIsSavedWithItsRollAndAPreparationThatWasReplacedDoesNotRun) {
    embedder.vectors = {{"a-2.jpg", atCosine(0.95F)}};
    start(a->photos()[1]);
    start(a->photos()[1]);
    machine.settle();
    EXPECT_THAT(embedder.asked, ElementsAre("a-2.jpg"));
    EXPECT_TRUE(saved.contains(a->id()));
}

TEST(SceneMatches, AllStrongOnesShowAndTheFirstEightOthers) {
    std::vector<SceneMatch> matches(3);
    matches[0].similarity = 0.9F;
    matches[1].similarity = 0.78F;
    matches[2].similarity = std::nextafter(0.78F, 0.0F);
    matches.resize(11, matches[2]);
    EXPECT_EQ(SceneSimilarityService::visibleMatches(matches, false).size(), 10U);
    EXPECT_EQ(SceneSimilarityService::visibleMatches(matches, true).size(), 11U);
}

FaceRegion faceAt(float cosine, NormalizedRect box = {0.1, 0.1, 0.2, 0.2}) {
    std::vector<float> vector(faceEmbeddingDimension, 0.0F);
    vector[0] = cosine;
    vector[1] = std::sqrt(1.0F - cosine * cosine);
    return {box, std::move(vector), currentFaceEmbeddingVersion, false};
}

FaceRegion tooSmallFace() { return {{0.8, 0.8, 0.01, 0.01}, {}, currentFaceEmbeddingVersion, true}; }

class FaceSearchTest : public SimilaritySearchesTest {
protected:
    static void setFaces(const PhotoPointer& photo, std::vector<FaceRegion> faces) {
        photo->setFaceRegions(std::move(faces));
        photo->setFaceAnalysisStamp(currentFaceAnalysisStamp);
    }
    std::vector<std::string> found() const {
        std::vector<std::string> names;
        for (const auto& match : search.faceSearchResult()->matches) names.push_back(match.filename);
        return names;
    }

    RollPointer a = addRoll("a", 2), b = addRoll("b", 3);
    testing::FakeFaceFinder finder;
    FaceSearch search{*this, finder, *queue, machine.main};
};

TEST_F(FaceSearchTest, OnePersonIsFoundInOtherPhotosAndStaleAnalysisIsBroughtUpToDate) {
    const NormalizedRect right{0.6, 0.1, 0.2, 0.2};
    setFaces(a->photos()[0], {faceAt(1.0F)});
    setFaces(a->photos()[1], {faceAt(0.5F), faceAt(0.6F, right)});
    b->photos()[0]->setFaceRegions(std::vector<FaceRegion>{});  // looked at before stamps were kept
    FaceRegion old = faceAt(1.0F);
    old.embeddingVersion = 2;
    setFaces(b->photos()[1], {old});
    finder.faces = {{"b-1.jpg", {faceAt(0.7F)}}, {"b-2.jpg", {}}};
    search.findSimilarFaces(a->photos()[0], std::nullopt);
    machine.settle();
    EXPECT_THAT(found(), ElementsAre("b-1.jpg", "a-2.jpg"));
    EXPECT_EQ(search.faceSearchResult()->matches[1].matchedFaceBox, right) << "the better of two faces";
    EXPECT_THAT(finder.asked, ElementsAre("b-1.jpg", "b-2.jpg", "b-3.jpg"));
    EXPECT_EQ(finder.lastSize, 4000);
    EXPECT_EQ(search.faceSearchResult()->progress, (DiscoveryProgress{4, 4, 1}));
    EXPECT_EQ(search.faceSearchResult()->failureText(),
              "1 photo couldn't be analyzed. You can retry the search.");
    EXPECT_EQ(b->photos()[0]->faceAnalysisStamp(), currentFaceAnalysisStamp);
    EXPECT_TRUE(b->photos()[1]->faceRegions()->empty());
    EXPECT_EQ(saved, std::set{b->id()});
    finder.asked.clear();
    search.findSimilarFaces(a->photos()[0], std::nullopt);
    machine.settle();
    EXPECT_THAT(finder.asked, ElementsAre("b-3.jpg")) << "a second search costs no detection";
}

TEST_F(FaceSearchTest, TheUsersGestureLeadsToTheFaceOrToAMessage) {
    const auto photo = a->photos()[0];
    const auto gesture = [&](std::optional<ImagePoint> point = {}) {
        search.dismissFaceSearch();
        search.findSimilarFaces(photo, point);
        machine.settle();
        return search.faceSearchMessage().value_or("");
    };
    EXPECT_EQ(gesture(), FaceSearch::noFacesText) << "and so does a photo that cannot be read";
    EXPECT_FALSE(photo->faceAnalysisStamp());
    finder.faces["a-1.jpg"] = {tooSmallFace()};
    EXPECT_EQ(gesture(), FaceSearch::noneComparableText);
    EXPECT_EQ(photo->faceAnalysisStamp(), currentFaceAnalysisStamp);
    const NormalizedRect left{0.0, 0.0, 0.2, 0.1};
    setFaces(photo, {faceAt(1.0F, left), faceAt(0.2F, {0.6, 0.1, 0.2, 0.2}), tooSmallFace()});
    EXPECT_EQ(gesture(), "");
    ASSERT_TRUE(search.pendingFacePick());
    EXPECT_EQ(search.pendingFacePick()->regions.size(), 3U);
    EXPECT_EQ(gesture(ImagePoint{0.1, 0.05 + 0.1299}), "") << "beside the box, within its circle";
    ASSERT_TRUE(search.faceSearchResult());
    EXPECT_EQ(search.faceSearchResult()->sourceFace.boundingBox, left);
    EXPECT_EQ(gesture(ImagePoint{0.1, 0.05 + 0.1301}), "");
    EXPECT_TRUE(search.pendingFacePick());
    EXPECT_EQ(gesture(ImagePoint{0.805, 0.805}), FaceSearch::tooSmallText);
    setFaces(photo, {tooSmallFace(), faceAt(1.0F)});
    gesture();
    EXPECT_TRUE(search.faceSearchResult()) << "the only one that can be compared";
    finder.loads = false;
    EXPECT_EQ(gesture(), FaceSearch::modelMissingText);
    finder.enabled = false;
    EXPECT_EQ(gesture(), FaceSearch::modelMissingText);
    EXPECT_EQ(search.faceSearchResult(), std::nullopt);
}

TEST_F(FaceSearchTest, WhatChangedMeanwhileIsNotOverwrittenAndOldAnswersAreDropped) {
    setFaces(a->photos()[0], {faceAt(1.0F)});
    finder.faces = {{"b-1.jpg", {faceAt(0.7F)}}, {"b-2.jpg", {faceAt(0.7F)}}, {"a-2.jpg", {faceAt(0.8F)}}};
    search.findSimilarFaces(a->photos()[0], faceAt(1.0F));
    machine.queues.runAll();
    b->photos()[0]->setRotation(RotationAngle::clockwise90);
    b->setPhotos({b->photos()[0]});  // the second one vanishes
    machine.settle();
    EXPECT_THAT(found(), ElementsAre("a-2.jpg", "b-1.jpg", "b-2.jpg")) << "the matches still stand";
    EXPECT_FALSE(b->photos()[0]->faceRegions());
    EXPECT_EQ(saved, std::set{a->id()});

    search.findSimilarFaces(a->photos()[0], faceAt(0.9F));
    machine.queues.runAll();
    search.dismissFaceSearch();
    machine.settle();
    EXPECT_EQ(search.faceSearchResult(), std::nullopt);
    b->photos()[0]->setFaceRegions(std::nullopt);
    search.findSimilarFaces(b->photos()[0], std::nullopt);
    EXPECT_EQ(search.faceSearchMessage(), FaceSearch::findingFacesText);
    machine.queues.runAll();
    search.findSimilarFaces(a->photos()[0], std::nullopt);  // replaces the preparation
    machine.settle();
    EXPECT_EQ(search.faceSearchResult()->sourcePhoto, a->photos()[0]);
    auto other = std::make_unique<FaceSearch>(*this, finder, *queue, machine.main);
    other->findSimilarFaces(a->photos()[0], faceAt(1.0F));
    machine.queues.runAll();
    other.reset();
    machine.settle();
}

TEST_F(FaceSearchTest, ASearchMayBeLeftOrReplacedAtEveryMoment) {
    setFaces(a->photos()[1], {faceAt(1.0F)});
    setFaces(b->photos()[1], {faceAt(0.9F)});
    for (int moment = 0; moment < 9; ++moment) {
        for (const auto& photo : {a->photos()[0], b->photos()[0]}) {
            photo->setFaceRegions(std::nullopt);
            photo->setFaceAnalysisStamp(std::nullopt);
            finder.faces[photo->filename()] = {faceAt(0.7F)};
        }
        const auto storedCount = [&] {
            return (a->photos()[0]->faceRegions() ? 1 : 0) + (b->photos()[0]->faceRegions() ? 1 : 0);
        };
        search.findSimilarFaces(a->photos()[0], std::nullopt);
        for (int i = 0; i < moment; ++i) step();
        search.dismissFaceSearch();
        const int stored = storedCount();
        machine.settle();
        EXPECT_EQ(search.faceSearchResult(), std::nullopt) << moment;
        EXPECT_EQ(search.faceSearchMessage(), std::nullopt) << moment;
        EXPECT_EQ(storedCount(), stored) << moment;

        search.findSimilarFaces(a->photos()[0], std::nullopt);
        for (int i = 0; i < moment; ++i) step();
        search.findSimilarFaces(a->photos()[1], faceAt(1.0F));  // chosen while the other is prepared
        machine.settle();
        ASSERT_TRUE(search.faceSearchResult()) << moment;
        EXPECT_EQ(search.faceSearchResult()->sourcePhoto, a->photos()[1]) << moment;
        EXPECT_THAT(found(), ElementsAre("b-2.jpg", "a-1.jpg", "b-1.jpg")) << moment;
        EXPECT_EQ(search.faceSearchMessage(), std::nullopt) << moment;
    }
}

TEST_F(FaceSearchTest, AChosenFaceIsNotLookedForWithAModelThatDoesNotLoad) {
    finder.loads = false;
    search.findSimilarFaces(a->photos()[0], faceAt(1.0F));
    machine.settle();
    EXPECT_EQ(search.faceSearchResult(), std::nullopt);
    EXPECT_EQ(search.faceSearchMessage(), FaceSearch::modelMissingText);
}

TEST(FaceMatches, ThresholdsHoldExactlyAndHostileVectorsMatchNothing) {
    const auto source = faceAt(1.0F).embedding;
    const auto best = [&](std::vector<float> vector, float threshold, std::vector<FaceRegion> regions) {
        return FaceSimilarityService::bestMatch(vector, {}, regions, {}, threshold);
    };
    EXPECT_EQ(best(source, 0.45F, {faceAt(0.45F)})->similarity, 0.45F);
    EXPECT_FALSE(best(source, 0.45F, {faceAt(std::nextafter(0.45F, 0.0F))}));
    EXPECT_FALSE(best(source, NAN, {faceAt(1.0F)}));
    EXPECT_FALSE(best({}, 0.45F, {faceAt(1.0F)}));
    EXPECT_FALSE(best(std::vector<float>(512, 0.0F), -1.0F, {faceAt(1.0F)}));
    FaceRegion broken = faceAt(1.0F);
    broken.embedding[3] = INFINITY;
    EXPECT_FALSE(best(source, 0.45F, {broken, tooSmallFace()}));
}

TEST(FaceMatches, AreShownByRollAtThePlaceOfTheFirstMatch) {
    const auto a = RollID::random(), b = RollID::random();
    const auto match = [](RollID roll, float similarity) {
        FaceMatch match;
        match.rollID = roll;
        match.similarity = similarity;
        return match;
    };
    std::vector<FaceMatch> matches{match(b, 0.9F), match(a, 0.55F)};
    for (int i = 0; i < 9; ++i) matches.push_back(match(b, 0.5F));
    const auto sections = FaceSimilarityService::grouped(matches, false);
    ASSERT_EQ(sections.size(), 2U);
    EXPECT_EQ(sections[0].rollID, b);
    EXPECT_EQ(sections[0].matches.size(), 9U);
    EXPECT_EQ(FaceSimilarityService::grouped(matches, true)[0].matches.size(), 10U);
}

}  // namespace
}  // namespace kelvaris

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <random>

#include "analysis/discovery_state.h"
#include "analysis/face_alignment.h"
#include "analysis/model_output.h"
#include "analysis/nima_service.h"
#include "analysis/place_labels.h"
#include "analysis/prefixed_tags.h"
#include "analysis/style_labels.h"

namespace kelvaris {
namespace {

using enum PhotoLabel;
using ::testing::ElementsAre;
using ::testing::Key;
using ::testing::Pair;
using ::testing::UnorderedElementsAre;

constexpr float nan = std::numeric_limits<float>::quiet_NaN();
constexpr float infinity = std::numeric_limits<float>::infinity();

TEST(ModelOutputTest, AVectorIsBroughtToUnitLengthOrRefused) {
    const auto unit = normalizedEmbedding(std::vector<float>{3, 0, 4}, 3);
    ASSERT_TRUE(unit);
    EXPECT_THAT(*unit, ElementsAre(0.6F, 0.0F, 0.8F));
    for (const std::vector<float>& values : {std::vector<float>{1, 2},
                                             {1, 2, 3, 4},
                                             {0, 0, 0},
                                             {1, nan, 0},
                                             {infinity, 0, 0},
                                             {1e-30F, 0, 0},
                                             {1e30F, 1e30F, 0}}) {
        EXPECT_FALSE(normalizedEmbedding(values, 3)) << values[0];
    }
    EXPECT_FALSE(normalizedEmbedding(std::span<const OutputTensor>(), 3));
}

TEST(NimaScoreTest, TheMeanRatingIsBroughtBetweenNoughtAndOne) {
    std::vector<float> ratings(10, 0);
    EXPECT_FALSE(normalizedScore(ratings)) << "no rating at all";
    ratings[0] = 1;
    EXPECT_EQ(normalizedScore(ratings), 0);
    ratings[9] = 1;
    EXPECT_NEAR(*normalizedScore(ratings), 0.5, 1e-12);
    ratings[0] = 0;
    EXPECT_EQ(normalizedScore(ratings), 1);
    ratings[3] = -0.5F;  // would lead beyond the scale
    EXPECT_EQ(normalizedScore(ratings), 1);
    ratings[3] = nan;
    EXPECT_FALSE(normalizedScore(ratings));
    EXPECT_FALSE(normalizedScore(std::vector<float>(9, 0.1F)));
    EXPECT_FALSE(normalizedScore(std::vector<float>(10, -1)));
}

/// A picture that is as near to each prompt as the table says: each prompt has an axis of its own.
std::vector<std::string> stylesAt(const std::map<std::string, float>& scores) {
    std::vector<PromptEmbedding> prompts;
    std::vector<float> picture(stylePrompts.size() + 1, 0);
    for (std::size_t index = 0; index < stylePrompts.size(); ++index) {
        std::vector<float> axis(picture.size(), 0);
        axis[index] = 1;
        prompts.push_back({std::string(stylePrompts[index]), axis});
        if (const auto found = scores.find(prompts.back().label); found != scores.end()) {
            picture[index] = found->second;
        }
    }
    std::vector<float> foreign(picture.size(), 0);
    foreign.back() = 1;
    picture.back() = 0.9F;
    prompts.push_back({"a prompt of no group", foreign});
    prompts.push_back({"lens flare", {1, 0}});  // of another length
    std::vector<std::string> labels;
    for (const StyleMatch& match : matchStyles(picture, prompts)) labels.push_back(match.label);
    return labels;
}

TEST(StyleLabelsTest, EachGroupGivesItsBestAndNoMore) {
    EXPECT_THAT(stylesAt({{"golden hour sunlight", 0.3F},
                          {"backlit silhouette", 0.4F},
                          {"harsh midday sun", 0.35F},
                          {"motion blur", 0.25F},
                          {"long exposure", 0.21F},
                          {"soft focus dreamy", 0.2F}}),
                ElementsAre("backlit silhouette", "motion blur", "long exposure"));
    EXPECT_THAT(stylesAt({{"lens flare", 0.2F}, {"vignette dark corners", 0.1999F}}),
                ElementsAre("lens flare"));
    std::map<std::string, float> all;
    for (const auto prompt : stylePrompts) all[std::string(prompt)] = 0.2F;
    EXPECT_EQ(stylesAt(all).size(), 8U);
}

TEST(PlaceLabelsTest, TheLessSureAPlaceIsTheFewerLabelsItMayStandWith) {
    EXPECT_EQ(placeLabels({{"beach", 0.15F}, {"alley", 0.14F}}), PhotoLabelSet({water}));
    EXPECT_EQ(placeLabels({{"beach", 0.25F}, {"alley", 0.24F}, {"castle", 0.2F}}),
              PhotoLabelSet({water, street}));
    EXPECT_EQ(placeLabels({{"beach", 0.4F}, {"alley", 0.35F}, {"castle", 0.3F}}),
              PhotoLabelSet({water, street, architecture}));
    // Two places of one label leave room for others.
    EXPECT_EQ(placeLabels({{"beach", 0.29F}, {"coast", 0.28F}, {"castle", 0.2F}}),
              PhotoLabelSet({water, architecture}));
    EXPECT_TRUE(placeLabels({{"attic", 0.9F}, {"castle", nan}}).empty());
}

TEST(PlaceLabelsTest, NewPlacesReplaceOldOnesAndSpareTheUsersWord) {
    PhotoItem photo(Path("/roll/001.jpg"), 0);
    photo.setVisionTags({{"places365_attic", 0.9F}, {"clip_lens flare", 0.3F}, {"sky", 0.5F}});
    photo.setManualLabel(water, false, nullptr, nullptr);
    applyPlaceCategories({{"beach", 0.6F}, {"alley", 0.14F}, {"village", 0.2F}}, photo);
    EXPECT_THAT(
        photo.visionTags(),
        UnorderedElementsAre(Pair("clip_lens flare", 0.3F), Pair("sky", 0.5F), Pair("places365_beach", 0.6F),
                             Pair("places365_alley", 0.14F), Pair("places365_village", 0.2F)));
    EXPECT_EQ(photo.placeCategories()->size(), 3U);
    EXPECT_EQ(photo.labels(), PhotoLabelSet({street}));
}

TEST(PrefixedTagsTest, ANewSceneKeepsStylesAndPlacesOfTheOld) {
    EXPECT_THAT(
        mergedWithPrefixedTags({{"sky", 0.2F}, {"clip_lens flare", 0.5F}},
                               {{"tree", 0.4F}, {"clip_lens flare", 0.3F}, {"places365_beach", 0.6F}}),
        UnorderedElementsAre(Pair("sky", 0.2F), Pair("clip_lens flare", 0.5F),
                             Pair("places365_beach", 0.6F)));
}

TEST(DiscoveryStateTest, WhatAModelWouldFindAndIsNotThereIsMissing) {
    const std::vector<FaceRegion> none;
    const FaceRegion whole{.embedding = std::vector<float>(512, 0.1F), .embeddingVersion = 3};
    const FaceRegion old{.embedding = whole.embedding, .embeddingVersion = 2};
    const FaceRegion bare{.embedding = {}, .embeddingVersion = 3};
    const FaceRegion tiny{.embedding = {}, .embeddingVersion = 3, .tooSmallToMatch = true};
    struct Case {
        std::optional<std::vector<FaceRegion>> regions;
        std::optional<FaceAnalysisStamp> stamp;
        bool isIncomplete;
    };
    for (const Case& each : {
             Case{std::nullopt, currentFaceAnalysisStamp, true},
             Case{none, std::nullopt, true},
             Case{none, currentFaceAnalysisStamp, false},
             Case{none, FaceAnalysisStamp{1, 800, true}, true},
             Case{none, FaceAnalysisStamp{1, 4000, false}, true},
             Case{{{whole, tiny}}, currentFaceAnalysisStamp, false},
             Case{{{whole, old}}, currentFaceAnalysisStamp, true},
             Case{{{whole, bare}}, currentFaceAnalysisStamp, true},
         }) {
        EXPECT_EQ(hasIncompleteFaces(each.regions, each.stamp), each.isIncomplete);
    }
    const DiscoveryState empty;
    EXPECT_FALSE(hasIncompleteDiscovery({}, empty));
    EXPECT_FALSE(hasIncompleteDiscovery(std::vector{ModelID::orientation}, empty));
    for (const auto& [id, word] : RawValues<ModelID>::rows) {
        if (id == ModelID::orientation) continue;
        EXPECT_TRUE(hasIncompleteDiscovery(std::vector{id}, empty)) << word;
        EXPECT_FALSE(hasIncompleteDiscovery(std::vector{id}, {.hasEmbedding = true,
                                                              .faceRegions = none,
                                                              .faceAnalysisStamp = currentFaceAnalysisStamp,
                                                              .hasCategories = true,
                                                              .hasNimaScore = true}))
            << word;
    }
}

// --- Faces

SimilarityTransform randomTransform(std::mt19937& random) {
    std::uniform_real_distribution<double> angle(-3, 3);
    std::uniform_real_distribution<double> scale(0.01, 20);
    std::uniform_real_distribution<double> shift(-500, 500);
    const double turn = angle(random);
    const double size = scale(random);
    return {size * std::cos(turn), size * std::sin(turn), shift(random), shift(random)};
}

TEST(FaceAlignmentTest, TheTransformThatMovedThePointsIsFoundAgain) {
    std::mt19937 random(7);
    for (int round = 0; round < 100; ++round) {
        const SimilarityTransform moved = randomTransform(random);
        FivePoints points;
        std::ranges::transform(arcfaceTemplateYUp, points.begin(), moved.inverse());
        const auto found = computeSimilarityTransform(points, arcfaceTemplateYUp);
        ASSERT_TRUE(found);
        EXPECT_NEAR(found->a, moved.a, 1e-6 * moved.scale());
        EXPECT_NEAR(found->b, moved.b, 1e-6 * moved.scale());
        EXPECT_NEAR(found->tx, moved.tx, 1e-4);
        EXPECT_NEAR(found->ty, moved.ty, 1e-4);
    }
    // A mirrored face can only be met in part, never by mirroring.
    FivePoints mirrored = arcfaceTemplateYUp;
    for (PixelPoint& point : mirrored) point.x = -point.x;
    const auto found = computeSimilarityTransform(mirrored, arcfaceTemplateYUp);
    ASSERT_TRUE(found);
    EXPECT_LT(found->scale(), 0.999);
}

TEST(FaceAlignmentTest, PointsWithoutExtentGiveNoTransform) {
    const FivePoints same{{{5, 5}, {5, 5}, {5, 5}, {5, 5}, {5, 5}}};
    FivePoints broken = arcfaceTemplateYUp;
    broken[2].x = nan;
    EXPECT_FALSE(computeSimilarityTransform(same, arcfaceTemplateYUp));
    EXPECT_FALSE(computeSimilarityTransform(arcfaceTemplateYUp, same));
    EXPECT_FALSE(computeSimilarityTransform(broken, arcfaceTemplateYUp));
    EXPECT_FALSE(computeSimilarityTransform(std::span(arcfaceTemplateYUp).first(1),
                                            std::span(arcfaceTemplateYUp).first(1)));
    EXPECT_FALSE(computeSimilarityTransform(std::span(arcfaceTemplateYUp).first(3), arcfaceTemplateYUp));
}

TEST(FaceAlignmentTest, LandmarksBecomeFivePointsOnlyWhenAllGroupsAreThere) {
    const FaceLandmarks landmarks{.leftEye = {{10, 60}, {14, 62}},
                                  .rightEye = {{40, 61}},
                                  .nose = {{25, 40}, {27, 44}},
                                  .outerLips = {{30, 21}, {12, 20}, {38, 22}}};
    const auto points = extractFivePoints(landmarks);
    ASSERT_TRUE(points);
    EXPECT_THAT(*points, ElementsAre(PixelPoint{12, 61}, PixelPoint{40, 61}, PixelPoint{26, 42},
                                     PixelPoint{12, 20}, PixelPoint{38, 22}));
    FaceLandmarks silent = landmarks;
    silent.outerLips.clear();
    EXPECT_FALSE(extractFivePoints(silent));
    FaceLandmarks broken = landmarks;
    broken.nose[0].y = infinity;
    EXPECT_FALSE(extractFivePoints(broken));
}

/// Dots of a colour each at the points, on grey, large enough to be found again.
Bitmap dots(int width, int height, const FivePoints& points, double radius) {
    Bitmap bitmap{width, height, 3,
                  std::vector<std::uint8_t>(static_cast<std::size_t>(width) * height * 3, 90)};
    for (std::size_t index = 0; index < points.size(); ++index) {
        for (int y = 0; y < height; ++y) {
            for (int x = 0; x < width; ++x) {
                if (std::hypot(x + 0.5 - points[index].x, height - y - 0.5 - points[index].y) > radius)
                    continue;
                const std::size_t at = (static_cast<std::size_t>(y) * width + x) * 3;
                bitmap.pixels[at] = static_cast<std::uint8_t>(130 + 25 * index);
                bitmap.pixels[at + 1] = 255;
            }
        }
    }
    return bitmap;
}

TEST(FaceAlignmentTest, APictureIsTurnedShrunkAndShiftedOntoTheTemplate) {
    for (const double scale : {0.7, 1.0, 5.0}) {
        const double turn = 0.4;
        const SimilarityTransform placed{scale * std::cos(turn), scale * std::sin(turn), 90 * scale,
                                         40 * scale};
        FivePoints points;
        std::ranges::transform(arcfaceTemplateYUp, points.begin(), placed);
        const Bitmap picture =
            dots(static_cast<int>(200 * scale), static_cast<int>(180 * scale), points, 5 * scale);
        const auto transform = computeSimilarityTransform(points, arcfaceTemplateYUp);
        ASSERT_TRUE(transform);
        const Bitmap face = alignedFace(picture, *transform);
        ASSERT_EQ(face.pixels.size(), std::size_t{112 * 112 * 3});
        for (std::size_t index = 0; index < points.size(); ++index) {
            const int x = static_cast<int>(arcfaceTemplateYUp[index].x);
            const int y = 111 - static_cast<int>(arcfaceTemplateYUp[index].y);
            const std::size_t at = (static_cast<std::size_t>(y) * 112 + x) * 3;
            EXPECT_NEAR(face.pixels[at], 130 + 25 * static_cast<int>(index), 3) << scale << " " << index;
        }
    }
    // Beyond the picture there is nothing.
    const Bitmap face = alignedFace(dots(20, 20, arcfaceTemplateYUp, 0), {});
    EXPECT_EQ(face.pixels[0], 0);
    EXPECT_EQ(face.pixels[(std::size_t{111} * 112 + 5) * 3], 90);
}

TEST(FaceAlignmentTest, TheNaiveCropStaysInThePicture) {
    EXPECT_EQ(naiveFaceBox({0.4, 0.5, 0.2, 0.2}, 1000, 500), (PixelBox{370, 135, 260, 130}));
    EXPECT_EQ(naiveFaceBox({0, 0, 1, 1}, 100, 60), (PixelBox{0, 0, 100, 60}));
    EXPECT_EQ(naiveFaceBox({0.9, 0.9, 0.5, 0.5}, 100, 100), (PixelBox{82, 0, 18, 18}));
    EXPECT_FALSE(naiveFaceBox({1.5, 0.5, 0.1, 0.1}, 100, 100));
    for (const NormalizedRect& box :
         {NormalizedRect{2, 0, 1, 1}, {-1, 0, 0.5, 1}, {0, 0, 0, 1}, {0, nan, 1, 1}, {0, 0, infinity, 1}}) {
        EXPECT_FALSE(liesInPicture(box));
    }
    EXPECT_TRUE(liesInPicture({-0.1, 0.9, 0.2, 0.2}));
}

}  // namespace
}  // namespace kelvaris

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <limits>
#include <thread>

#include "platform_fake/fake_inference.h"
#include "platform_linux/linux_vision.h"
#include "sample_roll/frame.h"

namespace kelvaris {
namespace {

namespace roll = sample_roll;

Image painted(const roll::FrameRecipe& recipe) {
    roll::Frame frame(recipe);
    auto bitmap = std::make_shared<Bitmap>(Bitmap{frame.width(), frame.height(), frame.channels(), {}});
    for (int y = 0; y < frame.height(); ++y) {
        const auto row = frame.row8(y);
        bitmap->pixels.insert(bitmap->pixels.end(), row.begin(), row.end());
    }
    return bitmap;
}

roll::FrameRecipe portrait(std::uint64_t seed) {
    return {.scene = roll::Scene::portrait, .seed = seed, .width = 800, .height = 534};
}

PixelPoint mean(const std::vector<PixelPoint>& points) {
    PixelPoint sum;
    for (const PixelPoint& point : points) sum = {sum.x + point.x, sum.y + point.y};
    const auto count = static_cast<double>(points.size());
    return {sum.x / count, sum.y / count};
}

class LinuxVisionTest : public ::testing::Test {
protected:
    /// Installs a detector that answers these boxes and scores.
    void installDetector(const std::string& name, std::vector<float> boxes, std::vector<float> scores,
                         ModelMetadata metadata = {}) {
        runtime_.install(
            folder_ / name,
            std::make_shared<FakeModel>(
                std::vector{ValueDeclaration{"image", ElementType::float32, {1, 3, 64, 64}}},
                [=](std::span<const ModelInput>) {
                    return std::vector{OutputTensor{"scores", {}, scores}, OutputTensor{"boxes", {}, boxes}};
                },
                std::move(metadata)));
    }

    const Path folder_{"/models/vision"};
    FakeInferenceRuntime runtime_;
    LinuxVision vision_{runtime_, folder_};
};

TEST_F(LinuxVisionTest, FindsThePaintedFaceAndItsPointsAndNoneInALandscape) {
    int found = 0;
    for (std::uint64_t seed = 1; seed <= 3; ++seed) {
        const auto faces = vision_.detectFaces(painted(portrait(seed)), true);
        ASSERT_TRUE(faces);
        if (faces->empty()) continue;
        ++found;
        const FaceObservation& face = faces->front();
        // The head is painted in the middle of the upper half.
        EXPECT_NEAR(face.box.x + (face.box.width / 2), 0.5, 0.1);
        EXPECT_GT(face.box.y + (face.box.height / 2), 0.45);
        if (face.landmarks.nose.empty()) continue;  // the predictor of points is a package of its own
        const PixelPoint left = mean(face.landmarks.leftEye);
        const PixelPoint right = mean(face.landmarks.rightEye);
        const PixelPoint lips = mean(face.landmarks.outerLips);
        EXPECT_LT(left.x, right.x);
        EXPECT_LT(lips.y, left.y);
        EXPECT_NEAR(lips.x, (left.x + right.x) / 2, 20);
    }
    EXPECT_GE(found, 2);
    for (const roll::Scene scene : {roll::Scene::hills, roll::Scene::nightStreet, roll::Scene::stillLife}) {
        const auto faces =
            vision_.detectFaces(painted({.scene = scene, .seed = 3, .width = 800, .height = 534}), false);
        ASSERT_TRUE(faces);
        EXPECT_THAT(*faces, ::testing::IsEmpty());
    }
}

TEST_F(LinuxVisionTest, TwoThreadsSeeAtTheSameTime) {
    const Image picture = painted(portrait(2));
    const auto alone = vision_.detectFaces(picture, true);
    ASSERT_TRUE(alone);
    std::vector<std::thread> threads;
    std::array<std::size_t, 2> counts{};
    for (std::size_t index = 0; index < counts.size(); ++index) {
        threads.emplace_back([&, index] { counts[index] = vision_.detectFaces(picture, true)->size(); });
    }
    for (std::thread& thread : threads) thread.join();
    EXPECT_THAT(counts, ::testing::Each(alone->size()));
}

TEST_F(LinuxVisionTest, WithoutModelsThereAreNoPeopleAndNoScenes) {
    const Image picture = painted({.width = 90, .height = 60});
    EXPECT_THAT(*vision_.detectHumans(picture), ::testing::IsEmpty());
    EXPECT_THAT(*vision_.detectBodyPoses(picture), ::testing::IsEmpty());
    EXPECT_THAT(*vision_.classifyScene(picture), ::testing::IsEmpty());
}

TEST_F(LinuxVisionTest, DetectorsCountWhatReachesTheirThreshold) {
    const float nan = std::numeric_limits<float>::quiet_NaN();
    installDetector("HumanDetector.mlmodelc", {0.1F, 0.2F, 0.3F, 0.4F, 0, 0, 1, 1, 0, 0, 1, 1, nan, 0, 1, 1},
                    {0.9F, 0.49F, nan, 0.9F});
    installDetector("BodyPoseDetector.mlmodelc", {0, 0, 1, 1, 0, 0, 1, 1}, {0.3F, 0.2F},
                    {{"kelvaris.vision.threshold", "0.25"}});
    const Image picture = painted({.width = 90, .height = 60});
    const auto humans = vision_.detectHumans(picture);
    ASSERT_TRUE(humans);
    ASSERT_THAT(*humans, ::testing::SizeIs(1));
    EXPECT_NEAR(humans->front().y, 0.4, 1e-6);  // counted from the bottom
    EXPECT_THAT(*vision_.detectBodyPoses(picture), ::testing::SizeIs(1));
}

TEST_F(LinuxVisionTest, ADetectorThatAnswersSomethingElseFails) {
    installDetector("HumanDetector.mlmodelc", {0, 0, 1}, {0.9F});
    EXPECT_FALSE(vision_.detectHumans(painted({.width = 90, .height = 60})));
}

TEST_F(LinuxVisionTest, ScenesComeSortedWithTheirOwnSpelling) {
    runtime_.install(folder_ / "SceneClassifier.mlmodelc",
                     FakeModel::ofPicture(64,
                                          [](const Bitmap&) {
                                              return std::vector{0.1F, 0.6F, 0.3F};
                                          },
                                          {}, {"a", "Beach", "c"}));
    const auto scenes = vision_.classifyScene(painted({.width = 90, .height = 60, .monochrome = true}));
    ASSERT_TRUE(scenes);
    std::vector<std::string> names;
    for (const SceneObservation& scene : *scenes) names.push_back(scene.identifier);
    EXPECT_THAT(names, ::testing::ElementsAre("Beach", "c", "a"));
}

}  // namespace
}  // namespace kelvaris

#include "analysis/photo_analysis_service.h"

#include <gtest/gtest.h>

#include "log_capture.h"
#include "platform_fake/fake_clock.h"
#include "platform_fake/fake_files.h"
#include "platform_fake/fake_image_codec.h"
#include "platform_fake/fake_limited_waits.h"
#include "platform_fake/fake_vision.h"

namespace kelvaris {
namespace {

using enum PhotoLabel;

/// Stripes of two levels: sharp, and of the wanted mean and spread.
Image stripes(int width, int height, int dark, int light) {
    Bitmap bitmap{width, height, 3, {}};
    for (int i = 0; i < width * height; ++i) {
        const int level = i % width / 4 % 2 == 0 ? dark : light;
        bitmap.pixels.insert(bitmap.pixels.end(), 3, static_cast<std::uint8_t>(level));
    }
    return std::make_shared<const Bitmap>(std::move(bitmap));
}

class PhotoAnalysisServiceTest : public ::testing::Test {
protected:
    AnalysisResult analyze(const Image& image,
                           const std::optional<FrameContext>& context = FrameContext{10, 36},
                           bool rotationProtected = false) {
        return service_.analyze(image, context, switches_, RotationAngle::none, rotationProtected);
    }

    FakeClock clock_;
    FakeFiles files_{clock_.wall()};
    FakeImageCodec codec_{files_};
    ImageLoading loading_{codec_};
    std::shared_ptr<FakeVision> vision_ = std::make_shared<FakeVision>();
    FakeLimitedWaits waits_;
    OrientationDecision decision_{.status = OrientationDecision::Status::uncertain};
    int assessed_ = 0;
    PhotoAnalysisService service_{vision_, loading_, waits_,
                                  [this](const Image&, bool) {
                                      ++assessed_;
                                      return decision_;
                                  },
                                  [](const Image& image) {
                                      // The date can only be read upright.
                                      return image->width < image->height ? std::optional(Instant())
                                                                          : std::nullopt;
                                  }};
    AnalysisSwitches switches_;
    const Image good_ = stripes(160, 90, 60, 200);
    const Image blank_ = stripes(160, 90, 100, 104);
};

TEST_F(PhotoAnalysisServiceTest, EverythingAfterTheOrientationSeesTheTurnedFrame) {
    decision_ = {.status = OrientationDecision::Status::correction, .rotation = RotationAngle::clockwise90};
    bool sawUpright = false;
    vision_->faces = [&](const Image& image) {
        sawUpright = image->width == 90;
        return std::vector<FaceObservation>(2);
    };
    vision_->bodyPoses = always(std::vector<NormalizedBox>(3));
    vision_->scenes = always(std::vector<SceneObservation>{{"Garden", 0.5F}});
    const testing::LogCapture log;
    const AnalysisResult result = analyze(good_);
    EXPECT_TRUE(sawUpright);
    EXPECT_EQ(result.suggestedRotation, RotationAngle::clockwise90);
    EXPECT_EQ(result.labels, (PhotoLabelSet{face, person, flora}));
    EXPECT_EQ(result.peopleCount, 3);
    EXPECT_TRUE(result.detectedTimestamp);
    EXPECT_EQ(result.visionTags, (TagConfidences{{"Garden", 0.5F}}));
    EXPECT_TRUE(log.contains("Vision top identifiers: Garden:0.500"));
    ASSERT_TRUE(result.perceptualHash && result.dominantColors);
    EXPECT_FALSE(result.dominantColors->empty());
}

TEST_F(PhotoAnalysisServiceTest, RotationsThatAreNotItsOwnAreLeftAlone) {
    EXPECT_FALSE(analyze(good_, FrameContext{10, 36}, true).orientationDecision);
    EXPECT_FALSE(analyze(blank_).orientationDecision);
    switches_.autoRotateOnOpen = false;
    EXPECT_FALSE(analyze(good_).orientationDecision);
    EXPECT_EQ(assessed_, 0);
    switches_.autoRotateOnOpen = true;
    const AnalysisResult uncertain = analyze(good_);
    EXPECT_EQ(uncertain.orientationDecision, decision_);
    EXPECT_FALSE(uncertain.suggestedRotation);
    decision_.status = OrientationDecision::Status::upright;
    EXPECT_EQ(analyze(good_).suggestedRotation, RotationAngle::none);
}

TEST_F(PhotoAnalysisServiceTest, BlankFramesTellNothingUnlessSomethingIsSeenInThem) {
    const AnalysisResult empty = analyze(blank_);
    EXPECT_EQ(empty.labels, (PhotoLabelSet{blank, blur}));
    EXPECT_EQ(vision_->calls, 0);
    EXPECT_FALSE(empty.dominantColors || empty.perceptualHash || empty.detectedTimestamp);

    // At the edge of a roll a faint frame counts as blank, until somebody is found on it.
    const Image faint = stripes(90, 160, 92, 112);
    EXPECT_FALSE(analyze(faint, FrameContext{10, 36}).labels.contains(blank));
    EXPECT_TRUE(analyze(faint, FrameContext{2, 36}).labels.contains(blank));
    vision_->humans = always(std::vector<NormalizedBox>(1));
    const AnalysisResult rescued = analyze(faint, std::nullopt);
    EXPECT_FALSE(rescued.labels.contains(blank));
    EXPECT_TRUE(rescued.labels.contains(person));
    EXPECT_FALSE(rescued.orientationDecision);
    EXPECT_TRUE(rescued.dominantColors && rescued.perceptualHash && rescued.detectedTimestamp);
}

TEST_F(PhotoAnalysisServiceTest, SwitchesTakeTheirPartsAway) {
    const Image dim = stripes(160, 90, 10, 90);
    vision_->faces = always(std::vector<FaceObservation>(1));
    vision_->scenes = always(std::vector<SceneObservation>{{"neon", 0.2F}});
    EXPECT_TRUE(analyze(dim).labels.contains(dark));
    switches_ = {.filmIssuesEnabled = false, .faceFinderEnabled = false, .colorSenseEnabled = false};
    const AnalysisResult result = analyze(dim);
    EXPECT_EQ(result.labels, PhotoLabelSet{night});
    EXPECT_EQ(result.peopleCount, 0);
    EXPECT_FALSE(result.dominantColors);
    EXPECT_TRUE(analyze(blank_).labels.contains(blank));
    switches_.sceneScoutEnabled = false;
    EXPECT_TRUE(analyze(dim).visionTags.empty());
}

TEST_F(PhotoAnalysisServiceTest, ClassifierThatHangsOrFailsCostsTheSceneAlone) {
    vision_->faces = always(std::vector<FaceObservation>(1));
    vision_->scenes = failing<SceneObservation>();
    EXPECT_EQ(analyze(good_).labels, (PhotoLabelSet{face, person}));

    std::mutex stuck;
    stuck.lock();
    vision_->scenes = [&](const Image&) {
        const std::lock_guard guard(stuck);
        return std::vector<SceneObservation>{{"dog", 0.9F}};
    };
    waits_.expireNext(1);
    const testing::LogCapture log;
    const AnalysisResult result = analyze(good_);
    stuck.unlock();
    waits_.join();
    EXPECT_EQ(result.labels, (PhotoLabelSet{face, person}));
    EXPECT_TRUE(result.visionTags.empty());
    EXPECT_TRUE(log.contains("VNClassifyImageRequest timed out after 10.000000s"));
    EXPECT_EQ(waits_.expired(), std::vector<std::chrono::nanoseconds>{std::chrono::seconds(10)});
}

TEST_F(PhotoAnalysisServiceTest, PicturesTooSmallToMeasureAreStillSeen) {
    const AnalysisResult none = analyze(std::make_shared<const Bitmap>());
    EXPECT_TRUE(none.labels.empty());
    EXPECT_DOUBLE_EQ(none.qualityScore, 0.5);
    EXPECT_GT(vision_->calls, 0);
    EXPECT_FALSE(none.perceptualHash);
    EXPECT_TRUE(analyze(stripes(160, 4, 60, 200)).labels.contains(blur));
}

TEST_F(PhotoAnalysisServiceTest, PeopleAreCountedOnTheLargeTurnedPicture) {
    const Path path("/roll/1.jpg");
    ASSERT_TRUE(files_.createDirectories(Path("/roll")));
    ASSERT_TRUE(files_.writeAtomically(path, asBytes("x")));
    codec_.setPicture(path, solidBitmap(5000, 10, 1, 2, 3));
    vision_->faces = failing<FaceObservation>();
    vision_->humans = [](const Image& image) {
        return std::vector<NormalizedBox>(image->height == 4000 ? 4 : 1);
    };
    vision_->bodyPoses = always(std::vector<NormalizedBox>(2));
    EXPECT_EQ(service_.countPeople(path, RotationAngle::clockwise270), 4);
    EXPECT_EQ(service_.countPeople(Path("/roll/gone.jpg"), RotationAngle::none), 0);
}

}  // namespace
}  // namespace kelvaris

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <latch>
#include <limits>
#include <numeric>

#include "analysis/orientation_decide.h"
#include "analysis/orientation_service.h"
#include "images/image_loading.h"
#include "log_capture.h"
#include "platform_fake/fake_clock.h"
#include "platform_fake/fake_files.h"
#include "platform_fake/fake_inference.h"
#include "platform_fake/fake_limited_waits.h"
#include "platform_linux/linux_files.h"
#include "platform_linux/onnx_inference.h"
#include "sample_roll/frame.h"
#include "test_models/test_models.h"

namespace kelvaris {
namespace {

using Status = OrientationDecision::Status;
using Scores = std::vector<double>;
using std::chrono::seconds;
using ::testing::ElementsAre;

OrientationDecision decide(const Scores& scores, std::string_view kind) {
    return decideOrientation(scores, kind, "1");
}

TEST(OrientationDecisionTest, TheTopProbabilityDecidesAtTheThirtyTwoBitThreshold) {
    struct Case {
        Scores scores;
        Status status;
        std::optional<RotationAngle> rotation;
    };
    const double threshold = 0.8999999761581421;
    for (const Case& each : {
             Case{{0.9, 0.05, 0.03, 0.02}, Status::upright, std::nullopt},
             Case{{0.05, threshold, 0.03, 0.02}, Status::correction, RotationAngle::clockwise90},
             Case{{0.05, 0.03, 0.9, 0.02}, Status::correction, RotationAngle::clockwise180},
             Case{{0, 0, 0, 1}, Status::correction, RotationAngle::clockwise270},
             Case{{0.89999, 0.05, 0.03, 0.02}, Status::uncertain, std::nullopt},
             Case{{0.25, 0.25, 0.25, 0.25}, Status::uncertain, std::nullopt},
         }) {
        const auto decision = decide(each.scores, "probabilities");
        EXPECT_EQ(decision.status, each.status) << each.scores[0];
        EXPECT_EQ(decision.rotation, each.rotation) << each.scores[0];
        EXPECT_EQ(decision.scores, each.scores);
        EXPECT_EQ(decision.reason, each.status == Status::uncertain
                                       ? orientation_reason::provisionalPolicyAbstention
                                       : orientation_reason::provisionalProbabilityAndMargin);
    }
}

TEST(OrientationDecisionTest, LogitsCountByTheirDifferencesAlone) {
    const auto small = decide({5, 0, 0, 0}, "logits");
    const auto large = decide({100005, 100000, 100000, 100000}, "logits");
    EXPECT_EQ(small.status, Status::upright);
    EXPECT_EQ(large.status, Status::upright);
    EXPECT_NEAR(large.scores[0], small.scores[0], 1e-12);
    EXPECT_NEAR(std::accumulate(large.scores.begin(), large.scores.end(), 0.0), 1, 1e-12);
}

TEST(OrientationDecisionTest, ScoresThatAreNoFourProbabilitiesFail) {
    const double nan = std::numeric_limits<double>::quiet_NaN();
    for (const Scores& scores : {Scores{1, 0.02, 0, 0}, Scores{1.005, -0.005, 0, 0}, Scores{1, 0, 0},
                                 Scores{1, 0, 0, nan}, Scores{}}) {
        const auto decision = decide(scores, "probabilities");
        EXPECT_EQ(decision.status, Status::failed);
        EXPECT_EQ(decision.reason, orientation_reason::invalidScores);
        EXPECT_THAT(decision.scores, ::testing::IsEmpty());
    }
    EXPECT_EQ(decide({1, 0, 0, nan}, "logits").reason, orientation_reason::invalidScores);
    EXPECT_EQ(decide({1, 0, 0, 0}, "odds").reason, orientation_reason::unknownOutputContract);
}

TEST(OrientationDecisionTest, ASecondLookOnlyGivesItsVerdict) {
    const auto first = decide({0.1, 0.7, 0.1, 0.1}, "probabilities");
    ASSERT_TRUE(wantsSecondLook(first));
    EXPECT_FALSE(wantsSecondLook(decide({0.6, 0.2, 0.1, 0.1}, "probabilities")));
    EXPECT_FALSE(wantsSecondLook(decide({1, 0, 0, 0}, "probabilities")));

    auto agreed = corroborated(first, decide({0.1, 0.1, 0.1, 0.7}, "probabilities"));
    EXPECT_EQ(agreed.reason, orientation_reason::deepAgreementUncalibrated);
    agreed.reason = first.reason;
    EXPECT_EQ(agreed, first);
    EXPECT_EQ(corroborated(first, decide({0.1, 0.7, 0.1, 0.1}, "probabilities")).reason,
              orientation_reason::deepDisagreement);
    EXPECT_EQ(corroborated(first, decide({}, "probabilities")), first);
}

TEST(OrientationDecisionTest, ScoresFollowTheNamesOfTheirClasses) {
    const auto read = [](std::vector<std::string> labels, std::vector<float> values) {
        const auto model = FakeModel::ofPicture(384, nullptr, {}, std::move(labels));
        const auto count = static_cast<std::int64_t>(values.size());
        const std::vector outputs = {OutputTensor{"classLabelProbs", {1, count}, std::move(values)}};
        return orientationScores(*model, outputs);
    };
    EXPECT_THAT(read({"270", "0", "90", "180"}, {1, 2, 3, 4}), ElementsAre(2, 3, 4, 1));
    EXPECT_THAT(read({}, {1, 2, 3, 4}), ElementsAre(1, 2, 3, 4));
    for (const auto& labels : std::vector<std::vector<std::string>>{{"0", "90", "180"},
                                                                    {"0", "90", "180", "180"},
                                                                    {"0", "90", "180", "360"},
                                                                    {"0", "90", "180", "up"}}) {
        EXPECT_THAT(read(labels, {1, 2, 3, 4}), ::testing::IsEmpty());
    }
    EXPECT_THAT(read({}, {1, 2, 3}), ::testing::IsEmpty());
}

TEST(OrientationPreprocessingTest, TheWholeFrameIsStretchedAndItsBorderCutAway) {
    Bitmap bitmap{832, 208, 1, {}};
    for (int y = 0; y < bitmap.height; ++y) {
        for (int x = 0; x < bitmap.width; ++x) {
            // A white border that is cut away, and a dark right half.
            const bool border = x < 24 || y < 6;
            bitmap.pixels.push_back(border ? 255 : x < 416 ? 120 : 10);
        }
    }
    const auto prepared = preprocessedForOrientation(bitmap);
    ASSERT_TRUE(prepared);
    EXPECT_EQ(prepared->width, 384);
    EXPECT_EQ(prepared->height, 384);
    EXPECT_EQ(prepared->channels, 3);
    const auto at = [&](int x, int y) {
        return prepared->pixels[static_cast<std::size_t>((y * 384 + x) * 3 + 2)];
    };
    EXPECT_EQ(at(0, 0), 120);
    EXPECT_EQ(at(186, 200), 120);
    EXPECT_EQ(at(198, 200), 10);
    EXPECT_EQ(at(383, 383), 10);
    EXPECT_FALSE(preprocessedForOrientation(Bitmap{}));
}

Image plainPicture() {
    return std::make_shared<Bitmap>(Bitmap{60, 40, 3, std::vector<std::uint8_t>(60 * 40 * 3, 90)});
}

class OrientationServiceTest : public ::testing::Test {
protected:
    OrientationServiceTest() { EXPECT_TRUE(files_.createDirectories(folder_)); }

    /// Installs a model that answers each call with the next of the given scores, the last one for ever.
    void install(std::vector<std::vector<float>> answers,
                 ModelMetadata metadata = {{"kelvaris.orientation.output", "probabilities"}}) {
        const auto next = std::make_shared<std::atomic<std::size_t>>(0);
        runtime_.install(
            folder_,
            FakeModel::ofPicture(
                384, [=](const Bitmap&) { return answers[std::min(next->fetch_add(1), answers.size() - 1)]; },
                std::move(metadata), {"0", "90", "180", "270"}));
    }

    const Path folder_{"/models/orientation/OrientationClassifier.mlmodelc"};
    FakeClock clock_;
    FakeFiles files_{clock_.wall()};
    FakeInferenceRuntime runtime_;
    bool enabled_ = true;
    FakeLimitedWaits waits_;
    OrientationService service_{runtime_, files_, folder_, [this] { return enabled_; }, waits_};
};

TEST_F(OrientationServiceTest, SaysWhyThereIsNoDecision) {
    testing::LogCapture log;
    runtime_.installDamaged(folder_, {InferenceError::Code::damaged, "bad protobuf"});
    for (int round = 0; round < 2; ++round) {
        const auto decision = service_.assess(plainPicture(), false);
        EXPECT_EQ(decision.status, Status::failed);
        EXPECT_EQ(decision.reason, orientation_reason::modelLoadFailed);
    }
    EXPECT_THAT(log.errors(), ElementsAre("Orientation model load failed: bad protobuf"));

    ASSERT_TRUE(files_.removeTree(folder_));
    EXPECT_EQ(service_.assess(plainPicture(), false).status, Status::unavailable);
    enabled_ = false;
    const auto disabled = service_.assess(plainPicture(), false);
    EXPECT_EQ(disabled.status, Status::skipped);
    EXPECT_EQ(disabled.reason, orientation_reason::modelDisabled);
    EXPECT_EQ(disabled.modelVersion, "unknown");
    EXPECT_EQ(disabled.preprocessingVersion, "rgb-resize416-center384-v1");
}

TEST_F(OrientationServiceTest, TheModelIsLoadedOnceAndAgainAfterReload) {
    install({{1, 0, 0, 0}});
    EXPECT_EQ(service_.assess(plainPicture(), false).status, Status::upright);
    EXPECT_EQ(service_.assess(plainPicture(), false).modelVersion, "legacy-logits");
    EXPECT_EQ(runtime_.loadCount(folder_), 1);
    service_.reload();
    install({{0, 0, 0, 1}},
            {{"kelvaris.orientation.output", "probabilities"}, {"kelvaris.orientation.version", "3"}});
    const auto decision = service_.assess(plainPicture(), false);
    EXPECT_EQ(decision.rotation, RotationAngle::clockwise270);
    EXPECT_EQ(decision.modelVersion, "3");
}

TEST_F(OrientationServiceTest, OnlyADeepAssessmentLooksTwice) {
    const std::vector<std::vector<float>> answers = {{0.7F, 0.1F, 0.1F, 0.1F}, {0.1F, 0.1F, 0.7F, 0.1F}};
    install(answers);
    EXPECT_EQ(service_.assess(plainPicture(), true).reason, orientation_reason::deepAgreementUncalibrated);
    service_.reload();
    install(answers);
    EXPECT_EQ(service_.assess(plainPicture(), false).reason, orientation_reason::provisionalPolicyAbstention);
}

TEST_F(OrientationServiceTest, ForeignContractsAndAnswersFail) {
    struct Case {
        ModelMetadata metadata;
        std::vector<float> answer;
        std::string_view reason;
    };
    for (const Case& each : {
             Case{{{"kelvaris.orientation.preprocessing", "crop"}},
                  {1, 0, 0, 0},
                  orientation_reason::unknownPreprocessingContract},
             Case{{{"kelvaris.orientation.output", "odds"}},
                  {1, 0, 0, 0},
                  orientation_reason::unknownOutputContract},
             Case{{}, {1, 0, 0}, orientation_reason::missingClassifierScores},
             Case{{}, {1, 0, 0, std::numeric_limits<float>::quiet_NaN()}, orientation_reason::invalidScores},
         }) {
        install({each.answer}, each.metadata);
        service_.reload();
        EXPECT_EQ(service_.assess(plainPicture(), true).reason, each.reason);
    }
    runtime_.install(folder_, FakeModel::ofPicture(224, [](const Bitmap&) { return std::vector<float>(4); }));
    service_.reload();
    EXPECT_EQ(service_.assess(plainPicture(), true).reason, orientation_reason::predictionFailed);
}

TEST_F(OrientationServiceTest, AStuckInferenceKeepsTheSlotUntilItEnds) {
    std::latch go(1);
    runtime_.install(folder_, FakeModel::ofPicture(384, [&](const Bitmap&) {
                         go.wait();
                         return std::vector<float>{9, 0, 0, 0};
                     }));
    waits_.expireNext(1);
    EXPECT_EQ(service_.assess(plainPicture(), false).reason, orientation_reason::inferenceTimeout);
    waits_.expireNext(1);
    const auto busy = service_.assess(plainPicture(), false);
    EXPECT_EQ(busy.reason, orientation_reason::inferenceBusy);
    EXPECT_EQ(busy.modelVersion, "unknown");
    EXPECT_THAT(waits_.expired(), ElementsAre(seconds(10), seconds(10)));

    go.count_down();
    EXPECT_EQ(service_.assess(plainPicture(), false).status, Status::upright);
}

/// A model on the real runtime that takes the brightest edge for the sky, on painted landscapes.
TEST(OrientationOnRealRuntimeTest, LyingFramesAreSetUpright) {
    LinuxFiles files;
    OnnxInferenceRuntime runtime(files);
    if (const auto reason = runtime.missingReason()) {
        GTEST_SKIP() << "the inference runtime is not on this machine: " << *reason;
    }
    const auto folder = std::filesystem::temp_directory_path() / "kelvaris_orientation_test.mlmodelc";
    std::filesystem::create_directories(folder);
    std::ofstream(folder / "model.onnx", std::ios::binary)
        << test_models::orientationModel({{"kelvaris.orientation.version", "9"}});
    std::ofstream(folder / "labels.txt") << "0\n90\n180\n270\n";

    sample_roll::Frame frame({.scene = sample_roll::Scene::hills, .seed = 4, .width = 300, .height = 200});
    auto bitmap = std::make_shared<Bitmap>(Bitmap{300, 200, 3, {}});
    for (int y = 0; y < frame.height(); ++y) {
        const auto row = frame.row8(y);
        bitmap->pixels.insert(bitmap->pixels.end(), row.begin(), row.end());
    }
    ThreadedLimitedWaits waits;
    OrientationService service(
        runtime, files, Path(folder.string()), [] { return true; }, waits);
    EXPECT_EQ(service.assess(bitmap, true).status, Status::upright);
    for (const auto& [turn, back] : {std::pair{RotationAngle::clockwise90, RotationAngle::clockwise270},
                                     std::pair{RotationAngle::clockwise180, RotationAngle::clockwise180},
                                     std::pair{RotationAngle::clockwise270, RotationAngle::clockwise90}}) {
        const auto decision = service.assess(ImageLoading::transformed(bitmap, 1, turn), true);
        EXPECT_EQ(decision.status, Status::correction);
        EXPECT_EQ(decision.rotation, back);
        EXPECT_EQ(decision.modelVersion, "9");
    }
    std::filesystem::remove_all(folder);
}

}  // namespace
}  // namespace kelvaris

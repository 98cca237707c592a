#include "test_models/sample_models.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <fstream>

#include "base/vector_math.h"
#include "platform_linux/linux_files.h"
#include "platform_linux/onnx_inference.h"

namespace kelvaris {
namespace {

namespace models = test_models;

/// Half of the picture in one grey, half in another.
Image halves(std::uint8_t left, std::uint8_t right) {
    auto bitmap = std::make_shared<Bitmap>(Bitmap{224, 224, 3, {}});
    for (int index = 0; index < 224 * 224 * 3; ++index) {
        bitmap->pixels.push_back(index / 3 % 224 < 112 ? left : right);
    }
    return bitmap;
}

Image even(const std::array<float, 3>& color) {
    auto bitmap = std::make_shared<Bitmap>(Bitmap{224, 224, 3, {}});
    for (std::size_t index = 0; index < 224UL * 224 * 3; ++index) {
        bitmap->pixels.push_back(static_cast<std::uint8_t>(color[index % 3] * 255));
    }
    return bitmap;
}

/// What the sample models promise; everything that is tried with them rests on it.
class SampleModelsTest : public ::testing::Test {
protected:
    void SetUp() override {
        if (const auto reason = runtime_.missingReason()) {
            GTEST_SKIP() << "the inference runtime is not on this machine: " << *reason;
        }
    }
    ~SampleModelsTest() override { std::filesystem::remove_all(folder_); }

    std::shared_ptr<const InferenceModel> load(const std::string& model, const std::string& labels = "") {
        std::filesystem::create_directories(folder_);
        std::ofstream(folder_ / "model.onnx", std::ios::binary) << model;
        std::ofstream(folder_ / "labels.txt") << labels;
        const auto loaded = runtime_.load(Path(folder_.string()));
        EXPECT_TRUE(loaded) << loaded.error().message;
        return loaded ? *loaded : nullptr;
    }
    static std::vector<float> answer(const InferenceModel& model, ModelInput input) {
        const auto outputs = model.run(std::vector{std::move(input)});
        EXPECT_TRUE(outputs) << outputs.error().message;
        return outputs ? outputs->front().values : std::vector<float>();
    }
    static std::vector<float> unit(std::vector<float> vector) {
        double sum = 0;
        for (const float value : vector) sum += double{value} * value;
        for (float& value : vector) value = static_cast<float>(value / std::sqrt(sum));
        return vector;
    }

    const std::filesystem::path folder_ =
        std::filesystem::temp_directory_path() /
        ("kelvaris_samples_" + std::string(::testing::UnitTest::GetInstance()->current_test_info()->name()));
    LinuxFiles files_;
    OnnxInferenceRuntime runtime_{files_};
};

TEST_F(SampleModelsTest, WordsForColorsLieNearestToPicturesOfThem) {
    const auto pictures = load(models::colorImageEncoder());
    const auto texts = load(models::colorTextEncoder());
    ASSERT_TRUE(pictures && texts);
    // "a photo of ..." with blue, forest, sunset and dog.
    const std::vector<std::pair<std::int32_t, std::string>> words = {
        {1746, "blue"}, {4167, "green"}, {3424, "orange"}, {1929, ""}};
    for (const auto& [token, color] : words) {
        std::vector<std::int32_t> tokens = {49406, 320, 1125, 539, 320, token, 49407};
        tokens.resize(77);
        const auto text = unit(answer(*texts, {"input_ids", tokens}));
        for (const models::SampleColor& sample : models::sampleColors) {
            const auto picture = unit(answer(*pictures, {"image", even(sample.color)}));
            const float similarity = cosineSimilarity(text, picture);
            if (sample.name == color) {
                EXPECT_GT(similarity, 0.3F) << sample.name;
            } else {
                EXPECT_LT(similarity, 0.15F) << sample.name << " for " << color;
            }
        }
    }
}

TEST_F(SampleModelsTest, PlacesGoByTheColorsOfThePicture) {
    const auto places = load(models::colorClassifier(), models::colorLabels(&models::SampleColor::place));
    ASSERT_TRUE(places);
    for (const models::SampleColor& sample : models::sampleColors) {
        const std::vector<ModelInput> values = {{"image", even(sample.color)}};
        const auto scores = classScores(*places, *places->run(values));
        ASSERT_EQ(scores.size(), models::sampleColors.size());
        const auto best = std::ranges::max(scores, {}, &LabelledScore::score);
        EXPECT_EQ(best.label, sample.place);
        EXPECT_GT(best.score, 0.5F) << sample.name;
    }
}

TEST_F(SampleModelsTest, BrightAndContrastyPicturesAreRatedHigher) {
    const auto rater = load(models::brightnessRater());
    ASSERT_TRUE(rater);
    const auto rating = [&](const Image& picture) {
        const auto probabilities = answer(*rater, {"image", picture});
        double mean = 0;
        double sum = 0;
        for (std::size_t index = 0; index < probabilities.size(); ++index) {
            mean += static_cast<double>(index + 1) * probabilities[index];
            sum += probabilities[index];
        }
        EXPECT_EQ(probabilities.size(), 10U);
        EXPECT_NEAR(sum, 1, 1e-5);
        return mean;
    };
    const double dark = rating(halves(20, 20));
    const double flat = rating(halves(128, 128));
    const double rich = rating(halves(20, 236));
    EXPECT_GT(flat, dark + 0.5);
    EXPECT_GT(rich, flat + 1);
    EXPECT_LT(rich, 10);
}

}  // namespace
}  // namespace kelvaris

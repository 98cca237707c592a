#include "analysis/model_check.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <limits>
#include <set>

#include "platform_fake/fake_clock.h"
#include "platform_fake/fake_inference.h"
#include "platform_linux/linux_files.h"
#include "platform_linux/onnx_inference.h"
#include "temporary_folder.h"
#include "test_models/sample_models.h"

namespace kelvaris {
namespace {

using ::testing::AllOf;
using ::testing::Contains;
using ::testing::Each;
using ::testing::Field;
using ::testing::HasSubstr;
using ::testing::Not;

/// A finding of that verdict whose text has the words in it.
auto finding(CheckVerdict verdict, const std::string& words) {
    return AllOf(Field(&CheckRow::verdict, verdict), Field(&CheckRow::text, HasSubstr(words)));
}
auto verdict(CheckVerdict verdict) { return Field(&CheckRow::verdict, verdict); }

constexpr CheckVerdict warns = CheckVerdict::warns;
constexpr CheckVerdict fails = CheckVerdict::fails;

/// A model that gives the named numbers, different ones for each run.
std::shared_ptr<FakeModel> model(std::vector<ValueDeclaration> inputs, std::vector<OutputTensor> outputs,
                                 ModelMetadata metadata = {}, std::vector<std::string> labels = {}) {
    const auto runs = std::make_shared<int>(0);
    return std::make_shared<FakeModel>(
        std::move(inputs),
        [runs, outputs = std::move(outputs)](std::span<const ModelInput>) mutable {
            auto given = outputs;
            if (++*runs % 2 == 0 && !given.empty() && !given.front().values.empty()) {
                given.front().values.front() /= 2;
            }
            return InferenceResult<std::vector<OutputTensor>>(std::move(given));
        },
        std::move(metadata), std::move(labels));
}

ValueDeclaration picture(int side, ElementType type = ElementType::float32) {
    return {"image", type, {1, 3, side, side}};
}
OutputTensor numbers(std::string name, std::vector<float> values) {
    const auto count = static_cast<std::int64_t>(values.size());
    return {std::move(name), {1, count}, std::move(values)};
}
OutputTensor tenth(std::size_t count, float value = 0.1F) {
    return numbers("output", std::vector<float>(count, value));
}

class ModelCheckTest : public ::testing::Test {
protected:
    std::vector<CheckRow> check(const std::string& folder) {
        return checkModelFolder(runtime_, Path(folder), clock_.monotonic()).rows;
    }
    std::vector<CheckRow> checkOne(const std::string& name, std::shared_ptr<FakeModel> model) {
        runtime_.install(Path("/m") / name, std::move(model));
        return check("/m/" + name);
    }

    FakeInferenceRuntime runtime_;
    FakeClock clock_;
};

TEST_F(ModelCheckTest, OutputsThatTheProgramCannotUseFail) {
    constexpr float nothing = std::numeric_limits<float>::quiet_NaN();
    constexpr float endless = std::numeric_limits<float>::infinity();
    const ModelMetadata probabilities = {{"kelvaris.orientation.output", "probabilities"}};
    const ModelMetadata otherContract = {{"kelvaris.orientation.preprocessing", "square"}};
    const std::vector<std::string> labels = {"coast", "street"};
    const std::vector<std::string> turns = {"0", "90", "180", "up"};
    const struct {
        std::string name;
        std::shared_ptr<FakeModel> model;
        std::string says;
    } rows[] = {
        {"NIMA", model({picture(224)}, {}), "no output"},
        {"NIMA", model({picture(224)}, {tenth(9)}), "9 values"},
        {"NIMA", model({picture(224)}, {tenth(10, 0)}), "nothing above 0"},
        {"NIMA", model({picture(224)}, {tenth(10, nothing)}), "not finite"},
        {"CLIPImageEncoder", model({picture(224)}, {tenth(256)}), "256 values"},
        {"MobileFaceNet", model({picture(112)}, {tenth(512, endless)}), "not finite"},
        {"MobileFaceNet", model({picture(112)}, {tenth(512, 0)}), "usable length"},
        {"CLIPTextEncoder", model({{"input_ids", ElementType::int32, {1, 77}}}, {tenth(512)}),
         "no output embedding"},
        {"OrientationClassifier", model({picture(384)}, {tenth(3)}), "four scores"},
        {"OrientationClassifier", model({picture(384)}, {tenth(4)}, {}, turns), "four scores"},
        {"OrientationClassifier", model({picture(384)}, {tenth(4)}, probabilities), "invalid_scores"},
        {"OrientationClassifier", model({picture(384)}, {tenth(4)}, otherContract), "preprocessing"},
        {"Places365", model({picture(224)}, {tenth(2)}), "labels.txt"},
        {"Places365", model({picture(224)}, {tenth(3)}, {}, labels), "the 2 values"},
        {"HumanDetector", model({picture(320)}, {tenth(4)}), "boxes and scores"},
        {"HumanDetector", model({picture(320)}, {numbers("boxes", {1, 1}), numbers("scores", {1})}), "boxes"},
    };
    for (const auto& row : rows) {
        EXPECT_THAT(checkOne(row.name + ".mlmodelc", row.model), Contains(finding(fails, row.says)))
            << row.name << " " << row.says;
    }
}

TEST_F(ModelCheckTest, InputsThatTheProgramCannotFillFail) {
    const auto ids = [](std::string name, ElementType type, std::vector<std::int64_t> shape) {
        return model({{std::move(name), type, std::move(shape)}}, {numbers("embedding", {1})});
    };
    const struct {
        std::string name;
        std::shared_ptr<FakeModel> model;
        std::string says;
    } rows[] = {
        {"NIMA", model({}, {tenth(10)}), "other inputs"},
        {"NIMA", model({picture(224), picture(224)}, {tenth(10)}), "other inputs"},
        {"NIMA", model({{"image", ElementType::float32, {1, 224, 224}}}, {tenth(10)}), "other inputs"},
        {"NIMA", model({picture(224, ElementType::int32)}, {tenth(10)}), "int32"},
        {"NIMA", model({{"image", ElementType::float32, {8, 3, 224, 224}}}, {tenth(10)}), "no single"},
        {"NIMA", model({picture(50000)}, {tenth(10)}), "4096"},
        {"OrientationClassifier", model({picture(224)}, {tenth(4)}), "384 by 384"},
        {"CLIPTextEncoder", ids("tokens", ElementType::int32, {1, 77}), "input_ids"},
        {"CLIPTextEncoder", ids("input_ids", ElementType::float32, {1, 77}), "int32 or int64"},
        {"CLIPTextEncoder", ids("input_ids", ElementType::int64, {1, 76}), "77"},
    };
    for (const auto& row : rows) {
        EXPECT_THAT(checkOne(row.name + ".mlmodelc", row.model), Contains(finding(fails, row.says)))
            << row.name << " " << row.says;
    }
}

TEST_F(ModelCheckTest, WhatWorksButMayNotBeMeantWarns) {
    const auto constant =
        FakeModel::ofPicture(224, [](const Bitmap&) { return std::vector<float>(10, 0.1F); });
    const auto rows = checkOne("NIMA.mlmodelc", constant);
    EXPECT_THAT(rows, Contains(finding(warns, "answers the same")));
    EXPECT_THAT(rows, Not(Contains(verdict(fails))));

    const ModelMetadata misspelt = {{"kelvaris.image.std", "1"}, {"author", "me"}};
    const struct {
        std::string name;
        std::shared_ptr<FakeModel> model;
        std::string says;
    } cases[] = {
        {"NIMA", model({picture(224)}, {tenth(10)}, misspelt), "kelvaris.image.std"},
        {"NIMA", model({picture(224, ElementType::uint8)}, {tenth(10)}, {{"kelvaris.image.mean", "0.5"}}),
         "input of bytes"},
        {"NIMA", model({picture(299)}, {tenth(10)}), "larger than"},
        {"NIMA", model({picture(224)}, {tenth(10, 3)}), "softmax"},
        {"NIMA", model({picture(-1)}, {tenth(10)}), "is free"},
        {"Places365", model({picture(224)}, {tenth(2)}, {}, {"coast", "coast"}), "repeated"},
        {"Places365", model({picture(224)}, {tenth(2)}, {}, {"/c/coast 97", "/s/street 319"}), "0 of 2"},
        {"SceneClassifier", model({picture(224)}, {tenth(2)}, {}, {"n0917", "n0918"}), "0 of 2"},
        {"HumanDetector",
         model({picture(320)}, {numbers("boxes", {10, 20, 300, 300}), numbers("scores", {0.5F})}), "shares"},
    };
    for (const auto& row : cases) {
        const auto found = checkOne(row.name + ".mlmodelc", row.model);
        EXPECT_THAT(found, Contains(finding(warns, row.says))) << row.name << " " << row.says;
        EXPECT_THAT(found, Not(Contains(verdict(fails)))) << row.name << " " << row.says;
    }
}

TEST_F(ModelCheckTest, AModelThatIsInstalledAsAWholeNeedsAllItsParts) {
    runtime_.install(Path("/root/clip-vit-b16-dfn/CLIPImageEncoder.mlmodelc"),
                     model({picture(224)}, {tenth(512)}));
    EXPECT_THAT(check("/root/clip-vit-b16-dfn"), Contains(finding(fails, "is missing")));
    EXPECT_THAT(check("/root"),
                Contains(AllOf(Field(&CheckRow::subject, "clip-vit-b16-dfn/CLIPTextEncoder.mlmodelc"),
                               verdict(fails))));
    EXPECT_THAT(check("/root/clip-vit-b16-dfn/CLIPImageEncoder.mlmodelc"), Not(Contains(verdict(fails))));
    EXPECT_THAT(check("/elsewhere"), Each(finding(fails, "holds no model.onnx")));
    EXPECT_THAT(check("/elsewhere/NIMA.mlmodelc"), Each(finding(fails, "does not load")));
}

/// The sample models as they stand on the disk.
class SampleModelCheckTest : public ::testing::Test {
protected:
    void SetUp() override {
        if (const auto reason = runtime_.missingReason()) {
            GTEST_SKIP() << "the inference runtime is not on this machine: " << *reason;
        }
    }
    void add(const std::string& name, const std::string& model, const std::string& labels = "") const {
        const std::filesystem::path folder = std::filesystem::path(folder_.path().string()) / name;
        std::filesystem::create_directories(folder);
        std::ofstream(folder / "model.onnx", std::ios::binary) << model;
        if (!labels.empty()) std::ofstream(folder / "labels.txt") << labels;
    }

    testing::TemporaryFolder folder_;
    LinuxFiles files_;
    OnnxInferenceRuntime runtime_{files_};
    FakeClock clock_;
};

TEST_F(SampleModelCheckTest, TheSampleModelsFitWithoutAWarning) {
    add("clip-vit-b16-dfn/CLIPImageEncoder.mlmodelc", test_models::colorImageEncoder());
    add("clip-vit-b16-dfn/CLIPTextEncoder.mlmodelc", test_models::colorTextEncoder());
    add("nima/NIMA.mlmodelc", test_models::brightnessRater());
    add("places365/Places365.mlmodelc", test_models::colorClassifier(),
        test_models::colorLabels(&test_models::SampleColor::place));
    add("vision/SceneClassifier.mlmodelc", test_models::colorClassifier(),
        test_models::colorLabels(&test_models::SampleColor::scene));
    add("facenet/MobileFaceNet.mlmodelc", test_models::faceEncoder());
    add("orientation/OrientationClassifier.mlmodelc", test_models::orientationModel());
    const auto report = checkModelFolder(runtime_, folder_.path(), clock_.monotonic());
    EXPECT_TRUE(report.fits());
    EXPECT_THAT(report.rows, Each(verdict(CheckVerdict::fits)));
    EXPECT_THAT(report.rows, Contains(finding(CheckVerdict::fits, "pixels are (byte / 255 - mean)")));
    EXPECT_THAT(report.rows, Contains(finding(CheckVerdict::fits, "11 of 11 labels")));
    EXPECT_THAT(report.rows, Contains(finding(CheckVerdict::fits, "answers embedding [1, 512]")));
    std::set<std::string> subjects;
    for (const CheckRow& row : report.rows) subjects.insert(row.subject);
    EXPECT_EQ(subjects.size(), 7U);
}

TEST_F(SampleModelCheckTest, ModelsThatDoNotLoadOrDoNotEndSaySo) {
    add("NIMA.mlmodelc", "This is no model.\n");
    add("Places365.mlmodelc", test_models::endlessModel(), "coast\n");
    add("MobileFaceNet.mlmodelc",
        test_models::constantModel({1}, 112, "out", {{"kelvaris.image.mean", "x"}}));
    const auto report =
        checkModelFolder(runtime_, folder_.path(), clock_.monotonic(), std::chrono::milliseconds(30));
    EXPECT_FALSE(report.fits());
    EXPECT_THAT(report.rows, Contains(finding(fails, "stopped after 0.03 s")));
    EXPECT_THAT(report.rows, Contains(finding(fails, "kelvaris.image.mean")));
    EXPECT_EQ(report.count(fails), 3U);
}

}  // namespace
}  // namespace kelvaris

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <filesystem>
#include <fstream>
#include <limits>

#include "platform_fake/fake_inference.h"
#include "platform_linux/linux_files.h"
#include "platform_linux/onnx_inference.h"
#include "test_models/test_models.h"

namespace kelvaris {
namespace {

namespace models = test_models;

Image evenPicture(int side, std::uint8_t red, std::uint8_t green, std::uint8_t blue) {
    auto bitmap = std::make_shared<Bitmap>(Bitmap{side, side, 3, {}});
    for (int pixel = 0; pixel < side * side; ++pixel) {
        bitmap->pixels.insert(bitmap->pixels.end(), {red, green, blue});
    }
    return bitmap;
}

/// A folder of model folders on the real disk.
class ModelFolder {
public:
    ModelFolder() { std::filesystem::create_directories(root_); }
    ~ModelFolder() { std::filesystem::remove_all(root_); }

    Path add(const std::string& name, const std::string& model, const std::string& labels = "") const {
        std::filesystem::create_directories(root_ / name);
        std::ofstream(root_ / name / "model.onnx", std::ios::binary) << model;
        if (!labels.empty()) std::ofstream(root_ / name / "labels.txt") << labels;
        return at(name);
    }
    Path at(const std::string& name) const { return Path((root_ / name).string()); }

private:
    const std::filesystem::path root_ =
        std::filesystem::temp_directory_path() /
        ("kelvaris_models_" + std::to_string(std::hash<std::string>()(
                                  ::testing::UnitTest::GetInstance()->current_test_info()->name())));
};

/// What both machines promise, on a model that averages colours and one that takes tokens.
struct Machine {
    virtual ~Machine() = default;
    virtual InferenceRuntime& runtime() = 0;
    virtual Path colorModel() = 0;
    virtual Path tokenModel() = 0;
    virtual Path damagedModel() = 0;
    virtual Path missingModel() = 0;
    /// Why the machine cannot be tested here.
    virtual std::optional<std::string> missingReason() { return std::nullopt; }
};

struct RealMachine final : Machine {
    InferenceRuntime& runtime() override { return onnx; }
    Path colorModel() override {
        return folder.add("Color.mlmodelc", models::meanColorModel(), "red\r\ngreen\nblue\n");
    }
    Path tokenModel() override { return folder.add("Token.mlmodelc", models::tokenVectorModel()); }
    Path damagedModel() override { return folder.add("Damaged.mlmodelc", "this is no model"); }
    Path missingModel() override { return folder.at("Missing.mlmodelc"); }
    std::optional<std::string> missingReason() override { return onnx.missingReason(); }

    ModelFolder folder;
    LinuxFiles files;
    OnnxInferenceRuntime onnx{files};
};

struct FakeMachine final : Machine {
    InferenceRuntime& runtime() override { return fake; }
    Path colorModel() override {
        const auto mean = [](const Bitmap& bitmap) {
            std::vector<float> sums(3);
            for (std::size_t index = 0; index < bitmap.pixels.size(); ++index)
                sums[index % 3] += bitmap.pixels[index];
            for (float& sum : sums) sum /= static_cast<float>(bitmap.pixels.size()) / 3;
            return sums;
        };
        fake.install(Path("/m/Color"), FakeModel::ofPicture(32, mean, {}, {"red", "green", "blue"}));
        return Path("/m/Color");
    }
    Path tokenModel() override {
        fake.install(Path("/m/Token"),
                     FakeModel::ofTokens(77, [](const auto&) { return std::vector<float>(512); }));
        return Path("/m/Token");
    }
    Path damagedModel() override {
        fake.installDamaged(Path("/m/Damaged"), {InferenceError::Code::damaged, "bad"});
        return Path("/m/Damaged");
    }
    Path missingModel() override { return Path("/m/Missing"); }

    FakeInferenceRuntime fake;
};

class InferenceContractTest : public ::testing::TestWithParam<bool> {
protected:
    void SetUp() override {
        if (GetParam()) {
            machine_ = std::make_unique<RealMachine>();
        } else {
            machine_ = std::make_unique<FakeMachine>();
        }
        if (const auto reason = machine_->missingReason()) {
            GTEST_SKIP() << "the inference runtime is not on this machine: " << *reason;
        }
    }
    std::unique_ptr<Machine> machine_;
};

INSTANTIATE_TEST_SUITE_P(Machines, InferenceContractTest, ::testing::Values(false, true),
                         [](const auto& each) { return each.param ? "Onnx" : "Fake"; });

TEST_P(InferenceContractTest, APictureGoesInAndNamedNumbersComeOut) {
    const auto model = machine_->runtime().load(machine_->colorModel());
    ASSERT_TRUE(model) << model.error().message;
    const auto input = imageInput(**model);
    ASSERT_TRUE(input);
    EXPECT_EQ(input->name, "image");
    EXPECT_EQ(input->width, 32);
    const std::vector<ModelInput> values = {{"image", evenPicture(32, 200, 100, 50)}};
    const auto outputs = (*model)->run(values);
    ASSERT_TRUE(outputs) << outputs.error().message;
    EXPECT_THAT(classScores(**model, *outputs),
                ::testing::ElementsAre(LabelledScore{"red", 200}, LabelledScore{"green", 100},
                                       LabelledScore{"blue", 50}));
}

TEST_P(InferenceContractTest, InputsThatDoNotFitAreRefused) {
    const auto picture = machine_->runtime().load(machine_->colorModel());
    const auto tokens = machine_->runtime().load(machine_->tokenModel());
    ASSERT_TRUE(picture && tokens);
    const auto code = [](const InferenceModel& model, std::vector<ModelInput> values) {
        const auto outputs = model.run(values);
        return outputs ? std::optional<InferenceError::Code>() : outputs.error().code;
    };
    const auto grey = std::make_shared<Bitmap>(Bitmap{32, 32, 1, std::vector<std::uint8_t>(32 * 32)});
    const auto wrong = InferenceError::Code::wrongInput;
    EXPECT_EQ(code(**picture, {{"image", evenPicture(31, 0, 0, 0)}}), wrong);
    EXPECT_EQ(code(**picture, {{"image", Image(grey)}}), wrong);
    EXPECT_EQ(code(**picture, {{"image", Image()}}), wrong);
    EXPECT_EQ(code(**picture, {{"picture", evenPicture(32, 0, 0, 0)}}), wrong);
    EXPECT_EQ(code(**picture, {}), wrong);
    EXPECT_EQ(code(**picture, {{"image", std::vector<std::int32_t>(77)}}), wrong);
    EXPECT_EQ(code(**tokens, {{"input_ids", std::vector<std::int32_t>(76)}}), wrong);
    EXPECT_EQ(code(**tokens, {{"input_ids", evenPicture(32, 0, 0, 0)}}), wrong);
    EXPECT_EQ(code(**tokens, {{"input_ids", std::vector<std::int32_t>(77)}}), std::nullopt);
}

TEST_P(InferenceContractTest, WhatIsMissingOrDamagedSaysWhich) {
    const auto missing = machine_->runtime().load(machine_->missingModel());
    ASSERT_FALSE(missing);
    EXPECT_EQ(missing.error().code, InferenceError::Code::notAModel);
    const auto damaged = machine_->runtime().load(machine_->damagedModel());
    ASSERT_FALSE(damaged);
    EXPECT_EQ(damaged.error().code, InferenceError::Code::damaged);
}

class OnnxInferenceTest : public ::testing::Test {
protected:
    void SetUp() override {
        if (const auto reason = runtime_.missingReason()) {
            GTEST_SKIP() << "the inference runtime is not on this machine: " << *reason;
        }
    }
    InferenceResult<std::vector<OutputTensor>> answer(const std::string& model, int side,
                                                      std::chrono::nanoseconds limit = inferenceRunLimit) {
        const auto loaded = runtime_.load(folder_.add("A.mlmodelc", model));
        if (!loaded) return Unexpected(loaded.error());
        const std::vector<ModelInput> values = {{"image", evenPicture(side, 200, 100, 50)}};
        return (*loaded)->run(values, limit);
    }

    ModelFolder folder_;
    LinuxFiles files_;
    OnnxInferenceRuntime runtime_{files_};
};

TEST_F(OnnxInferenceTest, EveryLayoutAndWidthOfPixelsAndOutputsGivesTheSameNumbers) {
    using models::ColorModelOptions;
    using models::OnnxType;
    for (const ColorModelOptions& options :
         {ColorModelOptions{.planesFirst = false}, ColorModelOptions{.input = OnnxType::uint8},
          ColorModelOptions{.input = OnnxType::float16, .halfOutput = true},
          ColorModelOptions{.planesFirst = false, .input = OnnxType::uint8, .halfOutput = true}}) {
        const auto outputs = answer(models::meanColorModel(options), options.side);
        ASSERT_TRUE(outputs) << outputs.error().message;
        EXPECT_THAT(outputs->front().values, ::testing::ElementsAre(200, 100, 50));
    }
}

TEST_F(OnnxInferenceTest, TheKeysOfAModelSayWhichNumbersStandForItsPixels) {
    using models::ColorModelOptions;
    using models::OnnxType;
    const models::Metadata keys = {{"kelvaris.image.mean", "0.4, 0.2, 0"},
                                   {"kelvaris.image.deviation", "0.5,0.25,0.1"}};
    models::Metadata blueFirst = keys;
    blueFirst["kelvaris.image.order"] = "BGR";
    // The picture is 200, 100, 50.
    const std::vector<float> scaled = {(200 / 255.0F - 0.4F) / 0.5F, (100 / 255.0F - 0.2F) / 0.25F,
                                       (50 / 255.0F) / 0.1F};
    const std::vector<float> turned = {(50 / 255.0F - 0.4F) / 0.5F, scaled[1], (200 / 255.0F) / 0.1F};
    const std::vector<std::pair<ColorModelOptions, std::vector<float>>> rows = {
        {{.metadata = keys}, scaled},
        {{.planesFirst = false, .metadata = keys}, scaled},
        {{.input = OnnxType::float16, .metadata = keys}, scaled},
        {{.metadata = blueFirst}, turned},
        {{.planesFirst = false, .metadata = blueFirst}, turned},
        {{.metadata = {{"kelvaris.image.mean", "0.5"}}},
         {200 / 255.0F - 0.5F, 100 / 255.0F - 0.5F, 50 / 255.0F - 0.5F}},
        {{.metadata = {{"kelvaris.image.deviation", "2"}}}, {200 / 510.0F, 100 / 510.0F, 50 / 510.0F}},
        {{.metadata = {{"kelvaris.image.order", "BGR"}}}, {50, 100, 200}},
        {{.input = OnnxType::uint8, .metadata = keys}, {200, 100, 50}},
        {{.planesFirst = false, .input = OnnxType::uint8, .metadata = blueFirst}, {50, 100, 200}}};
    for (const auto& [options, wanted] : rows) {
        const auto outputs = answer(models::meanColorModel(options), options.side);
        ASSERT_TRUE(outputs) << outputs.error().message;
        EXPECT_THAT(outputs->front().values, ::testing::Pointwise(::testing::FloatNear(2e-3F), wanted))
            << &options - &rows.front().first;
    }
}

TEST_F(OnnxInferenceTest, AModelWithUnreadableKeysOfItsPicturesDoesNotLoad) {
    const auto outputs = answer(models::meanColorModel({.metadata = {{"kelvaris.image.mean", "grey"}}}), 32);
    ASSERT_FALSE(outputs);
    EXPECT_EQ(outputs.error().code, InferenceError::Code::damaged);
    EXPECT_THAT(outputs.error().message, ::testing::HasSubstr("kelvaris.image.mean"));
}

TEST_F(OnnxInferenceTest, TokensReachModelsOfBothDeclaredTypes) {
    std::vector<std::vector<float>> results;
    for (const auto type : {models::OnnxType::int32, models::OnnxType::int64}) {
        const auto model = runtime_.load(folder_.add("T.mlmodelc", models::tokenVectorModel(type)));
        ASSERT_TRUE(model) << model.error().message;
        std::vector<std::int32_t> tokens(77);
        tokens[0] = 49406;
        tokens[1] = -3;
        const std::vector<ModelInput> values = {{"input_ids", tokens}};
        const auto outputs = (*model)->run(values);
        ASSERT_TRUE(outputs) << outputs.error().message;
        EXPECT_THAT(outputs->front().shape, ::testing::ElementsAre(1, 512));
        results.push_back(outputs->front().values);
    }
    EXPECT_EQ(results[0], results[1]);
    EXPECT_NE(results[0][0], results[0][1]);
}

TEST_F(OnnxInferenceTest, NotANumberComesThroughAsItIs) {
    const auto outputs = answer(models::constantModel({std::numeric_limits<float>::quiet_NaN(), 1}, 16), 16);
    ASSERT_TRUE(outputs);
    EXPECT_TRUE(std::isnan(outputs->front().values[0]));
    EXPECT_EQ(outputs->front().values[1], 1);
}

TEST_F(OnnxInferenceTest, ARunBeyondItsLimitIsStoppedAndTheModelStaysUsable) {
    const auto model = runtime_.load(folder_.add("E.mlmodelc", models::endlessModel(16)));
    ASSERT_TRUE(model) << model.error().message;
    const std::vector<ModelInput> values = {{"image", evenPicture(16, 0, 0, 0)}};
    for (int round = 0; round < 2; ++round) {
        const auto outputs = (*model)->run(values, std::chrono::milliseconds(20));
        ASSERT_FALSE(outputs);
        EXPECT_EQ(outputs.error().code, InferenceError::Code::terminated);
    }
}

TEST_F(OnnxInferenceTest, MetadataIsReadWithAndWithoutLoading) {
    const models::Metadata keys = {{"kelvaris.orientation.version", "7"}, {"author", "Mäder"}};
    const Path folder = folder_.add("O.mlmodelc", models::orientationModel(keys));
    const auto read = runtime_.readMetadata(folder);
    ASSERT_TRUE(read);
    EXPECT_EQ(*read, keys);
    const auto model = runtime_.load(folder);
    ASSERT_TRUE(model) << model.error().message;
    EXPECT_EQ((*model)->metadata(), keys);
}

TEST_F(OnnxInferenceTest, DamagedModelsFailToLoadAndNothingElse) {
    const std::string whole = models::orientationModel();
    for (std::size_t step = 1; step <= 60; ++step) {
        std::string damaged = whole;
        if (step % 2 == 0) {
            damaged.resize(whole.size() * step / 61);
        } else {
            damaged[(step * 7919) % whole.size()] ^= static_cast<char>(0x55);
        }
        const auto outputs = answer(damaged, 384);
        // Some flips only change a weight; whatever loads must also run or say why not.
        EXPECT_TRUE(outputs || !outputs.error().message.empty()) << step;
    }
}

TEST(InferenceWithoutRuntimeTest, EveryModelFailsToLoadWithAReason) {
    ModelFolder folder;
    LinuxFiles files;
    OnnxInferenceRuntime runtime(files, {"/nowhere/libonnxruntime.so.1"});
    const auto model = runtime.load(folder.add("A.mlmodelc", models::meanColorModel()));
    ASSERT_FALSE(model);
    EXPECT_EQ(model.error().code, InferenceError::Code::noRuntime);
    EXPECT_TRUE(runtime.readMetadata(folder.at("A.mlmodelc")));
}

TEST(PictureNormalizationTest, WhatCannotBeReadIsNamed) {
    const auto message = [](const std::string& key, const std::string& value) {
        const auto read = pictureNormalization({{"kelvaris.image." + key, value}});
        return read ? std::string("read") : read.error().message;
    };
    for (const char* numbers :
         {"", "0.5,0.5", "1,2,3,4", "1,2,", "0.5;0.5;0.5", "0,5x", "nan", "1,inf,1", "1e999", "0x1"}) {
        EXPECT_THAT(message("mean", numbers), ::testing::HasSubstr("kelvaris.image.mean")) << numbers;
        EXPECT_THAT(message("deviation", numbers), ::testing::HasSubstr("kelvaris.image.deviation"))
            << numbers;
    }
    // A channel must not come to nothing, turn round or leave the floats.
    for (const char* numbers : {"0", "1,0,1", "-0.5", "1e-60"}) {
        EXPECT_THAT(message("deviation", numbers), ::testing::HasSubstr("kelvaris.image.deviation"))
            << numbers;
    }
    for (const char* order : {"", "rgb", "GBR"}) {
        EXPECT_THAT(message("order", order), ::testing::HasSubstr("kelvaris.image.order")) << order;
    }
    EXPECT_EQ(message("mean", "-1, 0 ,1.5e0"), "read");
    EXPECT_EQ(message("order", "RGB"), "read");
}

TEST(OnnxMetadataTest, MalformedFieldsGiveNothing) {
    const auto read = [](std::string bytes) { return readOnnxMetadata(asBytes(bytes)).has_value(); };
    EXPECT_TRUE(read(""));
    EXPECT_FALSE(read(std::string("\x72\x05\x0a\x01", 4)));  // longer than the file
    EXPECT_FALSE(read(std::string("\x72\xff\xff\xff\xff\xff\xff\xff\xff\xff\x7f", 11)));
    EXPECT_FALSE(read(std::string("\x07", 1)));      // no such kind of field
    EXPECT_FALSE(read(std::string("\x02\x00", 2)));  // field number 0
    EXPECT_FALSE(read(std::string("\x80", 1)));      // cut in the middle
}

}  // namespace
}  // namespace kelvaris

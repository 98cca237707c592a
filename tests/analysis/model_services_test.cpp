#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <latch>
#include <limits>

#include "analysis/face_vectors.h"
#include "log_capture.h"
#include "model_world.h"

namespace kelvaris {
namespace {

using std::chrono::seconds;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using testing::LogCapture;
using ::testing::Pair;
using testing::sparse;

Image picture(int width, int height, std::uint8_t red, std::uint8_t green, std::uint8_t blue) {
    return std::make_shared<const Bitmap>(solidBitmap(width, height, red, green, blue));
}

class ModelServicesTest : public ::testing::Test, protected testing::ModelWorld {
protected:
    /// A model that answers only when the test lets it.
    std::shared_ptr<FakeModel> stuck(std::latch& release) {
        return FakeModel::ofPicture(224, [&release](const Bitmap&) {
            release.wait();
            return std::vector<float>(10, 0.1F);
        });
    }
    std::shared_ptr<FakeModel> failingModel() {
        return std::make_shared<FakeModel>(
            std::vector{ValueDeclaration{"image", ElementType::float32, {1, 3, 224, 224}}}, [](auto) {
                return InferenceResult<std::vector<OutputTensor>>(
                    Unexpected(InferenceError{InferenceError::Code::failed, "out of luck"}));
            });
    }
};

TEST_F(ModelServicesTest, WithoutModelsNothingIsGivenAndTheLogSaysSoOnce) {
    LogCapture log;
    EXPECT_FALSE(nima.isEnabled());
    EXPECT_FALSE(nima.predictScore(picture(8, 8, 1, 2, 3)));
    EXPECT_FALSE(places.classifyScene(picture(8, 8, 1, 2, 3)));
    EXPECT_FALSE(faces.detectAndEmbed(picture(8, 8, 1, 2, 3)));
    EXPECT_EQ(*clip.imageEmbedding(picture(8, 8, 1, 2, 3)), std::nullopt);
    EXPECT_EQ(*clip.textEmbedding("a"), std::nullopt);
    EXPECT_FALSE(clip.load());
    EXPECT_THAT(log.messages(), ::testing::UnorderedElementsAre(
                                    "NIMA model not downloaded", "Places365 model not downloaded",
                                    "FaceNet model not downloaded", "CLIP models not downloaded"));
    EXPECT_THAT(services.requestedModels(), IsEmpty());
}

TEST_F(ModelServicesTest, AModelIsLoadedOnceAndAnewAfterItWasReplaced) {
    const Path folder = folderOf(ModelID::nima, "NIMA.mlmodelc");
    installNima(sparse({{0, 1}}, 10));
    EXPECT_EQ(nima.predictScore(picture(30, 20, 0, 0, 0)), 0);
    EXPECT_EQ(nima.predictScore(picture(30, 20, 0, 0, 0)), 0);
    EXPECT_EQ(runtime.loadCount(folder), 1);
    installNima(sparse({{9, 1}}, 10));
    EXPECT_EQ(nima.predictScore(picture(30, 20, 0, 0, 0)), 0) << "what is loaded serves on";
    services.reload(ModelID::nima);
    EXPECT_EQ(nima.predictScore(picture(30, 20, 0, 0, 0)), 1);

    LogCapture log;
    runtime.installDamaged(folder, {InferenceError::Code::damaged, "torn"});
    services.reload(ModelID::nima);
    EXPECT_FALSE(nima.predictScore(picture(30, 20, 0, 0, 0)));
    EXPECT_FALSE(nima.loadIfNeeded());
    EXPECT_THAT(log.errors(), ElementsAre("NIMA model not available: torn"));
}

TEST_F(ModelServicesTest, AStuckModelCostsTenSecondsAndNothingElse) {
    std::latch release(1);
    LogCapture log;
    install(ModelID::nima, "NIMA.mlmodelc", stuck(release));
    install(ModelID::places365, "Places365.mlmodelc", stuck(release));
    installClip();
    install(ModelID::clipVitB16, "CLIPImageEncoder.mlmodelc", stuck(release));
    waits.expireNext(3);
    EXPECT_FALSE(nima.predictScore(picture(30, 20, 0, 0, 0)));
    EXPECT_FALSE(places.classifyScene(picture(30, 20, 0, 0, 0)));
    EXPECT_EQ(*clip.imageEmbedding(picture(30, 20, 0, 0, 0)), std::nullopt);
    EXPECT_THAT(waits.expired(), ElementsAre(seconds(10), seconds(10), seconds(10)));
    EXPECT_THAT(log.errors(), ElementsAre("NIMA prediction timed out", "Places365 classification timed out",
                                          "CLIP image embedding timed out"));
    services.reload(ModelID::nima);  // while the run that was left behind still holds the model
    release.count_down();
    waits.join();  // before the latch goes
}

TEST_F(ModelServicesTest, AFailingModelIsTold) {
    LogCapture log;
    install(ModelID::nima, "NIMA.mlmodelc", failingModel());
    install(ModelID::places365, "Places365.mlmodelc", failingModel());
    installClip();
    install(ModelID::clipVitB16, "CLIPImageEncoder.mlmodelc", failingModel());
    EXPECT_FALSE(nima.predictScore(picture(30, 20, 0, 0, 0)));
    EXPECT_FALSE(places.classifyScene(picture(30, 20, 0, 0, 0)));
    const auto vector = clip.imageEmbedding(picture(30, 20, 0, 0, 0));
    ASSERT_FALSE(vector) << "whoever asked says which photo it was";
    EXPECT_EQ(vector.error(), "out of luck");
    EXPECT_THAT(log.errors(), ElementsAre("NIMA prediction failed: out of luck",
                                          "Places365 classification failed: out of luck"));
}

TEST_F(ModelServicesTest, TheFivePlacesThatAreSureEnoughAreKept) {
    const float nan = std::numeric_limits<float>::quiet_NaN();
    installPlaces({"a", "b", "c", "d", "e", "f", "g"}, {0.06F, 0.3F, 0.05F, nan, 0.07F, 0.08F, 0.055F});
    EXPECT_THAT(*places.classifyScene(picture(30, 20, 0, 0, 0)),
                ElementsAre(Pair("a", 0.06F), Pair("b", 0.3F), Pair("e", 0.07F), Pair("f", 0.08F),
                            Pair("g", 0.055F)));
    installPlaces({"a", "b"}, {0.04F, 0.9F, 0.1F});
    places.reload();
    LogCapture log;
    EXPECT_FALSE(places.classifyScene(picture(30, 20, 0, 0, 0)));
    EXPECT_TRUE(log.contains("Places365 classification failed: "));
}

TEST_F(ModelServicesTest, PicturesAndSentencesBecomeUnitVectors) {
    installClip();
    // Only the middle of a wide picture is seen.
    Bitmap wide = solidBitmap(60, 20, 255, 0, 0);
    for (int y = 0; y < 20; ++y) {
        for (int x = 18; x < 42; ++x) wide.pixels[(y * 60 + x) * 3 + 0] = 0;
        for (int x = 18; x < 42; ++x) wide.pixels[(y * 60 + x) * 3 + 1] = 200;
    }
    const auto vector = clip.imageEmbedding(std::make_shared<const Bitmap>(wide));
    ASSERT_TRUE(vector && *vector);
    EXPECT_NEAR((**vector)[1], 1, 1e-6);
    const auto grey = clip.imageEmbedding(std::make_shared<const Bitmap>(Bitmap{4, 4, 1, Bytes(16, 80)}));
    ASSERT_TRUE(grey && *grey);
    EXPECT_NEAR((**grey)[2], 0.57735, 1e-4);
    EXPECT_EQ(*clip.imageEmbedding(picture(30, 20, 0, 0, 0)), std::nullopt) << "all zeros are no vector";

    const auto text = clip.textEmbedding("abc");
    ASSERT_TRUE(text && *text);
    EXPECT_NEAR((**text)[3], 0.894427, 1e-5);
    ASSERT_TRUE(*clip.textEmbedding(""));

    LogCapture log;
    EXPECT_EQ(*clip.imageEmbedding(Path("/nowhere/9.jpg"), RotationAngle::none), std::nullopt);
    EXPECT_TRUE(log.contains("Could not load thumbnail for 9.jpg"));
    switchedOff.insert(ModelID::clipVitB16);
    EXPECT_EQ(*clip.textEmbedding("abc"), std::nullopt);
    EXPECT_EQ(*clip.imageEmbedding(picture(3, 2, 9, 9, 9)), std::nullopt);
    EXPECT_FALSE(clip.isEnabled());
}

TEST_F(ModelServicesTest, TheVocabularyMayLieBesideTheEncoders) {
    installClip();
    const Path own = tools.folder(ModelID::clipVitB16) / CLIPTokenizer::fileName;
    machine.files.addFile(machine.places.resources / CLIPTokenizer::fileName, R"({"encoder": 3})");
    LogCapture log;
    EXPECT_FALSE(clip.load());
    EXPECT_TRUE(log.contains("CLIPTokenizer failed to initialize (clip_tokenizer.json missing?)"));
    EXPECT_EQ(*clip.textEmbedding("abc"), std::nullopt);
    EXPECT_TRUE(*clip.imageEmbedding(picture(3, 2, 9, 9, 9))) << "pictures need no words";
    machine.files.addFile(own, testing::lettersVocabulary());
    clip.reload();
    EXPECT_TRUE(clip.load());
    EXPECT_TRUE(*clip.textEmbedding("abc"));
}

TEST_F(ModelServicesTest, PromptsAreEncodedOnceForEachLoadAndAgainWhileSomeFail) {
    installClip();
    EXPECT_EQ(clip.ensurePromptEmbeddings().size(), 25U);
    clip.classifyStyles(sparse({{0, 1.0F}}));
    EXPECT_EQ(textRuns, 25);
    clip.reload();
    clip.ensurePromptEmbeddings();
    EXPECT_EQ(textRuns, 50);

    // "motion blur" alone has ten letters: its encoding fails for now.
    bool isBroken = true;
    install(ModelID::clipVitB16, "CLIPTextEncoder.mlmodelc",
            FakeModel::ofTokens(77, [&](const std::vector<std::int32_t>& tokens) {
                return isBroken && tokens[11] == CLIPTokenizer::endOfText ? std::vector<float>(512, 0)
                                                                          : sparse({{3, 1.0F}});
            }));
    clip.reload();
    LogCapture log;
    EXPECT_EQ(clip.ensurePromptEmbeddings().size(), 24U);
    EXPECT_TRUE(log.contains("Only encoded 24/25 zero-shot prompts"));
    isBroken = false;
    EXPECT_EQ(clip.ensurePromptEmbeddings().size(), 25U);
}

TEST_F(ModelServicesTest, PromptsOfAModelThatWasDroppedMeanwhileAreNotKept) {
    installClip();
    bool isFirst = true;
    install(ModelID::clipVitB16, "CLIPTextEncoder.mlmodelc",
            FakeModel::ofTokens(77, [&](const std::vector<std::int32_t>&) {
                if (std::exchange(isFirst, false)) {
                    installTextEncoder();
                    clip.reload();
                }
                return sparse({{7, 1.0F}});
            }));
    clip.ensurePromptEmbeddings();
    const auto prompts = clip.ensurePromptEmbeddings();
    ASSERT_EQ(prompts.size(), 25U);
    EXPECT_GT(textRuns, 24);
    EXPECT_NE(prompts[0].embedding, sparse({{7, 1.0F}}));
}

// --- Faces

FaceObservation faceAt(double x, double y, double side) {
    return {.box = {x, y, side, side}, .confidence = 1, .landmarks = {}};
}

TEST_F(ModelServicesTest, EachFaceGetsAVectorOrTheReasonForNone) {
    installFaceNet();
    const float nan = std::numeric_limits<float>::quiet_NaN();
    FaceObservation aligned = faceAt(0.5, 0.5, 0.2);
    aligned.landmarks = {{{520, 600}}, {{580, 600}}, {{550, 570}}, {{530, 540}, {570, 540}}};
    vision->faces = [&](const Image&) {
        return std::vector<FaceObservation>{
            aligned,           faceAt(0.1, 0.1, 0.048), faceAt(0.1, 0.1, 0.0479), faceAt(0.3, nan, 0.1),
            faceAt(2, 2, 0.5), faceAt(0.2, 0.2, 0)};
    };
    LogCapture log;
    const auto regions = faces.detectAndEmbed(picture(1000, 1000, 10, 20, 30));
    ASSERT_TRUE(regions);
    ASSERT_EQ(regions->size(), 3U) << "what lies outside is left out";
    EXPECT_TRUE(hasUsableEmbedding((*regions)[0]));
    EXPECT_TRUE(hasUsableEmbedding((*regions)[1]));
    EXPECT_EQ((*regions)[1].tooSmallToMatch, false);
    EXPECT_EQ((*regions)[2].tooSmallToMatch, true);
    EXPECT_THAT((*regions)[2].embedding, IsEmpty());
    EXPECT_FALSE(needsEmbeddings(*regions));
    EXPECT_TRUE(log.contains("Detected 3 faces with embeddings"));
    EXPECT_EQ(std::ranges::count(log.messages(), "Falling back to naive crop for face"), 1);
}

TEST_F(ModelServicesTest, FacesWithoutAVectorAreTriedAgainLater) {
    vision->faces = always<FaceObservation>({faceAt(0.1, 0.1, 0.5)});
    LogCapture log;
    install(ModelID::faceNet, "MobileFaceNet.mlmodelc",
            FakeModel::ofPicture(112, [](const Bitmap&) { return std::vector<float>(128, 1); }));
    const auto regions = faces.detectAndEmbed(picture(200, 200, 10, 20, 30));
    ASSERT_TRUE(regions);
    EXPECT_TRUE(needsEmbeddings(*regions));
    EXPECT_TRUE(log.contains("Unexpected embedding dimension: 128 (expected 512)"));

    vision->faces = failing<FaceObservation>();
    EXPECT_THAT(*faces.detectAndEmbed(picture(200, 200, 10, 20, 30)), IsEmpty());
    EXPECT_TRUE(log.contains("Face detection failed: failed"));

    std::latch release(1);
    vision->faces = [&](const Image&) {
        release.wait();
        return std::vector<FaceObservation>();
    };
    waits.expireNext(1);
    EXPECT_THAT(*faces.detectAndEmbed(picture(200, 200, 10, 20, 30)), IsEmpty());
    EXPECT_TRUE(log.contains("Face detection timed out"));
    release.count_down();
    waits.join();
    EXPECT_FALSE(faces.detectAndEmbed(Path("/nowhere.jpg"), 4000, RotationAngle::none));
}

TEST_F(ModelServicesTest, FacesAreCountedWithoutTheModel) {
    machine.files.addFile(Path("/scan.jpg"), "scan");
    machine.images.setPicture(Path("/scan.jpg"), solidBitmap(1000, 500, 1, 2, 3));
    vision->faces = always<FaceObservation>({faceAt(0.1, 0.1, 0.096), faceAt(0.3, 0.3, 0.095)});
    const auto regions = faces.detectOnly(Path("/scan.jpg"), 4000, RotationAngle::none);
    ASSERT_TRUE(regions);
    ASSERT_EQ(regions->size(), 2U);
    EXPECT_EQ((*regions)[0].tooSmallToMatch, false);
    EXPECT_EQ((*regions)[1].tooSmallToMatch, true);
    EXPECT_FALSE(faces.detectOnly(Path("/nowhere.jpg"), 4000, RotationAngle::none));
}

TEST_F(ModelServicesTest, ACrowdOfFacesIsTakenWhole) {
    installFaceNet();
    std::vector<FaceObservation> crowd;
    for (int i = 0; i < 5000; ++i)
        crowd.push_back(faceAt(i % 100 / 100.0, i / 100 / 50.0, i % 10 == 0 ? 0.05 : 0.01));
    vision->faces = always<FaceObservation>(crowd);
    const auto regions = faces.detectAndEmbed(picture(1000, 1000, 10, 20, 30));
    ASSERT_TRUE(regions);
    EXPECT_EQ(regions->size(), 5000U);
    EXPECT_FALSE(needsEmbeddings(*regions));
}

}  // namespace
}  // namespace kelvaris

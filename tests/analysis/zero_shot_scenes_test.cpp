#include "analysis/zero_shot_scenes.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cmath>
#include <future>
#include <limits>
#include <map>
#include <set>
#include <thread>

#include "analysis/scene_labels.h"
#include "analysis/scene_prompts.h"
#include "platform_fake/fake_vision.h"

namespace kelvaris {
namespace {

using ::testing::Each;
using ::testing::ElementsAre;
using ::testing::FloatNear;
using ::testing::IsEmpty;
using ::testing::Lt;
using ::testing::SizeIs;

/// A vector of length 1 whose cosine with (1, 0) is the given one.
std::vector<float> at(float cosine) { return {cosine, std::sqrt(1 - cosine * cosine)}; }

const std::vector<float> picture = {1, 0};

std::vector<ZeroShotText> alike(std::size_t count, float cosine, bool inOneFamily) {
    std::vector<ZeroShotText> texts;
    for (std::size_t index = 0; index < count; ++index) {
        texts.push_back({at(cosine), inOneFamily ? 0 : index});
    }
    return texts;
}

TEST(ZeroShotScoresTest, TextsThatFitAlikeShareAndSynonymsDoNot) {
    EXPECT_THAT(zeroShotScores(picture, alike(8, 0.25F, false), {}), Each(FloatNear(0.125F, 1e-4F)));
    EXPECT_THAT(zeroShotScores(picture, alike(8, 0.25F, true), {}), Each(FloatNear(1, 1e-4F)));
    // A crowded family leaves no less to another one than a single word does.
    std::vector<ZeroShotText> crowd = alike(6, 0.25F, true);
    crowd.push_back({at(0.25F), 1});
    EXPECT_THAT(zeroShotScores(picture, crowd, {}), Each(FloatNear(0.5F, 1e-4F)));
}

TEST(ZeroShotScoresTest, ThresholdsLieWhereTheDocumentationPutsThem) {
    const auto behind = [](float distance) {
        const std::vector<ZeroShotText> texts = {{at(0.3F), 0}, {at(0.3F - distance), 1}};
        return zeroShotScores(picture, texts, {})[1];
    };
    EXPECT_NEAR(behind(0.0199F), 0.12, 0.002);
    EXPECT_NEAR(behind(0.0318F), 0.04, 0.001);
    // Within a family the weaker word follows the stronger one by its own distance alone.
    const std::vector<ZeroShotText> family = {{at(0.3F), 0}, {at(0.289F), 0}, {at(0.3F), 1}};
    EXPECT_THAT(zeroShotScores(picture, family, {}),
                ElementsAre(FloatNear(0.5F, 1e-3F), FloatNear(0.1664F, 1e-3F), FloatNear(0.5F, 1e-3F)));
}

TEST(ZeroShotScoresTest, WhenTheBackgroundFitsBetterNothingIsEvenSuspected) {
    const std::vector<std::vector<float>> background = {at(0.1F), at(0.29F)};
    EXPECT_THAT(zeroShotScores(picture, alike(3, 0.25F, false), background), Each(Lt(0.04F)));
    EXPECT_THAT(zeroShotScores(picture, {}, background), IsEmpty());
}

TEST(ZeroShotScoresTest, VectorsThatDoNotCompareCountAsUnrelated) {
    constexpr float nothing = std::numeric_limits<float>::quiet_NaN();
    const std::vector<ZeroShotText> texts = {{at(0.3F), 0}, {{1, 0, 0}, 1}, {{nothing, 0}, 2}, {{}, 3}};
    EXPECT_THAT(zeroShotScores(picture, texts, {}),
                ElementsAre(FloatNear(1, 1e-4F), Lt(1e-4F), Lt(1e-4F), Lt(1e-4F)));
    // A clear match in the other direction does not overflow either.
    EXPECT_THAT(zeroShotScores(picture, std::vector<ZeroShotText>{{{1, 0}, 0}, {{-1, 0}, 1}}, {}),
                ElementsAre(1, Lt(1e-20F)));
}

TEST(ScenePromptsTest, EveryWordHasASentenceOfItsOwnAndItsFamilyOneLabel) {
    ASSERT_THAT(scenePrompts(), SizeIs(classificationMapping.size() + personWords.size()));
    std::set<std::string> sentences(backgroundSentences().begin(), backgroundSentences().end());
    std::map<std::size_t, std::optional<PhotoLabel>> labels;
    for (const ScenePrompt& prompt : scenePrompts()) {
        EXPECT_TRUE(sentences.insert(prompt.sentence).second) << prompt.sentence;
        const auto label = labelOfScene(prompt.word);
        EXPECT_EQ(labels.try_emplace(prompt.family, label).first->second, label) << prompt.word;
    }
    // The even share that the thresholds are measured against.
    EXPECT_NEAR(1.0 / static_cast<double>(labels.size() + backgroundSentences().size()), 0.006, 0.0005);
}

/// A space with an axis for each sentence, in which a picture lies near the sentences that are given.
class SceneVisionTest : public ::testing::Test {
protected:
    SceneVisionTest() {
        for (const ScenePrompt& prompt : scenePrompts()) axis_.emplace(prompt.sentence, axis_.size());
        for (const std::string_view sentence : backgroundSentences()) axis_.emplace(sentence, axis_.size());
    }
    std::vector<float> near(const std::map<std::string, float>& cosines) const {
        std::vector<float> vector(axis_.size() + 1);
        float squares = 0;
        for (const auto& [sentence, cosine] : cosines) {
            vector[axis_.at(sentence)] = cosine;
            squares += cosine * cosine;
        }
        vector.back() = std::sqrt(1 - squares);
        return vector;
    }

    const Image image_ = std::make_shared<Bitmap>(Bitmap{1, 1, 3, {0, 0, 0}});
    std::map<std::string, std::size_t> axis_;
    std::optional<std::vector<float>> pictureVector_;
    std::function<bool()> textWorks_ = [] { return true; };
    std::atomic<int> textCount_ = 0;
    std::shared_ptr<FakeVision> inner_ = std::make_shared<FakeVision>();
    SceneVision vision_{inner_, [this](const Image&) { return pictureVector_; },
                        [this](std::string_view sentence) -> std::optional<std::vector<float>> {
                            ++textCount_;
                            if (!textWorks_()) return std::nullopt;
                            return near({{std::string(sentence), 1}});
                        }};
    const int textsOfAVocabulary_ = static_cast<int>(scenePrompts().size() + backgroundSentences().size());
};

TEST_F(SceneVisionTest, APictureGetsTheLabelsOfTheWordsThatItLiesNear) {
    pictureVector_ = near({{"a photo of a dog", 0.28F},
                           {"a photo of the ocean", 0.27F},
                           {"a photo of the sea", 0.27F},
                           {"a photo of a woman", 0.27F},
                           {"a photo of a castle", 0.2F}});
    const auto scenes = vision_.classifyScene(image_);
    ASSERT_TRUE(scenes);
    EXPECT_EQ(scenes->front().identifier, "dog");
    EXPECT_TRUE(std::ranges::is_sorted(*scenes, std::greater(), &SceneObservation::confidence));
    const SceneReading reading = readScene(*scenes, {}, 0.12F);
    EXPECT_EQ(reading.labels, (PhotoLabelSet{PhotoLabel::animal, PhotoLabel::water, PhotoLabel::person}));
    EXPECT_THAT(reading.tags, SizeIs(4));

    pictureVector_ = near({{"a photo of a dog", 0.2F}, {"a photo of a plain surface", 0.25F}});
    EXPECT_THAT(readScene(*vision_.classifyScene(image_), {}, 0.12F).tags, IsEmpty());
    EXPECT_EQ(textCount_, textsOfAVocabulary_);
}

TEST_F(SceneVisionTest, AnInnerClassifierHasTheWordAndItsErrorsStand) {
    pictureVector_ = near({{"a photo of a dog", 0.3F}});
    inner_->scenes = always<SceneObservation>({{"cat", 0.9F}});
    EXPECT_EQ(vision_.classifyScene(image_)->front().identifier, "cat");
    EXPECT_EQ(vision_.classifyScene(image_)->size(), 1U);
    EXPECT_TRUE(vision_.prepareScenes());
    inner_->scenes = failing<SceneObservation>();
    EXPECT_FALSE(vision_.classifyScene(image_));
    EXPECT_EQ(textCount_, 0);
}

TEST_F(SceneVisionTest, WithoutTheModelThereIsNothingAndNothingIsKept) {
    EXPECT_THAT(*vision_.classifyScene(image_), IsEmpty());
    EXPECT_EQ(textCount_, 0) << "a picture without a vector needs no texts";
    pictureVector_ = near({{"a photo of a dog", 0.3F}});
    textWorks_ = [this] { return textCount_ < 5; };
    EXPECT_THAT(*vision_.classifyScene(image_), IsEmpty());
    EXPECT_EQ(textCount_, 5);
    textWorks_ = [] { return true; };
    EXPECT_TRUE(vision_.prepareScenes());
    EXPECT_EQ(vision_.classifyScene(image_)->front().identifier, "dog");
    EXPECT_EQ(textCount_, 5 + textsOfAVocabulary_);
}

TEST_F(SceneVisionTest, ChangingTheModelDropsTheTextsEvenThoseInTheMaking) {
    pictureVector_ = near({{"a photo of a dog", 0.3F}});
    textWorks_ = [this] {
        if (textCount_ == 7) vision_.reset();
        return true;
    };
    EXPECT_THAT(*vision_.classifyScene(image_), IsEmpty());
    EXPECT_EQ(textCount_, 7);
    EXPECT_EQ(vision_.classifyScene(image_)->front().identifier, "dog");
    EXPECT_EQ(textCount_, 7 + textsOfAVocabulary_);
    vision_.reset();
    EXPECT_TRUE(vision_.prepareScenes());
    EXPECT_EQ(textCount_, 7 + 2 * textsOfAVocabulary_);
}

TEST_F(SceneVisionTest, PicturesThatComeTogetherMakeTheTextsTogether) {
    pictureVector_ = near({{"a photo of a dog", 0.3F}});
    std::promise<void> another;
    textWorks_ = [&, calls = std::make_shared<std::atomic<int>>()] {
        const int call = ++*calls;
        if (call == 2) another.set_value();
        // The first text waits for a second one, which another thread must take.
        return call != 1 ||
               another.get_future().wait_for(std::chrono::seconds(20)) == std::future_status::ready;
    };
    std::thread other([this] { EXPECT_EQ(vision_.classifyScene(image_)->front().identifier, "dog"); });
    EXPECT_EQ(vision_.classifyScene(image_)->front().identifier, "dog");
    other.join();
    EXPECT_EQ(textCount_, textsOfAVocabulary_);
}

TEST_F(SceneVisionTest, NothingIsCalledOnceItIsClosed) {
    pictureVector_ = near({{"a photo of a dog", 0.3F}});
    std::promise<void> begun;
    std::promise<void> mayGoOn;
    textWorks_ = [&] {
        if (textCount_ == 3) {
            begun.set_value();
            mayGoOn.get_future().wait();
        }
        return true;
    };
    std::thread abandoned([this] { vision_.prepareScenes(); });
    begun.get_future().wait();
    int countAtClosing = 0;
    std::thread closing([&] {
        vision_.close();
        countAtClosing = textCount_;
    });
    mayGoOn.set_value();
    closing.join();
    abandoned.join();
    EXPECT_GE(countAtClosing, 3);
    EXPECT_EQ(textCount_, countAtClosing);
    vision_.reset();
    EXPECT_THAT(*vision_.classifyScene(image_), IsEmpty());
    EXPECT_EQ(textCount_, countAtClosing);
}

}  // namespace
}  // namespace kelvaris

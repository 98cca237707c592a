#include "analysis/zero_shot_scenes.h"

#include <algorithm>
#include <cmath>
#include <map>

#include "analysis/scene_prompts.h"
#include "base/vector_math.h"

namespace kelvaris {

namespace {

constexpr double logitScale = 100;

double logit(std::span<const float> image, std::span<const float> text) {
    return logitScale * static_cast<double>(cosineSimilarity(image, text));
}

}  // namespace

std::vector<float> zeroShotScores(std::span<const float> image, std::span<const ZeroShotText> texts,
                                  std::span<const std::vector<float>> background) {
    // The largest logit is taken off before exponentiation, so that nothing overflows.
    double largest = -logitScale;
    std::vector<double> logits;
    std::map<std::size_t, double> bestOfFamily;
    for (const ZeroShotText& text : texts) {
        logits.push_back(logit(image, text.vector));
        const auto [best, isNew] = bestOfFamily.try_emplace(text.family, logits.back());
        if (!isNew) best->second = std::max(best->second, logits.back());
        largest = std::max(largest, logits.back());
    }
    std::vector<double> rivals;
    for (const std::vector<float>& each : background) {
        rivals.push_back(logit(image, each));
        largest = std::max(largest, rivals.back());
    }
    double sum = 0;
    for (const auto& [family, best] : bestOfFamily) sum += std::exp(best - largest);
    for (const double rival : rivals) sum += std::exp(rival - largest);
    std::vector<float> scores;
    for (const double each : logits) scores.push_back(static_cast<float>(std::exp(each - largest) / sum));
    return scores;
}

SceneVision::SceneVision(std::shared_ptr<Vision> inner, ImageEmbedding imageEmbedding,
                         TextEmbedding textEmbedding)
    : inner_(std::move(inner)),
      imageEmbedding_(std::move(imageEmbedding)),
      textEmbedding_(std::move(textEmbedding)) {}

VisionResult<std::vector<FaceObservation>> SceneVision::detectFaces(const Image& image, bool landmarks) {
    return inner_->detectFaces(image, landmarks);
}

VisionResult<std::vector<NormalizedBox>> SceneVision::detectHumans(const Image& image) {
    return inner_->detectHumans(image);
}

VisionResult<std::vector<NormalizedBox>> SceneVision::detectBodyPoses(const Image& image) {
    return inner_->detectBodyPoses(image);
}

VisionResult<std::vector<TextObservation>> SceneVision::recognizeText(const Image& image,
                                                                      const TextRequest& request) {
    return inner_->recognizeText(image, request);
}

VisionResult<std::vector<SceneObservation>> SceneVision::classifyScene(const Image& image) {
    auto scenes = inner_->classifyScene(image);
    if (!scenes || !scenes->empty()) return scenes;
    const Vector vector = embedded([&] { return imageEmbedding_(image); });
    if (!vector) return scenes;
    const auto texts = this->texts();
    if (texts == nullptr) return scenes;
    const std::vector<float> scores = zeroShotScores(*vector, texts->words, texts->background);
    for (std::size_t index = 0; index < scores.size(); ++index) {
        scenes->push_back({std::string(scenePrompts()[index].word), scores[index]});
    }
    std::ranges::stable_sort(*scenes, std::greater(), &SceneObservation::confidence);
    return scenes;
}

bool SceneVision::prepareScenes() { return inner_->prepareScenes() || texts() != nullptr; }

void SceneVision::reset() {
    const std::scoped_lock lock(mutex_);
    texts_ = nullptr;
    ++resets_;
}

std::shared_ptr<const SceneVision::Texts> SceneVision::texts() {
    {
        const std::scoped_lock lock(mutex_);
        if (texts_ != nullptr) return texts_;
    }
    const std::scoped_lock making(making_);
    std::size_t resetsBefore = 0;
    {
        const std::scoped_lock lock(mutex_);
        if (texts_ != nullptr) return texts_;
        resetsBefore = resets_;
    }
    auto made = madeTexts();
    const std::scoped_lock lock(mutex_);
    // Vectors of two models must not meet.
    if (resets_ != resetsBefore) return nullptr;
    texts_ = std::move(made);
    return texts_;
}

void SceneVision::close() {
    std::unique_lock lock(mutex_);
    isClosed_ = true;
    callEnded_.wait(lock, [this] { return callsUnderWay_ == 0; });
}

SceneVision::Vector SceneVision::embedded(const std::function<Vector()>& function) {
    {
        const std::scoped_lock lock(mutex_);
        if (isClosed_) return std::nullopt;
        ++callsUnderWay_;
    }
    Vector vector = function();
    const std::scoped_lock lock(mutex_);
    --callsUnderWay_;
    callEnded_.notify_all();
    return vector;
}

std::shared_ptr<const SceneVision::Texts> SceneVision::madeTexts() {
    auto made = std::make_shared<Texts>();
    for (const ScenePrompt& prompt : scenePrompts()) {
        Vector vector = embedded([&] { return textEmbedding_(prompt.sentence); });
        if (!vector) return nullptr;
        made->words.push_back({std::move(*vector), prompt.family});
    }
    for (const std::string_view sentence : backgroundSentences()) {
        Vector vector = embedded([&] { return textEmbedding_(sentence); });
        if (!vector) return nullptr;
        made->background.push_back(std::move(*vector));
    }
    return made;
}

}  // namespace kelvaris

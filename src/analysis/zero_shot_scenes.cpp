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
    // Vectors of two models must not meet.
    if (making_ != nullptr) making_->isGivenUp = true;
    making_ = nullptr;
    changed_.notify_all();
}

void SceneVision::close() {
    std::unique_lock lock(mutex_);
    isClosed_ = true;
    changed_.wait(lock, [this] { return callsUnderWay_ == 0; });
}

std::shared_ptr<const SceneVision::Texts> SceneVision::texts() {
    std::unique_lock lock(mutex_);
    if (texts_ != nullptr) return texts_;
    if (making_ == nullptr) {
        making_ = std::make_shared<Making>();
        making_->texts.words.resize(scenePrompts().size());
        making_->texts.background.resize(backgroundSentences().size());
    }
    const std::shared_ptr<Making> making = making_;
    takePart(*making, lock);
    if (making_ == making) {
        making_ = nullptr;
        if (!making->isGivenUp) texts_ = {making, &making->texts};
    }
    return making->isGivenUp ? nullptr : std::shared_ptr<const Texts>(making, &making->texts);
}

void SceneVision::takePart(Making& making, std::unique_lock<std::mutex>& lock) {
    const std::vector<ScenePrompt>& prompts = scenePrompts();
    const std::size_t count = prompts.size() + backgroundSentences().size();
    while (!making.isGivenUp && making.begun < count) {
        const std::size_t index = making.begun++;
        const bool isWord = index < prompts.size();
        const std::string_view sentence =
            isWord ? prompts[index].sentence : backgroundSentences()[index - prompts.size()];
        lock.unlock();
        Vector vector = embedded([&] { return textEmbedding_(sentence); });
        lock.lock();
        if (!vector) {
            making.isGivenUp = true;
        } else if (isWord) {
            making.texts.words[index] = {std::move(*vector), prompts[index].family};
        } else {
            making.texts.background[index - prompts.size()] = std::move(*vector);
        }
        ++making.done;
        changed_.notify_all();
    }
    changed_.wait(lock, [&] { return making.isGivenUp || making.done == count; });
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
    changed_.notify_all();
    return vector;
}

}  // namespace kelvaris

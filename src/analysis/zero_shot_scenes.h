#pragma once

#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <span>
#include <string_view>
#include <vector>

#include "platform/vision.h"

namespace kelvaris {

/// A text in the space that pictures share with texts.
struct ZeroShotText {
    std::vector<float> vector;  ///< of length 1
    std::size_t family = 0;     ///< texts that mean nearly the same have the same
};

/// How well each text describes a picture, 0 to 1, in the order of the texts. Pure.
///
/// A text encoder of this kind was trained so that the softmax of 100 times the cosines over all texts at
/// hand is the chance that a text belongs to the picture (Radford et al. 2021, "Learning Transferable Visual
/// Models From Natural Language Supervision": the learned logit scale is held at 100). Over a whole
/// vocabulary such a softmax starves near synonyms, which share one chance among them. So families of texts
/// compete, each with the cosine c of its best member, and with them the background, which takes up the
/// chance when nothing fits:
///
///     chance(family) = exp(100 c(family)) / (sum over families + sum over background texts)
///     score(text)    = chance(its family) * exp(100 (c(text) - c(family)))
///
/// A family's best text has the family's chance, and another one a third of it for
/// each 0.011 of cosine that it lies behind.
///
/// What the numbers mean: n texts of different families that fit alike, and better than all else, score 1/n
/// each. So 0.12 is reached by at most eight families at once ("shown": one of the few things that the
/// picture is of), 0.04 by at most 25 ("suspected": it holds its own against the rest of the vocabulary, in
/// which an even share is about 0.006). With one clear winner, 0.12 is a cosine 0.020 behind it, and 0.04
/// one 0.032 behind.
///
/// @param image of length 1; a text of another length counts as one at a right angle.
std::vector<float> zeroShotScores(std::span<const float> image, std::span<const ZeroShotText> texts,
                                  std::span<const std::vector<float>> background);

/// Sees as another one does, and classifies scenes by words where that one has no classifier. Any thread.
///
/// The text vectors, one for each word of classificationMapping and personWords and a few for the background,
/// are made at the first picture and kept. That takes as many runs of the text encoder, in which threads
/// whose pictures come meanwhile take part. Whoever cannot wait for them calls prepareScenes() before.
class SceneVision final : public Vision {
public:
    /// The vector of an upright picture; nothing when the model is off, missing or failing.
    using ImageEmbedding = std::function<std::optional<std::vector<float>>(const Image&)>;
    /// The vector of a text, likewise.
    using TextEmbedding = std::function<std::optional<std::vector<float>>(std::string_view)>;

    /// The functions are called from any thread and several at once. They give vectors of length 1 and do
    /// not throw. What they use must live until close() returns.
    SceneVision(std::shared_ptr<Vision> inner, ImageEmbedding imageEmbedding, TextEmbedding textEmbedding);

    VisionResult<std::vector<FaceObservation>> detectFaces(const Image& image, bool landmarks) override;
    VisionResult<std::vector<NormalizedBox>> detectHumans(const Image& image) override;
    VisionResult<std::vector<NormalizedBox>> detectBodyPoses(const Image& image) override;
    VisionResult<std::vector<TextObservation>> recognizeText(const Image& image,
                                                             const TextRequest& request) override;

    /// What the inner one finds or fails with. When it finds nothing: every word of the vocabulary with its
    /// zero-shot score, highest first; without a vector of the picture or of a text, nothing.
    VisionResult<std::vector<SceneObservation>> classifyScene(const Image& image) override;

    /// Makes the text vectors, when the inner one has no classifier.
    bool prepareScenes() override;

    /// Drops the text vectors, since the model was changed; those that are in the making are not kept.
    void reset();

    /// Ends the use of both functions: waits for the calls that are under way, and no other one begins. A
    /// picture whose caller gave up waiting may be classified here for long, and would otherwise use them
    /// after their end. Not from within the functions.
    void close();

private:
    using Vector = std::optional<std::vector<float>>;
    struct Texts {
        std::vector<ZeroShotText> words;  ///< in the order of scenePrompts()
        std::vector<std::vector<float>> background;
    };
    /// Text vectors in the making, by all threads that need them.
    struct Making {
        Texts texts;
        std::size_t begun = 0;
        std::size_t done = 0;
        bool isGivenUp = false;  ///< a text has no vector, or the model was changed
    };

    std::shared_ptr<const Texts> texts();
    void takePart(Making& making, std::unique_lock<std::mutex>& lock);
    /// What the function gives; nothing once closed.
    Vector embedded(const std::function<Vector()>& function);

    const std::shared_ptr<Vision> inner_;
    const ImageEmbedding imageEmbedding_;
    const TextEmbedding textEmbedding_;

    std::mutex mutex_;  ///< guards what follows
    std::condition_variable changed_;
    std::shared_ptr<const Texts> texts_;
    std::shared_ptr<Making> making_;
    std::size_t callsUnderWay_ = 0;
    bool isClosed_ = false;
};

}  // namespace kelvaris

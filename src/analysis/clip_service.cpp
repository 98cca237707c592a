#include "analysis/clip_service.h"

#include "analysis/model_output.h"
#include "base/log.h"

namespace kelvaris {
namespace {

constexpr std::string_view category = "CLIP";
constexpr std::string_view imageEncoder = "CLIPImageEncoder";
constexpr std::string_view textEncoder = "CLIPTextEncoder";
constexpr std::string_view tokenInput = "input_ids";
constexpr std::string_view textOutput = "embedding";

/// What a model that is off, missing or failing gives.
EmbeddingResult nothing() { return std::optional<std::vector<float>>(); }

}  // namespace

CLIPService::CLIPService(const ModelTools& tools, const ImageLoading& loading, const Language& language,
                         const Characters& characters, Path resources)
    : tools_(tools),
      loading_(loading),
      language_(language),
      characters_(characters),
      resources_(std::move(resources)) {}

bool CLIPService::isEnabled() {
    return tools_.isEnabled(ModelID::clipVitB16) && tools_.isInstalled(ModelID::clipVitB16);
}

bool CLIPService::load() {
    const Loaded loaded = models();
    return loaded.image && loaded.text && loaded.tokenizer;
}

void CLIPService::loadModelsIfNeeded() { models(); }

CLIPService::Loaded CLIPService::models() {
    const std::scoped_lock lock(modelLock_);
    if (loaded_) return models_;
    loaded_ = true;
    if (!tools_.isInstalled(ModelID::clipVitB16)) {
        log::info(category, "CLIP models not downloaded");
        return models_;
    }
    models_ = {loadEncoder(imageEncoder), loadEncoder(textEncoder), loadTokenizer()};
    return models_;
}

CLIPService::Model CLIPService::loadEncoder(std::string_view name) const {
    auto model = tools_.runtime.load(tools_.folder(ModelID::clipVitB16) / (std::string(name) + ".mlmodelc"));
    if (!model) {
        log::error(category, "{} failed to load: {}", name, model.error().message);
        return nullptr;
    }
    log::info(category, "{} loaded successfully", name);
    return *model;
}

CLIPService::Tokenizer CLIPService::loadTokenizer() const {
    for (const Path& folder : {resources_, tools_.folder(ModelID::clipVitB16)}) {
        const Path file = folder / CLIPTokenizer::fileName;
        if (!tools_.files.exists(file)) continue;
        if (Tokenizer tokenizer = CLIPTokenizer::load(tools_.files, file, language_, characters_)) {
            return tokenizer;
        }
    }
    log::error(category, "CLIPTokenizer failed to initialize (clip_tokenizer.json missing?)");
    return nullptr;
}

void CLIPService::reload() {
    {
        const std::scoped_lock lock(modelLock_);
        loaded_ = false;
        models_ = {};
    }
    const std::scoped_lock lock(promptLock_);
    ++promptGeneration_;
    prompts_ = nullptr;
}

EmbeddingResult CLIPService::imageEmbedding(const Path& file, RotationAngle rotation) {
    if (!tools_.isEnabled(ModelID::clipVitB16) || !models().image) return nothing();
    const Image image = loading_.coordinatedThumbnail(file, wholePicturePixels, false, rotation);
    if (!image) {
        log::error(category, "Could not load thumbnail for {}", file.filename());
        return nothing();
    }
    return imageEmbedding(image);
}

EmbeddingResult CLIPService::imageEmbedding(const Image& image) {
    if (!tools_.isEnabled(ModelID::clipVitB16)) return nothing();
    const Model model = models().image;
    if (!model) return nothing();
    const auto outputs = runLimited(tools_.waits, model, image, PictureFit::centerCrop, wholePicturePixels);
    if (!outputs) {
        log::error(category, "CLIP image embedding timed out");
        return nothing();
    }
    if (!*outputs) return Unexpected(outputs->error().message);
    return normalizedEmbedding(std::span<const OutputTensor>(**outputs), clipEmbeddingDimension);
}

EmbeddingResult CLIPService::textEmbedding(std::string_view text) {
    if (!tools_.isEnabled(ModelID::clipVitB16)) return nothing();
    const Loaded loaded = models();
    if (!loaded.text || !loaded.tokenizer) return nothing();
    const CLIPTokenizer::Tokens tokens = loaded.tokenizer->tokenize(text);
    const std::vector<ModelInput> values = {
        {std::string(tokenInput), std::vector<std::int32_t>(tokens.begin(), tokens.end())}};
    const auto outputs = loaded.text->run(values);
    if (!outputs) return Unexpected(outputs.error().message);
    const OutputTensor* output = outputNamed(*outputs, textOutput);
    if (output == nullptr) return nothing();
    return normalizedEmbedding(std::span<const float>(output->values), clipEmbeddingDimension);
}

CLIPService::Prompts CLIPService::prompts() {
    std::uint64_t generation = 0;
    {
        const std::scoped_lock lock(promptLock_);
        if (prompts_) return prompts_;
        generation = promptGeneration_;
    }
    auto encoded = std::make_shared<std::vector<PromptEmbedding>>();
    for (const std::string_view prompt : stylePrompts) {
        auto vector = textEmbedding(prompt);
        if (vector && *vector) encoded->push_back({std::string(prompt), std::move(**vector)});
    }
    if (encoded->size() < stylePrompts.size()) {
        log::error(category, "Only encoded {}/{} zero-shot prompts", encoded->size(), stylePrompts.size());
        return encoded;
    }
    const std::scoped_lock lock(promptLock_);
    // The vectors of a model that was dropped meanwhile serve this caller alone.
    if (generation == promptGeneration_) prompts_ = encoded;
    return encoded;
}

std::vector<PromptEmbedding> CLIPService::ensurePromptEmbeddings() { return *prompts(); }

std::vector<StyleMatch> CLIPService::classifyStyles(std::span<const float> imageEmbedding) {
    return matchStyles(imageEmbedding, *prompts());
}

}  // namespace kelvaris

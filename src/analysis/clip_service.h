#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <span>
#include <vector>

#include "analysis/clip_tokenizer.h"
#include "analysis/embedding_ports.h"
#include "analysis/picture_model.h"
#include "analysis/style_labels.h"
#include "images/image_loading.h"

namespace kelvaris {

/// The two encoders of the model "clip-vit-b16-dfn": pictures and sentences as unit vectors of one space,
/// and the style labels of a picture. Any thread but the main one; a call blocks. No lock is held while
/// a network runs.
class CLIPService final : public TextEmbedder, public ImageEmbedder {
public:
    /// @param resources folder of what ships with the program, in which the vocabulary is looked for
    ///        first; then it is looked for beside the encoders.
    CLIPService(const ModelTools& tools, const ImageLoading& loading, const Language& language,
                const Characters& characters, Path resources);

    bool isEnabled() override;
    /// @return whether both encoders and the tokenizer are there.
    bool load() override;
    /// Loads what is there, once.
    void loadModelsIfNeeded();
    /// Drops models and prompt vectors; the next use loads them anew.
    void reload();

    /// Decodes the file first.
    EmbeddingResult imageEmbedding(const Path& file, RotationAngle rotation) override;
    /// @param image upright, of any size; its middle is encoded.
    EmbeddingResult imageEmbedding(const Image& image);
    EmbeddingResult textEmbedding(std::string_view text) override;

    std::vector<StyleMatch> classifyStyles(std::span<const float> imageEmbedding);
    /// The vectors of the style prompts, computed once after each load. Those whose encoding failed are
    /// missing, and are tried again at the next call.
    std::vector<PromptEmbedding> ensurePromptEmbeddings();

private:
    using Model = std::shared_ptr<const InferenceModel>;
    using Tokenizer = std::shared_ptr<const CLIPTokenizer>;
    using Prompts = std::shared_ptr<const std::vector<PromptEmbedding>>;

    struct Loaded {
        Model image;
        Model text;
        Tokenizer tokenizer;
    };
    Loaded models();
    Model loadEncoder(std::string_view name) const;
    Tokenizer loadTokenizer() const;
    Prompts prompts();

    const ModelTools tools_;
    const ImageLoading& loading_;
    const Language& language_;
    const Characters& characters_;
    const Path resources_;

    std::mutex modelLock_;
    bool loaded_ = false;
    Loaded models_;

    std::mutex promptLock_;
    std::uint64_t promptGeneration_ = 0;  ///< raised by every reload
    Prompts prompts_;
};

}  // namespace kelvaris

#pragma once

#include <functional>
#include <map>
#include <mutex>

#include "platform/inference.h"

namespace kelvaris {

/// A model whose answers a test gives. Checks what it is handed as the real ones do.
class FakeModel final : public InferenceModel {
public:
    using Answer = std::function<InferenceResult<std::vector<OutputTensor>>(std::span<const ModelInput>)>;

    FakeModel(std::vector<ValueDeclaration> inputs, Answer answer, ModelMetadata metadata = {},
              std::vector<std::string> labels = {});

    /// Takes a square picture as "image" and gives one output, "output".
    static std::shared_ptr<FakeModel> ofPicture(int side,
                                                std::function<std::vector<float>(const Bitmap&)> answer,
                                                ModelMetadata metadata = {},
                                                std::vector<std::string> labels = {});
    /// Takes `count` whole numbers as "input_ids" and gives one output, "embedding".
    static std::shared_ptr<FakeModel> ofTokens(
        int count, std::function<std::vector<float>(const std::vector<std::int32_t>&)> answer);

    const std::vector<ValueDeclaration>& inputs() const override { return inputs_; }
    const std::vector<ValueDeclaration>& outputs() const override { return outputs_; }
    const ModelMetadata& metadata() const override { return metadata_; }
    const std::vector<std::string>& labels() const override { return labels_; }
    InferenceResult<std::vector<OutputTensor>> run(
        std::span<const ModelInput> values,
        std::chrono::nanoseconds limit = inferenceRunLimit) const override;

private:
    std::vector<ValueDeclaration> inputs_;
    std::vector<ValueDeclaration> outputs_;
    Answer answer_;
    ModelMetadata metadata_;
    std::vector<std::string> labels_;
};

/// Models that a test installed under the path of their folder. Any thread.
class FakeInferenceRuntime final : public InferenceRuntime {
public:
    void install(const Path& folder, std::shared_ptr<const InferenceModel> model);
    /// The folder is there, and loading it fails with this.
    void installDamaged(const Path& folder, InferenceError error);
    void remove(const Path& folder);

    InferenceResult<std::shared_ptr<const InferenceModel>> load(const Path& folder) override;
    InferenceResult<ModelMetadata> readMetadata(const Path& folder) override;

    /// How many times a model was loaded from the folder.
    int loadCount(const Path& folder) const;

private:
    struct Installed {
        std::shared_ptr<const InferenceModel> model;
        InferenceError error;
        int loads = 0;
    };
    mutable std::mutex mutex_;
    std::map<Path, Installed> installed_;
};

}  // namespace kelvaris

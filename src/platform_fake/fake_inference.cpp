#include "platform_fake/fake_inference.h"

#include <algorithm>

namespace kelvaris {

FakeModel::FakeModel(std::vector<ValueDeclaration> inputs, Answer answer, ModelMetadata metadata,
                     std::vector<std::string> labels)
    : inputs_(std::move(inputs)),
      answer_(std::move(answer)),
      metadata_(std::move(metadata)),
      labels_(std::move(labels)) {}

std::shared_ptr<FakeModel> FakeModel::ofPicture(int side,
                                                std::function<std::vector<float>(const Bitmap&)> answer,
                                                ModelMetadata metadata, std::vector<std::string> labels) {
    const auto run = [answer = std::move(answer)](std::span<const ModelInput> values) {
        const auto numbers = answer(*std::get<Image>(values.front().value));
        const auto count = static_cast<std::int64_t>(numbers.size());
        return InferenceResult<std::vector<OutputTensor>>({OutputTensor{"output", {1, count}, numbers}});
    };
    return std::make_shared<FakeModel>(
        std::vector{ValueDeclaration{"image", ElementType::float32, {1, 3, side, side}}}, run,
        std::move(metadata), std::move(labels));
}

std::shared_ptr<FakeModel> FakeModel::ofTokens(
    int count, std::function<std::vector<float>(const std::vector<std::int32_t>&)> answer) {
    const auto run = [answer = std::move(answer)](std::span<const ModelInput> values) {
        const auto numbers = answer(std::get<std::vector<std::int32_t>>(values.front().value));
        const auto size = static_cast<std::int64_t>(numbers.size());
        return InferenceResult<std::vector<OutputTensor>>({OutputTensor{"embedding", {1, size}, numbers}});
    };
    return std::make_shared<FakeModel>(
        std::vector{ValueDeclaration{"input_ids", ElementType::int32, {1, count}}}, run);
}

InferenceResult<std::vector<OutputTensor>> FakeModel::run(std::span<const ModelInput> values,
                                                          std::chrono::nanoseconds) const {
    const auto wrong = [](std::string message) {
        return Unexpected(InferenceError{InferenceError::Code::wrongInput, std::move(message)});
    };
    if (values.size() != inputs_.size()) return wrong("another number of inputs");
    for (const ModelInput& value : values) {
        const auto input = std::find_if(inputs_.begin(), inputs_.end(),
                                        [&](const auto& each) { return each.name == value.name; });
        if (input == inputs_.end()) return wrong("no input " + value.name);
        if (const auto* picture = std::get_if<Image>(&value.value)) {
            const auto wanted = imageInput(*this);
            if (!wanted || *picture == nullptr || (*picture)->channels != 3 ||
                (wanted->width > 0 && (*picture)->width != wanted->width) ||
                (wanted->height > 0 && (*picture)->height != wanted->height)) {
                return wrong("a picture of another size or kind for " + value.name);
            }
        } else {
            const auto& numbers = std::get<std::vector<std::int32_t>>(value.value);
            const bool whole = input->type == ElementType::int32 || input->type == ElementType::int64;
            if (!whole || static_cast<std::int64_t>(numbers.size()) != input->shape.back()) {
                return wrong("other numbers than " + value.name + " takes");
            }
        }
    }
    return answer_(values);
}

void FakeInferenceRuntime::install(const Path& folder, std::shared_ptr<const InferenceModel> model) {
    const std::scoped_lock lock(mutex_);
    installed_[folder].model = std::move(model);
}

void FakeInferenceRuntime::installDamaged(const Path& folder, InferenceError error) {
    const std::scoped_lock lock(mutex_);
    installed_[folder] = {.model = nullptr, .error = std::move(error)};
}

void FakeInferenceRuntime::remove(const Path& folder) {
    const std::scoped_lock lock(mutex_);
    installed_.erase(folder);
}

InferenceResult<std::shared_ptr<const InferenceModel>> FakeInferenceRuntime::load(const Path& folder) {
    const std::scoped_lock lock(mutex_);
    const auto found = installed_.find(folder);
    if (found == installed_.end()) {
        return Unexpected(InferenceError{InferenceError::Code::notAModel, "No such file or directory"});
    }
    ++found->second.loads;
    if (found->second.model == nullptr) return Unexpected(found->second.error);
    return found->second.model;
}

InferenceResult<ModelMetadata> FakeInferenceRuntime::readMetadata(const Path& folder) {
    const std::scoped_lock lock(mutex_);
    const auto found = installed_.find(folder);
    if (found == installed_.end()) {
        return Unexpected(InferenceError{InferenceError::Code::notAModel, "No such file or directory"});
    }
    if (found->second.model == nullptr) return Unexpected(found->second.error);
    return found->second.model->metadata();
}

int FakeInferenceRuntime::loadCount(const Path& folder) const {
    const std::scoped_lock lock(mutex_);
    const auto found = installed_.find(folder);
    return found == installed_.end() ? 0 : found->second.loads;
}

}  // namespace kelvaris

#pragma once

#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "platform/files.h"
#include "platform/inference.h"

namespace kelvaris {

/// Where the shared library of the inference runtime is looked for, in this order: the file that the
/// environment variable KELVARIS_ONNXRUNTIME names, `../lib` beside the program, and the system's own.
std::vector<std::string> inferenceLibraryCandidates();

/// Runs ONNX models on the processor. The runtime's shared library is loaded with the first model; a
/// machine (or a build) without it gives Code::noRuntime for each.
class OnnxInferenceRuntime final : public InferenceRuntime {
public:
    /// @param files must outlive this.
    explicit OnnxInferenceRuntime(const Files& files,
                                  std::vector<std::string> candidates = inferenceLibraryCandidates());
    ~OnnxInferenceRuntime() override;

    InferenceResult<std::shared_ptr<const InferenceModel>> load(const Path& folder) override;
    InferenceResult<ModelMetadata> readMetadata(const Path& folder) override;

    /// Why no model can load on this machine, or nothing when the runtime is there.
    std::optional<std::string> missingReason();

private:
    class Runtime;
    std::shared_ptr<Runtime> runtime();

    const Files& files_;
    const std::vector<std::string> candidates_;
    std::mutex mutex_;
    bool tried_ = false;
    std::string missing_;
    std::shared_ptr<Runtime> runtime_;
};

}  // namespace kelvaris

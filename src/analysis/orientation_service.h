#pragma once

#include <functional>
#include <memory>

#include "analysis/orientation_gate.h"
#include "base/path.h"
#include "platform/files.h"
#include "platform/images.h"
#include "platform/inference.h"
#include "vocabulary/orientation_decision.h"

namespace kelvaris {

/// Says how a frame lies, by a model of four classes. Any thread but the main one: a call blocks, for at
/// most twice the time limit of one inference. Never fails; what went wrong is the decision's reason.
class OrientationService {
public:
    /// @param modelFolder "OrientationClassifier.mlmodelc" in the model's folder.
    /// @param isEnabled whether the user wants the model used; called on any thread.
    /// The references must outlive this and every operation that was left behind.
    OrientationService(InferenceRuntime& runtime, const Files& files, Path modelFolder,
                       std::function<bool()> isEnabled, LimitedWaits& waits);

    /// @param deep look a second time, at the frame turned upside down, when the first look is unsure.
    OrientationDecision assess(const Image& image, bool deep);

    /// Drops the loaded model; the next call loads it anew.
    void reload();

private:
    struct Loader;

    const Files& files_;
    const Path modelFolder_;
    const std::function<bool()> isEnabled_;
    std::shared_ptr<Loader> loader_;
    OrientationInferenceGate gate_;
};

}  // namespace kelvaris

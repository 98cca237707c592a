#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "analysis/model_check.h"

namespace kelvaris {

/// What the program reads from a model's outputs.
enum class AnswerKind : std::uint8_t {
    vector,      ///< 512 values of the first output
    textVector,  ///< 512 values of the output "embedding"
    ratings,     ///< ten probabilities
    turns,       ///< a score for each quarter turn
    places,      ///< a probability for each label, which is a place
    scenes,      ///< likewise, a scene
    boxes,       ///< findings in the outputs "boxes" and "scores"
};

struct JudgedAnswer {
    std::vector<CheckRow> rows;  ///< without subjects
    std::vector<float> values;   ///< those that the program would use
};

/// Judges the outputs of one run. Pure.
JudgedAnswer judgedAnswer(AnswerKind kind, const InferenceModel& model,
                          std::span<const OutputTensor> outputs);

}  // namespace kelvaris

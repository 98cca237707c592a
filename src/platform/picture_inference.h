#pragma once

#include <span>

#include "platform/inference.h"

namespace kelvaris {

/// How a picture of another shape comes to fill a model's input.
enum class PictureFit {
    centerCrop,  ///< the largest part of the input's shape from the picture's middle
    stretch,     ///< the whole picture, whatever becomes of its shape
};

/// Runs a model on a picture of any size, which is scaled to the model's input. Grey becomes RGB. Any
/// thread; blocks.
/// @param freeSide width and height of a picture for a model that takes any size.
InferenceResult<std::vector<OutputTensor>> runOnPicture(const InferenceModel& model, const Image& image,
                                                        PictureFit fit, int freeSide);

/// The output of that name, or nullptr.
const OutputTensor* outputNamed(std::span<const OutputTensor> outputs, std::string_view name);

}  // namespace kelvaris

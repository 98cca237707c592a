#include "platform/picture_inference.h"

#include <algorithm>

#include "platform/bitmap_scaling.h"

namespace kelvaris {

namespace {

/// No network sees more, and a model that says so must not fill the memory.
constexpr int largestInputSide = 4096;

void makeColored(Bitmap& bitmap) {
    if (bitmap.channels != 1) return;
    std::vector<std::uint8_t> colored(bitmap.pixels.size() * 3);
    for (std::size_t index = 0; index < bitmap.pixels.size(); ++index) {
        std::fill_n(colored.begin() + static_cast<std::ptrdiff_t>(index * 3), 3, bitmap.pixels[index]);
    }
    bitmap.channels = 3;
    bitmap.pixels = std::move(colored);
}

}  // namespace

InferenceResult<std::vector<OutputTensor>> runOnPicture(const InferenceModel& model, const Image& image,
                                                        PictureFit fit, int freeSide) {
    const auto wrongInput = [](std::string_view why) {
        return Unexpected(InferenceError{InferenceError::Code::wrongInput, std::string(why)});
    };
    const auto input = imageInput(model);
    if (!input) return wrongInput("the model takes no picture");
    if (image == nullptr || image->width <= 0 || image->height <= 0) return wrongInput("there is no picture");
    const int width = input->width > 0 ? input->width : freeSide;
    const int height = input->height > 0 ? input->height : freeSide;
    if (std::max(width, height) > largestInputSide) return wrongInput("the model wants too large a picture");
    Bitmap fitted =
        fit == PictureFit::stretch ? stretched(*image, width, height) : centerCropped(*image, width, height);
    makeColored(fitted);
    const std::vector<ModelInput> values = {{input->name, std::make_shared<const Bitmap>(std::move(fitted))}};
    return model.run(values);
}

const OutputTensor* outputNamed(std::span<const OutputTensor> outputs, std::string_view name) {
    const auto found = std::ranges::find(outputs, name, &OutputTensor::name);
    return found == outputs.end() ? nullptr : &*found;
}

}  // namespace kelvaris

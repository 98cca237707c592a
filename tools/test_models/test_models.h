#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "test_models/onnx_writer.h"

namespace kelvaris::test_models {

using Metadata = std::map<std::string, std::string>;

/// Judges by light: the brightest edge of the picture is taken for the sky. Of its four outputs, for
/// the turns of 0, 90, 180 and 270 degrees clockwise that bring that edge to the top, the right one
/// gets `sharpness` times the difference in brightness (0 to 1) as a logit.
std::string orientationModel(const Metadata& metadata = {}, float sharpness = 40,
                             std::string_view input = "image", int side = 384);

/// Takes a picture of the given side and answers the same numbers whatever it shows.
std::string constantModel(const std::vector<float>& values, int side = 224,
                          std::string_view output = "scores", const Metadata& metadata = {});

struct ColorModelOptions {
    int side = 32;
    bool planesFirst = true;
    OnnxType input = OnnxType::float32;
    bool halfOutput = false;
    Metadata metadata = {};
};

/// Answers the mean of each of the three channels, as they come in.
std::string meanColorModel(const ColorModelOptions& options = {});

/// Takes a picture and answers a vector of `dimension` numbers that tells pictures apart: fixed
/// combinations of the colours of a grid of 4 by 4 fields.
std::string imageVectorModel(int side = 224, int dimension = 512, std::string_view output = "embedding",
                             const Metadata& metadata = {}, bool halfOutput = false);

/// Takes `count` tokens as "input_ids" of that type, and answers "embedding": a fixed combination of
/// the tokens for each of its `dimension` numbers.
std::string tokenVectorModel(OnnxType type = OnnxType::int32, int count = 77, int dimension = 512);

/// Goes round a loop for so long that only being stopped ends it; answers one number.
std::string endlessModel(int side = 224);

}  // namespace kelvaris::test_models

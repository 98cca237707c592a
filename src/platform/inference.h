#pragma once

#include <array>
#include <chrono>
#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "base/bytes.h"
#include "base/path.h"
#include "base/result.h"
#include "platform/images.h"

namespace kelvaris {

/// Why a model gives nothing.
struct InferenceError {
    enum class Code {
        noRuntime,   ///< this machine has no inference runtime
        notAModel,   ///< the folder is missing or holds something else
        damaged,     ///< the model does not load
        wrongInput,  ///< what was handed in does not fit the model's declaration
        terminated,  ///< the run was stopped at its limit
        failed,      ///< the run ended in an error
    };
    Code code = Code::failed;
    std::string message;
};

template <class T>
using InferenceResult = Result<T, InferenceError>;

enum class ElementType : std::uint8_t { float32, float16, float64, int32, int64, uint8, other };

/// An input or output as the model declares it.
struct ValueDeclaration {
    std::string name;
    ElementType type = ElementType::other;
    std::vector<std::int64_t> shape;  ///< a free dimension is -1
};

/// An input that takes a picture.
struct ImageInput {
    std::string name;
    int width = 0;  ///< 0 when the model takes any
    int height = 0;
};

/// One value handed to a model: a picture for an image input, whole numbers for any other.
struct ModelInput {
    std::string name;
    std::variant<Image, std::vector<std::int32_t>> value;
};

/// One output, as floats in logical order whatever type the model computes in.
struct OutputTensor {
    std::string name;
    std::vector<std::int64_t> shape;
    std::vector<float> values;
};

struct LabelledScore {
    std::string label;
    float score = 0;

    bool operator==(const LabelledScore&) const = default;
};

/// A time that no honest run takes. It lies above the ten seconds after which callers stop waiting.
inline constexpr std::chrono::seconds inferenceRunLimit{12};

/// The creator-defined keys of a model.
using ModelMetadata = std::map<std::string, std::string>;

/// How the bytes of a picture become the numbers that a network takes:
/// value = (byte / 255 - mean) / deviation, each channel with its own two. The channels are those of the
/// network, so that with `blueFirst` the first mean is that of blue.
struct PictureNormalization {
    bool isScaled = false;  ///< without, a value is its byte, 0 to 255: the network scales for itself
    bool blueFirst = false;
    std::array<double, 3> mean{0, 0, 0};
    std::array<double, 3> deviation{1, 1, 1};

    double value(std::size_t channel, std::uint8_t byte) const {
        return isScaled ? (byte / 255.0 - mean[channel]) / deviation[channel] : byte;
    }
    bool operator==(const PictureNormalization&) const = default;
};

/// Reads the normalisation from a model's creator-defined keys:
/// - `kelvaris.image.mean` and `kelvaris.image.deviation`: one number for all channels or three with commas
///   between, in shares of full scale. With one key alone the other is mean 0 or deviation 1; with
///   neither, values are bytes.
/// - `kelvaris.image.order`: "RGB", which is the default, or "BGR".
/// @return Code::damaged, with the key in its message, when a key reads otherwise, a deviation is not above
///         0, or a value would be no finite float.
InferenceResult<PictureNormalization> pictureNormalization(const ModelMetadata& metadata);

/// A loaded model. Every method may be called from several threads at once; a model that is in use
/// outlives its owner's interest, since callers hold a shared pointer.
///
/// A model takes pictures in one input of four dimensions, planes first ([1, 3, height, width]) or pixels
/// first ([1, height, width, 3]), as floats of any width or as bytes. Its PictureNormalization gives the
/// order of the channels and, for floats, the values; an input of bytes gets the bytes.
class InferenceModel {
public:
    virtual ~InferenceModel() = default;

    virtual const std::vector<ValueDeclaration>& inputs() const = 0;
    virtual const std::vector<ValueDeclaration>& outputs() const = 0;
    virtual const ModelMetadata& metadata() const = 0;
    /// The class names in output order; empty when the model has none.
    virtual const std::vector<std::string>& labels() const = 0;

    /// Blocks until the outputs are there or the run fails. A picture must have the size of its input
    /// and three channels; whole numbers are widened to the declared type and fill its shape.
    virtual InferenceResult<std::vector<OutputTensor>> run(
        std::span<const ModelInput> values, std::chrono::nanoseconds limit = inferenceRunLimit) const = 0;
};

/// Loads models from their folders. Any thread.
///
/// A model folder ("NIMA.mlmodelc") holds `model.onnx` and, for a classifier, `labels.txt` with one class
/// name a line in output order.
class InferenceRuntime {
public:
    virtual ~InferenceRuntime() = default;

    /// Code::damaged, too, when the model's normalisation of pictures cannot be read.
    virtual InferenceResult<std::shared_ptr<const InferenceModel>> load(const Path& folder) = 0;
    /// The creator-defined keys alone, without loading the model.
    virtual InferenceResult<ModelMetadata> readMetadata(const Path& folder) = 0;
};

/// The input that takes a picture: the first of four dimensions of which the second or the last is 3.
std::optional<ImageInput> imageInput(const InferenceModel& model);

/// The labels with the scores of the first output that has as many values as there are labels, in
/// label order; empty when there is no such output.
std::vector<LabelledScore> classScores(const InferenceModel& model, std::span<const OutputTensor> outputs);

/// The creator-defined keys of an ONNX file (`metadata_props`). The rest of the file is stepped over.
/// @return nothing when the bytes are no sequence of protocol buffer fields.
std::optional<ModelMetadata> readOnnxMetadata(ByteView file);

/// The lines of a `labels.txt`; an empty last line is none.
std::vector<std::string> parseLabels(std::string_view text);

}  // namespace kelvaris

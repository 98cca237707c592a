#include "platform_linux/onnx_inference.h"

#include <dlfcn.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cstdlib>
#include <utility>

#include "base/log.h"
#include "platform_linux/run_watchdog.h"

#if KELVARIS_HAS_ONNXRUNTIME
// The functions come from the library that is opened at run time, and from nowhere else.
#define ORT_API_MANUAL_INIT
#include <onnxruntime_cxx_api.h>
#undef ORT_API_MANUAL_INIT
#endif

namespace kelvaris {

namespace {

constexpr std::string_view logCategory = "Inference";

Unexpected<InferenceError> failure(InferenceError::Code code, std::string message) {
    return Unexpected(InferenceError{code, std::move(message)});
}

}  // namespace

std::vector<std::string> inferenceLibraryCandidates() {
    std::vector<std::string> candidates;
    if (const char* chosen = std::getenv("KELVARIS_ONNXRUNTIME"); chosen != nullptr && *chosen != 0) {
        candidates.emplace_back(chosen);
    }
    std::array<char, 4096> program{};
    const ssize_t length = ::readlink("/proc/self/exe", program.data(), program.size());
    if (length > 0) {
        const Path folder =
            Path(std::string(program.data(), static_cast<std::size_t>(length))).parent().parent();
        candidates.push_back((folder / "lib" / "libonnxruntime.so.1").string());
    }
    candidates.emplace_back("libonnxruntime.so.1");
    return candidates;
}

InferenceResult<ModelMetadata> OnnxInferenceRuntime::readMetadata(const Path& folder) {
    const auto file = files_.map(folder / "model.onnx");
    if (!file) return failure(InferenceError::Code::notAModel, file.error().message);
    auto metadata = readOnnxMetadata(file.value()->bytes());
    if (!metadata) return failure(InferenceError::Code::damaged, "model.onnx is not readable");
    return std::move(*metadata);
}

std::optional<std::string> OnnxInferenceRuntime::missingReason() {
    if (runtime() != nullptr) return std::nullopt;
    const std::scoped_lock lock(mutex_);
    return missing_;
}

OnnxInferenceRuntime::OnnxInferenceRuntime(const Files& files, std::vector<std::string> candidates)
    : files_(files), candidates_(std::move(candidates)) {}

OnnxInferenceRuntime::~OnnxInferenceRuntime() = default;

#if KELVARIS_HAS_ONNXRUNTIME

namespace {

void ORT_API_CALL forwardLog(void*, OrtLoggingLevel, const char*, const char*, const char*,
                             const char* message) {
    log::debug(logCategory, "{}", message);
}

ElementType elementType(ONNXTensorElementDataType type) {
    switch (type) {
        case ONNX_TENSOR_ELEMENT_DATA_TYPE_FLOAT:
            return ElementType::float32;
        case ONNX_TENSOR_ELEMENT_DATA_TYPE_FLOAT16:
            return ElementType::float16;
        case ONNX_TENSOR_ELEMENT_DATA_TYPE_DOUBLE:
            return ElementType::float64;
        case ONNX_TENSOR_ELEMENT_DATA_TYPE_INT32:
            return ElementType::int32;
        case ONNX_TENSOR_ELEMENT_DATA_TYPE_INT64:
            return ElementType::int64;
        case ONNX_TENSOR_ELEMENT_DATA_TYPE_UINT8:
            return ElementType::uint8;
        default:
            return ElementType::other;
    }
}

ValueDeclaration declaration(std::string name, const Ort::TypeInfo& info) {
    ValueDeclaration result{.name = std::move(name), .type = ElementType::other, .shape = {}};
    if (info.GetONNXType() == ONNX_TYPE_TENSOR) {
        const auto tensor = info.GetTensorTypeAndShapeInfo();
        result.type = elementType(tensor.GetElementType());
        result.shape = tensor.GetShape();
    }
    return result;
}

/// A tensor with the memory that it reads.
struct OwnedTensor {
    std::vector<std::uint8_t> memory;
    Ort::Value value{nullptr};
};

template <class Element, class Source>
void appendAs(std::vector<std::uint8_t>& memory, Source value) {
    const Element element(static_cast<Element>(value));
    const auto* bytes = reinterpret_cast<const std::uint8_t*>(&element);
    memory.insert(memory.end(), bytes, bytes + sizeof(Element));
}

ONNXTensorElementDataType runtimeType(ElementType type) {
    switch (type) {
        case ElementType::float32:
            return ONNX_TENSOR_ELEMENT_DATA_TYPE_FLOAT;
        case ElementType::float16:
            return ONNX_TENSOR_ELEMENT_DATA_TYPE_FLOAT16;
        case ElementType::float64:
            return ONNX_TENSOR_ELEMENT_DATA_TYPE_DOUBLE;
        case ElementType::int32:
            return ONNX_TENSOR_ELEMENT_DATA_TYPE_INT32;
        case ElementType::int64:
            return ONNX_TENSOR_ELEMENT_DATA_TYPE_INT64;
        case ElementType::uint8:
            return ONNX_TENSOR_ELEMENT_DATA_TYPE_UINT8;
        case ElementType::other:
            break;
    }
    return ONNX_TENSOR_ELEMENT_DATA_TYPE_UNDEFINED;
}

OwnedTensor wrapped(std::vector<std::uint8_t> memory, const std::vector<std::int64_t>& shape,
                    ElementType type) {
    OwnedTensor tensor{.memory = std::move(memory)};
    const auto place = Ort::MemoryInfo::CreateCpu(OrtArenaAllocator, OrtMemTypeDefault);
    tensor.value = Ort::Value::CreateTensor(place, tensor.memory.data(), tensor.memory.size(), shape.data(),
                                            shape.size(), runtimeType(type));
    return tensor;
}

/// The picture's samples as the model's type has them. A sample is looked up, since a channel has but 256
/// values.
template <class Element>
std::vector<std::uint8_t> samples(const Bitmap& bitmap, const PictureNormalization& normalization,
                                  bool planesFirst) {
    std::array<std::array<Element, 256>, 3> table;
    for (std::size_t channel = 0; channel < 3; ++channel) {
        for (unsigned byte = 0; byte < 256; ++byte) {
            const auto value = normalization.value(channel, static_cast<std::uint8_t>(byte));
            if constexpr (std::is_same_v<Element, Ort::Float16_t>) {
                table[channel][byte] = Ort::Float16_t(static_cast<float>(value));
            } else {
                table[channel][byte] = static_cast<Element>(value);
            }
        }
    }
    const std::size_t count = bitmap.pixels.size() / 3;
    std::vector<std::uint8_t> memory(bitmap.pixels.size() * sizeof(Element));
    auto* const values = reinterpret_cast<Element*>(memory.data());
    const std::size_t step = planesFirst ? 1 : 3;
    for (std::size_t channel = 0; channel < 3; ++channel) {
        const std::array<Element, 256>& row = table[channel];
        const std::uint8_t* sample = bitmap.pixels.data() + (normalization.blueFirst ? 2 - channel : channel);
        Element* value = values + (planesFirst ? channel * count : channel);
        for (std::size_t index = 0; index < count; ++index, sample += 3, value += step) *value = row[*sample];
    }
    return memory;
}

InferenceResult<OwnedTensor> pictureTensor(const ValueDeclaration& input, const Bitmap& bitmap,
                                           const PictureNormalization& normalization) {
    const bool planesFirst = input.shape.size() == 4 && input.shape[1] == 3;
    const auto unfit = [&input](const char* what) {
        return failure(InferenceError::Code::wrongInput, "input " + input.name + what);
    };
    if (input.shape.size() != 4 || (!planesFirst && input.shape[3] != 3)) return unfit(" takes no picture");
    const auto fits = [](std::int64_t declared, int side) { return declared < 0 || declared == side; };
    const std::int64_t height = planesFirst ? input.shape[2] : input.shape[1];
    const std::int64_t width = planesFirst ? input.shape[3] : input.shape[2];
    const std::size_t count =
        static_cast<std::size_t>(bitmap.width) * static_cast<std::size_t>(bitmap.height) * 3;
    if (bitmap.channels != 3 || bitmap.pixels.size() != count || !fits(height, bitmap.height) ||
        !fits(width, bitmap.width) || input.shape[0] > 1) {
        return unfit(" takes pictures of another size or kind");
    }
    const std::vector<std::int64_t> shape =
        planesFirst ? std::vector<std::int64_t>{1, 3, bitmap.height, bitmap.width}
                    : std::vector<std::int64_t>{1, bitmap.height, bitmap.width, 3};
    switch (input.type) {
        case ElementType::float32:
            return wrapped(samples<float>(bitmap, normalization, planesFirst), shape, input.type);
        case ElementType::float64:
            return wrapped(samples<double>(bitmap, normalization, planesFirst), shape, input.type);
        case ElementType::float16:
            return wrapped(samples<Ort::Float16_t>(bitmap, normalization, planesFirst), shape, input.type);
        case ElementType::uint8: {
            const PictureNormalization bytes{.blueFirst = normalization.blueFirst};
            return wrapped(samples<std::uint8_t>(bitmap, bytes, planesFirst), shape, input.type);
        }
        case ElementType::int32:
        case ElementType::int64:
        case ElementType::other:
            break;
    }
    return unfit(" takes no picture");
}

InferenceResult<OwnedTensor> numberTensor(const ValueDeclaration& input,
                                          const std::vector<std::int32_t>& numbers) {
    std::vector<std::int64_t> shape = input.shape;
    std::int64_t known = 1;
    std::int64_t* free = nullptr;
    for (std::size_t index = 0; index < shape.size(); ++index) {
        // A free first dimension is the batch; another one takes what is left.
        if (shape[index] >= 0) {
            known *= shape[index];
        } else if (index == 0 && shape.size() > 1) {
            shape[index] = 1;
        } else {
            free = &shape[index];
            *free = 1;
        }
    }
    const auto count = static_cast<std::int64_t>(numbers.size());
    if (free != nullptr && known > 0 && count % known == 0) {
        *free = count / known;
        known = count;
    }
    const bool whole = input.type == ElementType::int32 || input.type == ElementType::int64;
    if (!whole || known != count) {
        return failure(InferenceError::Code::wrongInput,
                       "input " + input.name + " does not take " + std::to_string(count) + " whole numbers");
    }
    std::vector<std::uint8_t> memory;
    for (const std::int32_t number : numbers) {
        if (input.type == ElementType::int32) {
            appendAs<std::int32_t>(memory, number);
        } else {
            appendAs<std::int64_t>(memory, number);
        }
    }
    return wrapped(std::move(memory), shape, input.type);
}

template <class Element>
std::vector<float> floats(const Ort::Value& value, std::size_t count) {
    const auto* data = value.GetTensorData<Element>();
    std::vector<float> result(count);
    for (std::size_t index = 0; index < count; ++index) {
        if constexpr (std::is_same_v<Element, Ort::Float16_t>) {
            result[index] = data[index].ToFloat();
        } else {
            result[index] = static_cast<float>(data[index]);
        }
    }
    return result;
}

/// Nothing for an output that holds no numbers.
std::optional<OutputTensor> outputTensor(std::string name, const Ort::Value& value) {
    if (!value.IsTensor()) return std::nullopt;
    const auto info = value.GetTensorTypeAndShapeInfo();
    const std::size_t count = info.GetElementCount();
    OutputTensor result{.name = std::move(name), .shape = info.GetShape(), .values = {}};
    switch (elementType(info.GetElementType())) {
        case ElementType::float32:
            result.values = floats<float>(value, count);
            break;
        case ElementType::float16:
            result.values = floats<Ort::Float16_t>(value, count);
            break;
        case ElementType::float64:
            result.values = floats<double>(value, count);
            break;
        case ElementType::int32:
            result.values = floats<std::int32_t>(value, count);
            break;
        case ElementType::int64:
            result.values = floats<std::int64_t>(value, count);
            break;
        case ElementType::uint8:
            result.values = floats<std::uint8_t>(value, count);
            break;
        case ElementType::other:
            return std::nullopt;
    }
    return result;
}

}  // namespace

/// The opened library, kept by every model that came from it. The library itself is never closed: a run
/// that was left behind may still be inside.
class OnnxInferenceRuntime::Runtime {
public:
    explicit Runtime(const OrtApi* api) {
        Ort::InitApi(api);
        environment = Ort::Env(ORT_LOGGING_LEVEL_WARNING, "kelvaris", forwardLog, nullptr);
        environment.DisableTelemetryEvents();
    }

    Ort::Env environment{nullptr};
    RunWatchdog watchdog;
};

namespace {

template <class Runtime>
class OnnxModel final : public InferenceModel {
public:
    OnnxModel(std::shared_ptr<Runtime> runtime, const Path& file, ModelMetadata metadata,
              const PictureNormalization& normalization, std::vector<std::string> labels)
        : runtime_(std::move(runtime)),
          metadata_(std::move(metadata)),
          normalization_(normalization),
          labels_(std::move(labels)) {
        Ort::SessionOptions options;
        // Photos run side by side, so a single run needs no crowd of threads, and idle ones must not spin.
        options.SetIntraOpNumThreads(1);
        options.SetInterOpNumThreads(1);
        options.AddConfigEntry("session.intra_op.allow_spinning", "0");
        options.SetLogSeverityLevel(ORT_LOGGING_LEVEL_ERROR);
        session_ = Ort::Session(runtime_->environment, file.string().c_str(), options);
        Ort::AllocatorWithDefaultOptions allocator;
        for (std::size_t index = 0; index < session_.GetInputCount(); ++index) {
            inputs_.push_back(declaration(session_.GetInputNameAllocated(index, allocator).get(),
                                          session_.GetInputTypeInfo(index)));
        }
        for (std::size_t index = 0; index < session_.GetOutputCount(); ++index) {
            outputs_.push_back(declaration(session_.GetOutputNameAllocated(index, allocator).get(),
                                           session_.GetOutputTypeInfo(index)));
        }
    }

    const std::vector<ValueDeclaration>& inputs() const override { return inputs_; }
    const std::vector<ValueDeclaration>& outputs() const override { return outputs_; }
    const ModelMetadata& metadata() const override { return metadata_; }
    const std::vector<std::string>& labels() const override { return labels_; }

    InferenceResult<std::vector<OutputTensor>> run(std::span<const ModelInput> values,
                                                   std::chrono::nanoseconds limit) const override {
        std::atomic<bool> stopped = false;
        try {
            return runGuarded(values, limit, stopped);
        } catch (const std::exception& error) {
            return failure(stopped ? InferenceError::Code::terminated : InferenceError::Code::failed,
                           error.what());
        }
    }

private:
    InferenceResult<std::vector<OutputTensor>> runGuarded(std::span<const ModelInput> values,
                                                          std::chrono::nanoseconds limit,
                                                          std::atomic<bool>& stopped) const {
        std::vector<const char*> inputNames;
        std::vector<const char*> outputNames;
        std::vector<std::vector<std::uint8_t>> memory;
        std::vector<Ort::Value> tensors;
        for (const ModelInput& value : values) {
            const auto input =
                std::find_if(inputs_.begin(), inputs_.end(),
                             [&](const ValueDeclaration& each) { return each.name == value.name; });
            if (input == inputs_.end()) {
                return failure(InferenceError::Code::wrongInput, "there is no input " + value.name);
            }
            const auto* picture = std::get_if<Image>(&value.value);
            if (picture != nullptr && *picture == nullptr) {
                return failure(InferenceError::Code::wrongInput, "there is no picture for " + value.name);
            }
            auto tensor = picture != nullptr
                              ? pictureTensor(*input, **picture, normalization_)
                              : numberTensor(*input, std::get<std::vector<std::int32_t>>(value.value));
            if (!tensor) return Unexpected(tensor.error());
            inputNames.push_back(input->name.c_str());
            memory.push_back(std::move(tensor->memory));
            tensors.push_back(std::move(tensor->value));
        }
        if (values.size() != inputs_.size()) {
            return failure(InferenceError::Code::wrongInput,
                           "the model has " + std::to_string(inputs_.size()) + " inputs");
        }
        for (const ValueDeclaration& output : outputs_) outputNames.push_back(output.name.c_str());

        Ort::RunOptions options;
        const RunWatchdog::Guard guard(runtime_->watchdog, limit, [&] {
            stopped = true;
            options.SetTerminate();
        });
        const auto results =
            const_cast<Ort::Session&>(session_).Run(options, inputNames.data(), tensors.data(),
                                                    tensors.size(), outputNames.data(), outputNames.size());
        std::vector<OutputTensor> outputs;
        for (std::size_t index = 0; index < results.size(); ++index) {
            if (auto output = outputTensor(outputs_[index].name, results[index]))
                outputs.push_back(std::move(*output));
        }
        return outputs;
    }

    std::shared_ptr<Runtime> runtime_;
    ModelMetadata metadata_;
    PictureNormalization normalization_;
    std::vector<std::string> labels_;
    Ort::Session session_{nullptr};
    std::vector<ValueDeclaration> inputs_;
    std::vector<ValueDeclaration> outputs_;
};

}  // namespace

std::shared_ptr<OnnxInferenceRuntime::Runtime> OnnxInferenceRuntime::runtime() {
    const std::scoped_lock lock(mutex_);
    if (tried_) return runtime_;
    tried_ = true;
    missing_ = "there is no library libonnxruntime.so.1";
    for (const std::string& candidate : candidates_) {
        void* library = ::dlopen(candidate.c_str(), RTLD_NOW | RTLD_LOCAL);
        if (library == nullptr) continue;
        const auto base = reinterpret_cast<const OrtApiBase* (*)()>(::dlsym(library, "OrtGetApiBase"));
        const OrtApi* api = base != nullptr ? base()->GetApi(ORT_API_VERSION) : nullptr;
        if (api == nullptr) {
            missing_ = candidate + " does not speak the interface that this program was built for";
            continue;
        }
        try {
            runtime_ = std::make_shared<Runtime>(api);
            return runtime_;
        } catch (const std::exception& error) {
            missing_ = error.what();
        }
    }
    log::info(logCategory, "No inference runtime: {}", missing_);
    return nullptr;
}

InferenceResult<std::shared_ptr<const InferenceModel>> OnnxInferenceRuntime::load(const Path& folder) {
    auto metadata = readMetadata(folder);
    if (!metadata) return Unexpected(metadata.error());
    const auto normalization = pictureNormalization(*metadata);
    if (!normalization) return Unexpected(normalization.error());
    const auto runtime = this->runtime();
    if (runtime == nullptr) return failure(InferenceError::Code::noRuntime, missing_);
    constexpr std::int64_t largestLabelFile = 1 << 20;
    const auto labels = files_.read(folder / "labels.txt", largestLabelFile);
    try {
        return std::shared_ptr<const InferenceModel>(std::make_shared<OnnxModel<Runtime>>(
            runtime, folder / "model.onnx", std::move(metadata).value(), *normalization,
            labels ? parseLabels(asText(labels.value())) : std::vector<std::string>()));
    } catch (const std::exception& error) {
        return failure(InferenceError::Code::damaged, error.what());
    }
}

#else

class OnnxInferenceRuntime::Runtime {};

std::shared_ptr<OnnxInferenceRuntime::Runtime> OnnxInferenceRuntime::runtime() {
    const std::scoped_lock lock(mutex_);
    if (!std::exchange(tried_, true)) {
        missing_ = "this program was built without the inference runtime";
        log::info(logCategory, "No inference runtime: {}", missing_);
    }
    return nullptr;
}

InferenceResult<std::shared_ptr<const InferenceModel>> OnnxInferenceRuntime::load(const Path& folder) {
    auto metadata = readMetadata(folder);
    if (!metadata) return Unexpected(metadata.error());
    runtime();
    return failure(InferenceError::Code::noRuntime, missing_);
}

#endif

}  // namespace kelvaris

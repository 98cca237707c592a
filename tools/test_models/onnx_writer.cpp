#include "test_models/onnx_writer.h"

#include <bit>

namespace kelvaris::test_models {

namespace {

std::string valueInfo(std::string_view name, OnnxType type, const OnnxGraph::Shape& shape) {
    MessageWriter dimensions;
    for (const std::int64_t side : shape) {
        MessageWriter dimension;
        if (side < 0) {
            dimension.text(2, "free");
        } else {
            dimension.number(1, static_cast<std::uint64_t>(side));
        }
        dimensions.text(1, dimension.bytes());
    }
    MessageWriter tensor;
    tensor.number(1, static_cast<std::uint64_t>(type));
    tensor.text(2, dimensions.bytes());
    MessageWriter kind;
    kind.text(1, tensor.bytes());
    MessageWriter info;
    info.text(1, name);
    info.text(2, kind.bytes());
    return info.bytes();
}

template <class Element>
std::string tensor(std::string_view name, OnnxType type, const OnnxGraph::Shape& shape,
                   std::span<const Element> values) {
    static_assert(std::endian::native == std::endian::little, "the format stores little-endian values");
    MessageWriter message;
    for (const std::int64_t side : shape) message.number(1, static_cast<std::uint64_t>(side));
    message.number(2, static_cast<std::uint64_t>(type));
    message.text(8, name);
    message.text(9, {reinterpret_cast<const char*>(values.data()), values.size_bytes()});
    return message.bytes();
}

constexpr unsigned attributeType = 20;

/// The runtime refuses graphs without a name.
std::string named(const OnnxGraph& graph) {
    MessageWriter name;
    name.text(2, "test");
    return graph.message() + name.bytes();
}

}  // namespace

void MessageWriter::variable(std::uint64_t value) {
    for (; value >= 0x80; value >>= 7U) bytes_.push_back(static_cast<char>((value & 0x7FU) | 0x80U));
    bytes_.push_back(static_cast<char>(value));
}

void MessageWriter::number(unsigned field, std::uint64_t value) {
    variable(field << 3U);
    variable(value);
}

void MessageWriter::text(unsigned field, std::string_view bytes) {
    variable((field << 3U) | 2U);
    variable(bytes.size());
    bytes_ += bytes;
}

OnnxAttribute OnnxAttribute::whole(std::string_view name, std::int64_t value) {
    MessageWriter message;
    message.text(1, name);
    message.number(3, static_cast<std::uint64_t>(value));
    message.number(attributeType, 2);
    return {message.bytes()};
}

OnnxAttribute OnnxAttribute::wholes(std::string_view name, std::span<const std::int64_t> values) {
    MessageWriter message;
    message.text(1, name);
    for (const std::int64_t value : values) message.number(8, static_cast<std::uint64_t>(value));
    message.number(attributeType, 7);
    return {message.bytes()};
}

OnnxAttribute OnnxAttribute::graph(std::string_view name, const OnnxGraph& value) {
    MessageWriter message;
    message.text(1, name);
    message.text(6, named(value));
    message.number(attributeType, 5);
    return {message.bytes()};
}

OnnxGraph& OnnxGraph::input(std::string_view name, OnnxType type, const Shape& shape) {
    graph_.text(11, valueInfo(name, type, shape));
    return *this;
}

OnnxGraph& OnnxGraph::output(std::string_view name, OnnxType type, const Shape& shape) {
    graph_.text(12, valueInfo(name, type, shape));
    return *this;
}

OnnxGraph& OnnxGraph::constant(std::string_view name, const Shape& shape, std::span<const float> values) {
    graph_.text(5, tensor(name, OnnxType::float32, shape, values));
    return *this;
}

OnnxGraph& OnnxGraph::constant(std::string_view name, const Shape& shape,
                               std::span<const std::int64_t> values) {
    graph_.text(5, tensor(name, OnnxType::int64, shape, values));
    return *this;
}

OnnxGraph& OnnxGraph::constant(std::string_view name, bool value) {
    const std::uint8_t byte = value ? 1 : 0;
    graph_.text(5, tensor(name, OnnxType::boolean, {}, std::span(&byte, 1)));
    return *this;
}

OnnxGraph& OnnxGraph::node(std::string_view operation, const std::vector<std::string>& inputs,
                           const std::vector<std::string>& outputs,
                           const std::vector<OnnxAttribute>& attributes) {
    MessageWriter message;
    for (const std::string& name : inputs) message.text(1, name);
    for (const std::string& name : outputs) message.text(2, name);
    message.text(4, operation);
    for (const OnnxAttribute& attribute : attributes) message.text(5, attribute.message);
    graph_.text(1, message.bytes());
    return *this;
}

std::string onnxModel(const OnnxGraph& graph, const std::map<std::string, std::string>& metadata) {
    MessageWriter operators;
    operators.text(1, "");
    operators.number(2, 17);
    MessageWriter model;
    model.number(1, 8);
    model.text(2, "kelvaris");
    model.text(7, named(graph));
    model.text(8, operators.bytes());
    for (const auto& [key, value] : metadata) {
        MessageWriter entry;
        entry.text(1, key);
        entry.text(2, value);
        model.text(14, entry.bytes());
    }
    return model.bytes();
}

}  // namespace kelvaris::test_models

#include "test_models/test_models.h"

#include <array>

namespace kelvaris::test_models {

namespace {

/// Weights that look random and are the same everywhere, in -0.5 to 0.5.
std::vector<float> weights(std::size_t count, std::uint32_t seed) {
    std::vector<float> result;
    for (std::size_t index = 0; index < count; ++index) {
        seed = (seed * 1664525U) + 1013904223U;
        result.push_back((static_cast<float>(seed >> 8U) * 0x1p-24F) - 0.5F);
    }
    return result;
}

constexpr std::array<std::int64_t, 1> channelAxis = {1};

/// Adds nodes that average a picture over the fields of a 4 by 4 grid: [1, 3, side, side] to [1, 3, 4, 4].
void addGrid(OnnxGraph& graph, const std::string& from, const std::string& to, int side) {
    const std::array<std::int64_t, 2> field = {side / 4, side / 4};
    graph.node("AveragePool", {from}, {to},
               {OnnxAttribute::wholes("kernel_shape", field), OnnxAttribute::wholes("strides", field)});
}

}  // namespace

std::string orientationModel(const Metadata& metadata, float sharpness, std::string_view input, int side) {
    // Which of the 16 fields lie along the edge that each class takes for the top.
    std::vector<float> edges(16U * 4U);
    for (std::size_t field = 0; field < 16; ++field) {
        const std::size_t row = field / 4;
        const std::size_t column = field % 4;
        const float share = sharpness / (255.0F * 4.0F);
        edges[(field * 4) + 0] = row == 0 ? share : 0;
        edges[(field * 4) + 1] = column == 0 ? share : 0;
        edges[(field * 4) + 2] = row == 3 ? share : 0;
        edges[(field * 4) + 3] = column == 3 ? share : 0;
    }
    OnnxGraph graph;
    graph.input(input, OnnxType::float32, {1, 3, side, side});
    addGrid(graph, std::string(input), "grid", side);
    graph.node("ReduceMean", {"grid"}, {"grey"}, {OnnxAttribute::wholes("axes", channelAxis)})
        .node("Flatten", {"grey"}, {"fields"})
        .constant("edges", {16, 4}, edges)
        .node("MatMul", {"fields", "edges"}, {"classLabelProbs"})
        .output("classLabelProbs", OnnxType::float32, {1, 4});
    return onnxModel(graph, metadata);
}

std::string constantModel(const std::vector<float>& values, int side, std::string_view output,
                          const Metadata& metadata) {
    OnnxGraph graph;
    const auto count = static_cast<std::int64_t>(values.size());
    graph.input("image", OnnxType::float32, {1, 3, side, side})
        .constant("answer", {1, count}, values)
        .node("Identity", {"answer"}, {std::string(output)})
        .output(output, OnnxType::float32, {1, count});
    return onnxModel(graph, metadata);
}

std::string meanColorModel(const ColorModelOptions& options) {
    OnnxGraph graph;
    const std::int64_t side = options.side;
    graph.input(
        "image", options.input,
        options.planesFirst ? OnnxGraph::Shape{1, 3, side, side} : OnnxGraph::Shape{1, side, side, 3});
    graph.node("Cast", {"image"}, {"floats"},
               {OnnxAttribute::whole("to", static_cast<int>(OnnxType::float32))});
    const std::array<std::int64_t, 2> axes = {options.planesFirst ? 2 : 1, options.planesFirst ? 3 : 2};
    graph.node("ReduceMean", {"floats"}, {options.halfOutput ? "wide" : "color"},
               {OnnxAttribute::wholes("axes", axes), OnnxAttribute::whole("keepdims", 0)});
    if (options.halfOutput) {
        graph.node("Cast", {"wide"}, {"color"},
                   {OnnxAttribute::whole("to", static_cast<int>(OnnxType::float16))});
    }
    graph.output("color", options.halfOutput ? OnnxType::float16 : OnnxType::float32, {1, 3});
    return onnxModel(graph, options.metadata);
}

std::string imageVectorModel(int side, int dimension, std::string_view output, const Metadata& metadata,
                             bool halfOutput) {
    OnnxGraph graph;
    const std::int64_t size = dimension;
    graph.input("image", OnnxType::float32, {1, 3, side, side});
    addGrid(graph, "image", "grid", side);
    graph.node("Flatten", {"grid"}, {"fields"})
        .constant("mix", {48, size}, weights(48U * static_cast<std::size_t>(dimension), 1))
        .node("MatMul", {"fields", "mix"}, {halfOutput ? "wide" : std::string(output)});
    if (halfOutput) {
        graph.node("Cast", {"wide"}, {std::string(output)},
                   {OnnxAttribute::whole("to", static_cast<int>(OnnxType::float16))});
    }
    graph.output(output, halfOutput ? OnnxType::float16 : OnnxType::float32, {1, size});
    return onnxModel(graph, metadata);
}

std::string tokenVectorModel(OnnxType type, int count, int dimension) {
    OnnxGraph graph;
    const std::int64_t size = dimension;
    graph.input("input_ids", type, {1, count})
        .node("Cast", {"input_ids"}, {"floats"},
              {OnnxAttribute::whole("to", static_cast<int>(OnnxType::float32))})
        .constant("mix", {count, size},
                  weights(static_cast<std::size_t>(count) * static_cast<std::size_t>(dimension), 2))
        .node("MatMul", {"floats", "mix"}, {"embedding"})
        .output("embedding", OnnxType::float32, {1, size});
    return onnxModel(graph);
}

std::string endlessModel(int side) {
    const std::array<float, 1> zero = {0};
    const std::array<float, 1> one = {1};
    const std::array<std::int64_t, 1> rounds = {std::int64_t{1} << 60};
    OnnxGraph body;
    body.input("round", OnnxType::int64, {})
        .input("go", OnnxType::boolean, {})
        .input("sum", OnnxType::float32, {1})
        .constant("step", {1}, one)
        .node("Identity", {"go"}, {"goOn"})
        .node("Add", {"sum", "step"}, {"next"})
        .output("goOn", OnnxType::boolean, {})
        .output("next", OnnxType::float32, {1});
    OnnxGraph graph;
    graph.input("image", OnnxType::float32, {1, 3, side, side})
        .constant("rounds", {}, rounds)
        .constant("start", true)
        .constant("zero", {1}, zero)
        .node("Loop", {"rounds", "start", "zero"}, {"count"}, {OnnxAttribute::graph("body", body)})
        .output("count", OnnxType::float32, {1});
    return onnxModel(graph);
}

}  // namespace kelvaris::test_models

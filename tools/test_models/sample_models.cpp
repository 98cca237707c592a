#include "test_models/sample_models.h"

#include <algorithm>

namespace kelvaris::test_models {

namespace {

constexpr std::size_t colorCount = sampleColors.size();
/// The texts' own part of the common space, in which pictures are nothing.
constexpr std::size_t ownCount = 5;
constexpr std::size_t featureCount = colorCount + ownCount;
constexpr std::size_t vectorSize = 512;
constexpr int pictureSide = 224;

/// How pictures reach a network, and what its keys say of that.
struct PictureInput {
    std::array<float, 3> mean;       ///< of the network's channels
    std::array<float, 3> deviation;  ///< likewise
    bool blueFirst = false;

    Metadata keys() const {
        const auto list = [](const std::array<float, 3>& numbers) {
            return std::to_string(numbers[0]) + "," + std::to_string(numbers[1]) + "," +
                   std::to_string(numbers[2]);
        };
        return {{"kelvaris.image.mean", list(mean)},
                {"kelvaris.image.deviation", list(deviation)},
                {"kelvaris.image.order", blueFirst ? "BGR" : "RGB"}};
    }
};

/// Adds nodes that give the mean of each field of a grid of 4 by 4, as shares of full scale: "image" to
/// "grid" of [1, 3, 4, 4].
void addGrid(OnnxGraph& graph, const PictureInput& input) {
    constexpr std::array<std::int64_t, 2> field = {pictureSide / 4, pictureSide / 4};
    graph.input("image", OnnxType::float32, {1, 3, pictureSide, pictureSide})
        .node("AveragePool", {"image"}, {"pooled"},
              {OnnxAttribute::wholes("kernel_shape", field), OnnxAttribute::wholes("strides", field)})
        .constant("deviation", {1, 3, 1, 1}, input.deviation)
        .constant("mean", {1, 3, 1, 1}, input.mean)
        .node("Mul", {"pooled", "deviation"}, {"spread"})
        .node("Add", {"spread", "mean"}, {"grid"});
}

/// Adds nodes that give the share of each sample colour: "image" to "shares" of [1, colours]. Each field
/// goes to the colours near it, by a softmax of its negative squared distances; the square of the field
/// itself is the same for all and left out.
void addShares(OnnxGraph& graph, const PictureInput& input) {
    constexpr float sharpness = 30;
    constexpr std::array<std::int64_t, 2> fieldsByChannel = {3, 16};
    constexpr std::array<std::int64_t, 2> turned = {1, 0};
    constexpr std::array<std::int64_t, 1> fields = {0};
    std::vector<float> slopes(3 * colorCount);
    std::vector<float> offsets(colorCount);
    for (std::size_t index = 0; index < colorCount; ++index) {
        for (std::size_t channel = 0; channel < 3; ++channel) {
            const float share = sampleColors[index].color[input.blueFirst ? 2 - channel : channel];
            slopes[(channel * colorCount) + index] = 2 * sharpness * share;
            offsets[index] -= sharpness * share * share;
        }
    }
    addGrid(graph, input);
    graph.constant("fieldsByChannel", {2}, fieldsByChannel)
        .node("Reshape", {"grid", "fieldsByChannel"}, {"channels"})
        .node("Transpose", {"channels"}, {"fields"}, {OnnxAttribute::wholes("perm", turned)})
        .constant("slopes", {3, colorCount}, slopes)
        .constant("offsets", {colorCount}, offsets)
        .node("MatMul", {"fields", "slopes"}, {"sloped"})
        .node("Add", {"sloped", "offsets"}, {"nearness"})
        .node("Softmax", {"nearness"}, {"colors"}, {OnnxAttribute::whole("axis", 1)})
        .node("ReduceMean", {"colors"}, {"shares"}, {OnnxAttribute::wholes("axes", fields)});
}

/// Features to the vector: each has places of its own in it, so that they stay at right angles.
std::vector<float> features(std::size_t count) {
    std::vector<float> result(count * vectorSize);
    for (std::size_t place = 0; place < vectorSize; ++place) {
        const std::size_t feature = place % featureCount;
        if (feature >= count) continue;
        result[(feature * vectorSize) + place] = (place * 2654435761U >> 13U) % 2 == 0 ? 0.2F : -0.2F;
    }
    return result;
}

/// A word by its token in the published vocabulary, and the colour that it means.
struct ColorWord {
    std::int64_t token;
    std::string_view color;
};

constexpr std::array<ColorWord, 45> colorWords{{
    // clang-format off
    {736, "red"},      // red
    {1769, "red"},     // fire
    {4287, "orange"},  // orange
    {3424, "orange"},  // sunset
    {5610, "orange"},  // sunrise
    {3616, "orange"},  // warm
    {4481, "yellow"},  // yellow
    {3878, "yellow"},  // golden
    {17996, "yellow"}, // sunlight
    {2117, "yellow"},  // beach
    {5094, "yellow"},  // sand
    {7301, "yellow"},  // desert
    {1901, "green"},   // green
    {4167, "green"},   // forest
    {5922, "green"},   // grass
    {7232, "green"},   // leaf
    {3912, "green"},   // plant
    {2756, "green"},   // garden
    {1570, "green"},   // field
    {17195, "green"},  // meadow
    {2677, "green"},   // tree
    {1746, "blue"},    // blue
    {2102, "blue"},    // sea
    {4918, "blue"},    // ocean
    {2390, "blue"},    // sky
    {1573, "blue"},    // water
    {2553, "blue"},    // lake
    {2473, "blue"},    // river
    {2077, "blue"},    // cool
    {5496, "purple"},  // purple
    {3360, "pink"},    // pink
    {4055, "pink"},    // flower
    {2866, "brown"},   // brown
    {1704, "brown"},   // wood
    {1449, "black"},   // black
    {930, "black"},    // night
    {3144, "black"},   // dark
    {26149, "black"},  // silhouette
    {5046, "grey"},    // grey
    {7048, "grey"},    // gray
    {9417, "grey"},    // fog
    {2012, "grey"},    // street
    {1579, "white"},   // white
    {2583, "white"},   // snow
    {733, "white"},    // ice
    // clang-format on
}};

constexpr PictureInput clipInput{{0.48145466F, 0.4578275F, 0.40821073F},
                                 {0.26862954F, 0.26130258F, 0.27577711F}};
constexpr PictureInput classifierInput{{0.406F, 0.456F, 0.485F}, {0.225F, 0.224F, 0.229F}, true};
constexpr PictureInput evenInput{{0.5F, 0.5F, 0.5F}, {0.5F, 0.5F, 0.5F}};

}  // namespace

std::string colorImageEncoder() {
    OnnxGraph graph;
    addShares(graph, clipInput);
    graph.constant("features", {colorCount, vectorSize}, features(colorCount))
        .node("MatMul", {"shares", "features"}, {"embedding"})
        .output("embedding", OnnxType::float32, {1, vectorSize});
    return onnxModel(graph, clipInput.keys());
}

std::string colorTextEncoder() {
    std::vector<std::int64_t> tokens;
    std::vector<float> meanings(colorWords.size() * colorCount);
    for (const ColorWord& word : colorWords) {
        const auto color = std::ranges::find(sampleColors, word.color, &SampleColor::name);
        meanings[(tokens.size() * colorCount) + static_cast<std::size_t>(color - sampleColors.begin())] = 1;
        tokens.push_back(word.token);
    }
    const auto wordCount = static_cast<std::int64_t>(tokens.size());
    constexpr std::array<std::int64_t, 2> column = {77, 1};
    constexpr std::array<std::int64_t, 1> positions = {0};
    constexpr std::array<float, ownCount> frequencies = {0.13F, 0.29F, 0.57F, 0.83F, 1.31F};
    // A mean over 77 places of which few hold words.
    constexpr std::array<float, 1> ownWeight = {25};
    OnnxGraph graph;
    graph.input("input_ids", OnnxType::int32, {1, 77})
        .constant("column", {2}, column)
        .node("Cast", {"input_ids"}, {"whole"},
              {OnnxAttribute::whole("to", static_cast<int>(OnnxType::int64))})
        .node("Reshape", {"whole", "column"}, {"positions"})
        .constant("words", {1, wordCount}, tokens)
        .node("Equal", {"positions", "words"}, {"same"})
        .node("Cast", {"same"}, {"found"}, {OnnxAttribute::whole("to", static_cast<int>(OnnxType::float32))})
        .node("ReduceMax", {"found"}, {"present"}, {OnnxAttribute::wholes("axes", positions)})
        .constant("meanings", {wordCount, colorCount}, meanings)
        .node("MatMul", {"present", "meanings"}, {"colors"})
        .node("Cast", {"positions"}, {"floats"},
              {OnnxAttribute::whole("to", static_cast<int>(OnnxType::float32))})
        .constant("frequencies", {1, ownCount}, frequencies)
        .node("MatMul", {"floats", "frequencies"}, {"phases"})
        .node("Sin", {"phases"}, {"waves"})
        .node("ReduceMean", {"waves"}, {"faint"}, {OnnxAttribute::wholes("axes", positions)})
        .constant("ownWeight", {1}, ownWeight)
        .node("Mul", {"faint", "ownWeight"}, {"own"})
        .node("Concat", {"colors", "own"}, {"all"}, {OnnxAttribute::whole("axis", 1)})
        .constant("features", {featureCount, vectorSize}, features(featureCount))
        .node("MatMul", {"all", "features"}, {"embedding"})
        .output("embedding", OnnxType::float32, {1, vectorSize});
    return onnxModel(graph);
}

std::string brightnessRater() {
    constexpr std::array<std::int64_t, 1> channels = {1};
    std::vector<float> ratings;
    std::vector<float> halfSquares;
    for (int rating = 1; rating <= 10; ++rating) {
        ratings.push_back(static_cast<float>(rating));
        halfSquares.push_back(static_cast<float>(-rating * rating) / 2);
    }
    constexpr std::array<float, 1> perBrightness = {3};
    constexpr std::array<float, 1> perContrast = {8};
    constexpr std::array<float, 1> least = {2};
    OnnxGraph graph;
    addGrid(graph, evenInput);
    graph.node("ReduceMean", {"grid"}, {"grey"}, {OnnxAttribute::wholes("axes", channels)})
        .node("Flatten", {"grey"}, {"fields"})
        .node("ReduceMean", {"fields"}, {"brightness"}, {OnnxAttribute::wholes("axes", channels)})
        .node("Sub", {"fields", "brightness"}, {"differences"})
        .node("Mul", {"differences", "differences"}, {"squares"})
        .node("ReduceMean", {"squares"}, {"variance"}, {OnnxAttribute::wholes("axes", channels)})
        .node("Sqrt", {"variance"}, {"contrast"})
        .constant("perBrightness", {1}, perBrightness)
        .constant("perContrast", {1}, perContrast)
        .constant("least", {1}, least)
        .node("Mul", {"brightness", "perBrightness"}, {"forBrightness"})
        .node("Mul", {"contrast", "perContrast"}, {"forContrast"})
        .node("Add", {"forBrightness", "forContrast"}, {"merit"})
        .node("Add", {"merit", "least"}, {"center"})
        // A bell around the center: the exponent of -(rating - center)² / 2 without what all share.
        .constant("ratings", {1, 10}, ratings)
        .constant("halfSquares", {10}, halfSquares)
        .node("MatMul", {"center", "ratings"}, {"products"})
        .node("Add", {"products", "halfSquares"}, {"bell"})
        .node("Softmax", {"bell"}, {"probabilities"}, {OnnxAttribute::whole("axis", 1)})
        .output("probabilities", OnnxType::float32, {1, 10});
    return onnxModel(graph, evenInput.keys());
}

std::string colorClassifier() {
    OnnxGraph graph;
    addShares(graph, classifierInput);
    graph.output("shares", OnnxType::float32, {1, colorCount});
    return onnxModel(graph, classifierInput.keys());
}

std::string colorLabels(std::string_view SampleColor::*name) {
    std::string labels;
    for (const SampleColor& color : sampleColors) labels += std::string(color.*name) + '\n';
    return labels;
}

std::string faceEncoder() { return imageVectorModel(112, vectorSize, "embedding", evenInput.keys()); }

}  // namespace kelvaris::test_models

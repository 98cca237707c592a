#pragma once

#include <cstdint>
#include <map>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace kelvaris::test_models {

/// Element types by their number in the format.
enum class OnnxType : int { float32 = 1, uint8 = 2, int32 = 6, int64 = 7, boolean = 9, float16 = 10 };

/// Writes fields of one protocol buffer message.
class MessageWriter {
public:
    void number(unsigned field, std::uint64_t value);
    void text(unsigned field, std::string_view bytes);

    const std::string& bytes() const { return bytes_; }

private:
    void variable(std::uint64_t value);

    std::string bytes_;
};

class OnnxGraph;

/// An attribute of a node.
struct OnnxAttribute {
    static OnnxAttribute whole(std::string_view name, std::int64_t value);
    static OnnxAttribute wholes(std::string_view name, std::span<const std::int64_t> values);
    static OnnxAttribute graph(std::string_view name, const OnnxGraph& value);

    std::string message;
};

/// A graph under construction. Values are referred to by name; nodes must be added in running order.
class OnnxGraph {
public:
    using Shape = std::vector<std::int64_t>;  ///< a free dimension is -1

    OnnxGraph& input(std::string_view name, OnnxType type, const Shape& shape);
    OnnxGraph& output(std::string_view name, OnnxType type, const Shape& shape);
    OnnxGraph& constant(std::string_view name, const Shape& shape, std::span<const float> values);
    OnnxGraph& constant(std::string_view name, const Shape& shape, std::span<const std::int64_t> values);
    OnnxGraph& constant(std::string_view name, bool value);
    OnnxGraph& node(std::string_view operation, const std::vector<std::string>& inputs,
                    const std::vector<std::string>& outputs,
                    const std::vector<OnnxAttribute>& attributes = {});

    const std::string& message() const { return graph_.bytes(); }

private:
    MessageWriter graph_;
};

/// The bytes of a model file of operator set 17.
std::string onnxModel(const OnnxGraph& graph, const std::map<std::string, std::string>& metadata = {});

}  // namespace kelvaris::test_models

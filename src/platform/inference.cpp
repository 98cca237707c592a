#include "platform/inference.h"

#include <charconv>
#include <cmath>

namespace kelvaris {

namespace {

/// Walks the fields of one protocol buffer message.
class FieldReader {
public:
    explicit FieldReader(ByteView bytes) : rest_(bytes) {}

    bool atEnd() const { return rest_.empty(); }

    struct Field {
        std::uint64_t number = 0;
        ByteView content;  ///< empty for fields that are plain numbers
    };

    /// The next field, or nothing when the bytes are malformed.
    std::optional<Field> next() {
        const auto key = number();
        if (!key) return std::nullopt;
        Field field{.number = *key >> 3U, .content = {}};
        if (field.number == 0) return std::nullopt;
        switch (*key & 7U) {
            case 0:
                return number() ? std::optional(field) : std::nullopt;
            case 1:
                return skip(8) ? std::optional(field) : std::nullopt;
            case 2: {
                const auto length = number();
                if (!length || *length > rest_.size()) return std::nullopt;
                field.content = rest_.first(static_cast<std::size_t>(*length));
                rest_ = rest_.subspan(static_cast<std::size_t>(*length));
                return field;
            }
            case 5:
                return skip(4) ? std::optional(field) : std::nullopt;
            default:
                return std::nullopt;
        }
    }

private:
    std::optional<std::uint64_t> number() {
        std::uint64_t value = 0;
        for (unsigned shift = 0; shift < 64 && !rest_.empty(); shift += 7) {
            const std::uint8_t byte = rest_.front();
            rest_ = rest_.subspan(1);
            value |= static_cast<std::uint64_t>(byte & 0x7FU) << shift;
            if ((byte & 0x80U) == 0) return value;
        }
        return std::nullopt;
    }

    bool skip(std::size_t count) {
        if (rest_.size() < count) return false;
        rest_ = rest_.subspan(count);
        return true;
    }

    ByteView rest_;
};

constexpr const char* meanKey = "kelvaris.image.mean";
constexpr const char* deviationKey = "kelvaris.image.deviation";
constexpr const char* orderKey = "kelvaris.image.order";

Unexpected<InferenceError> unreadableKey(const char* key, std::string_view wanted) {
    return Unexpected(
        InferenceError{InferenceError::Code::damaged, std::string(key) + " is not " + std::string(wanted)});
}

std::optional<double> finiteNumber(std::string_view text) {
    while (text.starts_with(' ')) text.remove_prefix(1);
    while (text.ends_with(' ')) text.remove_suffix(1);
    double number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (error != std::errc() || end != text.data() + text.size() || !std::isfinite(number)) return {};
    return number;
}

/// One number for all channels, or three.
std::optional<std::array<double, 3>> channelNumbers(std::string_view text) {
    std::array<double, 3> numbers{};
    for (std::size_t count = 0; count < numbers.size(); ++count) {
        const std::size_t comma = text.find(',');
        const auto number = finiteNumber(text.substr(0, comma));
        if (!number) return {};
        numbers[count] = *number;
        if (comma == std::string_view::npos) {
            if (count == 0) numbers.fill(*number);
            return count == 1 ? std::nullopt : std::optional(numbers);
        }
        text.remove_prefix(comma + 1);
    }
    return {};
}

}  // namespace

InferenceResult<PictureNormalization> pictureNormalization(const ModelMetadata& metadata) {
    PictureNormalization result;
    for (const auto& [key, numbers] :
         {std::pair(meanKey, &result.mean), std::pair(deviationKey, &result.deviation)}) {
        const auto found = metadata.find(key);
        if (found == metadata.end()) continue;
        const auto read = channelNumbers(found->second);
        if (!read) return unreadableKey(key, "one or three numbers");
        *numbers = *read;
        result.isScaled = true;
    }
    for (std::size_t channel = 0; channel < 3; ++channel) {
        const bool isFinite = std::isfinite(static_cast<float>(result.value(channel, 0))) &&
                              std::isfinite(static_cast<float>(result.value(channel, 255)));
        if (!(result.deviation[channel] > 0) || !isFinite) {
            return unreadableKey(deviationKey, "above 0 and large enough");
        }
    }
    if (const auto found = metadata.find(orderKey); found != metadata.end()) {
        if (found->second != "RGB" && found->second != "BGR") {
            return unreadableKey(orderKey, "\"RGB\" or \"BGR\"");
        }
        result.blueFirst = found->second == "BGR";
    }
    return result;
}

std::optional<ModelMetadata> readOnnxMetadata(ByteView file) {
    constexpr std::uint64_t metadataProps = 14;
    ModelMetadata metadata;
    FieldReader model(file);
    while (!model.atEnd()) {
        const auto field = model.next();
        if (!field) return std::nullopt;
        if (field->number != metadataProps) continue;
        std::string key;
        std::string value;
        FieldReader entry(field->content);
        while (!entry.atEnd()) {
            const auto part = entry.next();
            if (!part) return std::nullopt;
            if (part->number == 1) key = asText(part->content);
            if (part->number == 2) value = asText(part->content);
        }
        metadata[std::move(key)] = std::move(value);
    }
    return metadata;
}

std::vector<std::string> parseLabels(std::string_view text) {
    std::vector<std::string> labels;
    while (!text.empty()) {
        const std::size_t end = text.find('\n');
        std::string_view line = text.substr(0, end);
        text = end == std::string_view::npos ? std::string_view() : text.substr(end + 1);
        if (line.ends_with('\r')) line.remove_suffix(1);
        labels.emplace_back(line);
    }
    return labels;
}

std::optional<ImageInput> imageInput(const InferenceModel& model) {
    const auto side = [](std::int64_t value) {
        return value > 0 && value < 65536 ? static_cast<int>(value) : 0;
    };
    for (const ValueDeclaration& input : model.inputs()) {
        if (input.shape.size() != 4) continue;
        if (input.shape[1] == 3) return ImageInput{input.name, side(input.shape[3]), side(input.shape[2])};
        if (input.shape[3] == 3) return ImageInput{input.name, side(input.shape[2]), side(input.shape[1])};
    }
    return std::nullopt;
}

std::vector<LabelledScore> classScores(const InferenceModel& model, std::span<const OutputTensor> outputs) {
    std::vector<LabelledScore> scores;
    for (const OutputTensor& output : outputs) {
        if (output.values.size() != model.labels().size()) continue;
        for (std::size_t index = 0; index < output.values.size(); ++index) {
            scores.push_back({model.labels()[index], output.values[index]});
        }
        break;
    }
    return scores;
}

}  // namespace kelvaris

#include "platform_linux/word_vectors.h"

#include <charconv>
#include <cmath>
#include <fstream>
#include <span>
#include <utility>

#include "base/log.h"
#include "base/vector_math.h"

namespace kelvaris {
namespace {

constexpr std::size_t lineLimit = 64 * 1024;
constexpr std::size_t dimensionLimit = 4096;

/// The numbers behind the word; none when one is malformed.
std::vector<float> numbersOf(std::string_view text) {
    std::vector<float> numbers;
    while (true) {
        const auto begin = text.find_first_not_of(" \t\r");
        if (begin == std::string_view::npos) return numbers;
        text.remove_prefix(begin);
        float value = 0.0F;
        const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
        if (error != std::errc() || !std::isfinite(value) || numbers.size() == dimensionLimit) return {};
        numbers.push_back(value);
        text.remove_prefix(static_cast<std::size_t>(end - text.data()));
    }
}

bool normalize(std::vector<float>& vector) {
    double squares = 0.0;
    for (const float value : vector) squares += static_cast<double>(value) * value;
    if (!std::isnormal(squares)) return false;
    for (float& value : vector) value = static_cast<float>(value / std::sqrt(squares));
    return true;
}

}  // namespace

bool WordVectors::load(const Path& path) {
    std::ifstream file(path.string(), std::ios::binary);
    std::string line;
    std::size_t skipped = 0;
    for (bool isFirst = true; numbers_.size() < wordLimit && std::getline(file, line); isFirst = false) {
        const auto wordEnd = line.find_first_of(" \t");
        auto vector = wordEnd == std::string::npos || wordEnd == 0 || line.size() > lineLimit
                          ? std::vector<float>()
                          : numbersOf(std::string_view(line).substr(wordEnd));
        if (isFirst && vector.size() == 1) continue;
        if (dimension_ == 0) dimension_ = vector.size();
        if (vector.empty() || vector.size() != dimension_ || !normalize(vector)) {
            ++skipped;
            continue;
        }
        if (!numbers_.emplace(line.substr(0, wordEnd), numbers_.size()).second) continue;
        vectors_.insert(vectors_.end(), vector.begin(), vector.end());
    }
    if (skipped > 0) log::info("Search", "{} lines of {} are no word vectors", skipped, path.filename());
    if (numbers_.empty()) log::error("Search", "No word vectors could be read from {}", path.string());
    isLoaded_ = !numbers_.empty();
    return isLoaded_;
}

std::optional<double> WordVectors::distance(std::string_view a, std::string_view b) const {
    if (!isLoaded_) return std::nullopt;
    const auto first = numbers_.find(a);
    const auto second = numbers_.find(b);
    if (first == numbers_.end() || second == numbers_.end()) return std::nullopt;
    const auto vector = [this](std::size_t number) {
        return std::span(vectors_).subspan(number * dimension_, dimension_);
    };
    return 1.0 - cosineSimilarity(vector(first->second), vector(second->second));
}

}  // namespace kelvaris

#pragma once

#include <optional>
#include <string_view>

namespace kelvaris {

/// How near two English words are in meaning. Any thread.
class WordSimilarity {
public:
    virtual ~WordSimilarity() = default;

    /// The cosine distance of two lower-case words: 0 for the same meaning, 1 and above for unrelated
    /// ones. Nothing when either word is unknown.
    virtual std::optional<double> distance(std::string_view a, std::string_view b) const = 0;
};

}  // namespace kelvaris

#pragma once

#include <map>
#include <string>
#include <utility>

#include "platform/word_similarity.h"

namespace kelvaris {

/// Knows exactly the pairs of words that a test gave it, in either order.
class FakeWordSimilarity final : public WordSimilarity {
public:
    std::optional<double> distance(std::string_view a, std::string_view b) const override {
        ++questions;
        const auto found = distances.find(a < b ? std::pair(std::string(a), std::string(b))
                                                : std::pair(std::string(b), std::string(a)));
        if (found == distances.end()) return std::nullopt;
        return found->second;
    }
    void set(std::string a, std::string b, double distance) {
        if (b < a) std::swap(a, b);
        distances[{std::move(a), std::move(b)}] = distance;
    }

    std::map<std::pair<std::string, std::string>, double> distances;
    mutable int questions = 0;  ///< for tests on one thread
};

}  // namespace kelvaris

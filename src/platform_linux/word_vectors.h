#pragma once

#include <atomic>
#include <string>
#include <unordered_map>
#include <vector>

#include "base/path.h"
#include "platform/word_similarity.h"

namespace kelvaris {

/// Nearness in meaning from a table of word vectors that the user has: a text file with a word and its
/// numbers a line, separated by blanks. A first line of two numbers (how many words, how many numbers) is
/// skipped.
class WordVectors final : public WordSimilarity {
public:
    /// Words beyond are left out: such files begin with the frequent ones, and some hold millions.
    static constexpr std::size_t wordLimit = 200'000;

    /// Reads the file; until then no word is known. Call once, on any thread. Lines that are no vectors of
    /// the first one's length are skipped with a line in the log. @return false when no word was read.
    bool load(const Path& file);

    std::optional<double> distance(std::string_view a, std::string_view b) const override;

private:
    struct Hash : std::hash<std::string_view> {
        using is_transparent = void;
    };

    std::size_t dimension_ = 0;
    std::unordered_map<std::string, std::size_t, Hash, std::equal_to<>> numbers_;
    std::vector<float> vectors_;  ///< unit vectors, one after the other
    std::atomic<bool> isLoaded_{false};
};

}  // namespace kelvaris

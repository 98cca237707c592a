#pragma once

#include <atomic>
#include <memory>

#include "base/path.h"
#include "platform/word_similarity.h"

namespace kelvaris {

/// Nearness in meaning from the files of WordNet (nouns and verbs).
///
/// A word is a sparse vector over everything that its two most frequent senses are kinds of. An entry is
/// the square of the concept's information content, halved for the second sense and for verbs: what many
/// words share says little. Information content: 1 - log(1 + number of kinds) / log(number of concepts).
/// So the cosine of near synonyms and of things of one narrow kind is well above 0.03, where the search
/// begins to count, and that of things which have little more in common than being objects stays below.
/// Inflected words count as their base form.
class WordNetSimilarity final : public WordSimilarity {
public:
    /// Where Debian's wordnet-base installs the files.
    static constexpr std::string_view installedFolder = "/usr/share/wordnet";

    WordNetSimilarity();
    ~WordNetSimilarity() override;

    /// Reads index and data files in the folder: some 20 MB, part of a second. Until then no word is
    /// known. Call once, on any thread. @return false when they are not there or are no such files.
    bool load(const Path& folder);

    std::optional<double> distance(std::string_view a, std::string_view b) const override;

private:
    class Words;
    std::unique_ptr<Words> words_;
    std::atomic<bool> isLoaded_{false};
};

}  // namespace kelvaris

#pragma once

#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "discovery/color_match.h"
#include "platform/language.h"
#include "platform/word_similarity.h"
#include "vocabulary/photo_label.h"
#include "vocabulary/roll_context.h"

namespace kelvaris {

/// What the user looks for.
struct SearchQuery {
    /// More bytes than anyone types on purpose; words beyond them are left out, so that a pasted document
    /// cannot stall the search.
    static constexpr std::size_t readLimit = 1000;

    std::string typed;               ///< as the user typed it, for the text encoder
    std::vector<std::string> words;  ///< lower-case, split at blanks

    static SearchQuery from(std::string_view typed, const Language& language);
    bool isEmpty() const { return words.empty(); }
    /// The typed text up to the limit.
    std::string_view readPart() const;
};

/// How well something of a photo answers the words.
struct WordScore {
    float value = 0.0F;
    bool isDirect = false;     ///< by its letters, not by its meaning
    bool isWholeWord = false;  ///< and by a whole word or term at that
};

/// The nearness of two words in meaning when there is enough of it to count, from just above 0.1; no
/// upper bound. `words` may be nullptr.
std::optional<float> wordSimilarity(const WordSimilarity* words, std::string_view a, std::string_view b);

/// What a tag's confidence is multiplied with for one word: 1 when either contains the other, else the
/// similarity of the word to the nearest part of the tag between "_".
WordScore tagScore(std::string_view lowerCaseTag, std::string_view word, const WordSimilarity* words);

/// 1 when a term of the label contains a word or a word contains a term; else the largest similarity of a
/// word to the label's name.
WordScore labelScore(PhotoLabel label, std::span<const std::string> queryWords, const WordSimilarity* words);

/// 1 when the place name contains a word, 0.7 when it contains a country of a region that is a word.
WordScore locationScore(std::string_view lowerCasePlace, std::span<const std::string> queryWords,
                        const Language& language);

/// 1 when a word and a non-empty field of the roll contain one another.
WordScore rollMetadataScore(const RollContext& context, std::span<const std::string> queryWords,
                            const Language& language);

/// The similarity of text and picture, spread over 0 to 1.
float clipScore(float cosine);

/// The six scores of one photo. Formula of the blend: one of four rows of weights, by whether there is a
/// CLIP score and whether there is a colour score.
struct PhotoScores {
    float clip = 0.0F;
    float color = 0.0F;
    float label = 0.0F;
    float tag = 0.0F;
    float location = 0.0F;
    float roll = 0.0F;

    float blended() const;
};

}  // namespace kelvaris

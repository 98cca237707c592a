#include "discovery/search_query.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <cmath>

#include "base/log.h"
#include "base/text.h"
#include "discovery/search_vocabulary.h"

namespace kelvaris {
namespace {

bool contains(std::string_view text, std::string_view piece) {
    return text.find(piece) != std::string_view::npos;
}

/// Calls for each non-empty piece between separators; stops when the call gives true, and gives that.
template <class Separates, class Action>
bool anyPiece(std::string_view text, Separates separates, Action action) {
    std::size_t begin = 0;
    for (std::size_t i = 0; i <= text.size(); ++i) {
        if (i < text.size() && !separates(text[i])) continue;
        if (i > begin && action(text.substr(begin, i - begin))) return true;
        begin = i + 1;
    }
    return false;
}

/// Whether the word is the text or one of its words. Bytes above ASCII belong to words.
bool hasWholeWord(std::string_view text, std::string_view word) {
    if (text == word) return true;
    const auto separates = [](char c) {
        const auto byte = static_cast<unsigned char>(c);
        return byte < 0x80 && std::isalnum(byte) == 0;
    };
    return anyPiece(text, separates, [word](std::string_view piece) { return piece == word; });
}

struct BlendWeights {
    float clip;
    float color;
    float label;
    float tag;
    float location;
    float roll;
};

/// By [has CLIP score][has colour score].
constexpr BlendWeights blendWeights[2][2] = {
    {{0.00F, 0.00F, 0.30F, 0.30F, 0.20F, 0.20F}, {0.00F, 0.20F, 0.25F, 0.25F, 0.15F, 0.15F}},
    {{0.45F, 0.00F, 0.15F, 0.15F, 0.15F, 0.10F}, {0.35F, 0.15F, 0.13F, 0.13F, 0.14F, 0.10F}},
};

}  // namespace

SearchQuery SearchQuery::from(std::string_view typed, const Language& language) {
    SearchQuery query{.typed = std::string(typed), .words = {}};
    const std::string_view read = query.readPart();
    if (read.size() < typed.size()) {
        log::info("Search", "Only the first {} bytes of the query are read", read.size());
    }
    anyPiece(
        language.lowercased(read), [](char c) { return c == ' '; },
        [&](std::string_view word) {
            query.words.emplace_back(word);
            return false;
        });
    return query;
}

std::string_view SearchQuery::readPart() const {
    if (typed.size() <= readLimit) return typed;
    std::size_t end = readLimit;
    while (end > 0 && (static_cast<unsigned char>(typed[end]) & 0xC0U) == 0x80) --end;
    return std::string_view(typed).substr(0, end);
}

std::optional<float> wordSimilarity(const WordSimilarity* words, std::string_view a, std::string_view b) {
    if (words == nullptr) return std::nullopt;
    const auto distance = words->distance(a, b);
    if (!distance || !std::isfinite(*distance)) return std::nullopt;
    const auto similarity = static_cast<float>((1.0 - *distance) / 0.3);
    if (!(similarity > 0.1F)) return std::nullopt;
    return similarity;
}

WordScore tagScore(std::string_view lowerCaseTag, std::string_view word, const WordSimilarity* words) {
    if (contains(lowerCaseTag, word) || contains(word, lowerCaseTag)) {
        return {1.0F, true, hasWholeWord(lowerCaseTag, word)};
    }
    float best = 0.0F;
    if (words != nullptr) {
        anyPiece(
            lowerCaseTag, [](char c) { return c == '_'; },
            [&](std::string_view part) {
                best = std::max(best, wordSimilarity(words, word, part).value_or(0.0F));
                return false;
            });
    }
    return {.value = best};
}

WordScore labelScore(PhotoLabel label, std::span<const std::string> queryWords, const WordSimilarity* words) {
    const auto rows = labelSearchTerms();
    const auto row =
        std::find_if(rows.begin(), rows.end(), [label](const auto& each) { return each.label == label; });
    if (row == rows.end()) return {};
    WordScore score;
    for (const std::string& word : queryWords) {
        for (const std::string_view term : row->terms) {
            if (!contains(term, word) && !contains(word, term)) continue;
            score.value = 1.0F;
            score.isDirect = true;
            score.isWholeWord = score.isWholeWord || hasWholeWord(term, word);
        }
    }
    if (score.isDirect) return score;
    const std::string name = asciiLowercased(displayName(label));
    for (const std::string& word : queryWords) {
        score.value = std::max(score.value, wordSimilarity(words, word, name).value_or(0.0F));
    }
    return score;
}

WordScore locationScore(std::string_view lowerCasePlace, std::span<const std::string> queryWords,
                        const Language& language) {
    WordScore score;
    if (lowerCasePlace.empty()) return score;
    for (const std::string& word : queryWords) {
        if (contains(lowerCasePlace, word)) {
            score.value = 1.0F;
            score.isDirect = true;
            score.isWholeWord = score.isWholeWord || hasWholeWord(lowerCasePlace, word);
        }
        for (const auto& [region, countries] : regionCountries()) {
            if (region != word) continue;
            for (const std::string_view country : countries) {
                if (!contains(lowerCasePlace, language.lowercased(country))) continue;
                score.value = std::max(score.value, 0.7F);
                score.isWholeWord = true;
            }
        }
    }
    return score;
}

WordScore rollMetadataScore(const RollContext& context, std::span<const std::string> queryWords,
                            const Language& language) {
    const std::array fields{
        language.lowercased(context.cameraMake),
        language.lowercased(context.cameraModel),
        language.lowercased(context.filmName),
        context.filmISO ? std::to_string(*context.filmISO) : std::string(),
        language.lowercased(context.notes),
    };
    WordScore score;
    for (const std::string& field : fields) {
        if (field.empty()) continue;
        for (const std::string& word : queryWords) {
            if (!contains(word, field) && !contains(field, word)) continue;
            score.value = 1.0F;
            score.isDirect = true;
            score.isWholeWord = score.isWholeWord || hasWholeWord(field, word);
        }
    }
    return score;
}

float clipScore(float cosine) { return std::clamp((cosine - 0.12F) / 0.28F, 0.0F, 1.0F); }

float PhotoScores::blended() const {
    const BlendWeights& weights = blendWeights[clip > 0.0F ? 1 : 0][color > 0.0F ? 1 : 0];
    return clip * weights.clip + color * weights.color + label * weights.label + tag * weights.tag +
           location * weights.location + roll * weights.roll;
}

}  // namespace kelvaris

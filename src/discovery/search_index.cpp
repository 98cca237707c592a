#include "discovery/search_index.h"

#include <algorithm>
#include <array>
#include <utility>

#include "base/vector_math.h"

namespace kelvaris {
namespace {

/// Has the vector come from memory while the photo before is scored: each lies in a place of its own, where
/// the processor does not look ahead by itself.
void prefetch(std::span<const float> vector) {
    constexpr std::size_t line = 64 / sizeof(float);
    for (std::size_t i = 0; i < vector.size(); i += line) __builtin_prefetch(vector.data() + i);
}

}  // namespace

std::uint32_t SearchIndex::TextTable::number(std::string_view text, const Language& language) {
    if (const auto found = numbers_.find(text); found != numbers_.end()) return found->second;
    const std::string lowered = language.lowercased(text);
    const auto [entry, isNew] = numbers_.emplace(lowered, static_cast<std::uint32_t>(texts_.size()));
    const std::uint32_t number = entry->second;
    if (isNew) texts_.push_back(lowered);
    if (lowered != text) numbers_.emplace(text, number);
    return number;
}

/// What every different text of the index answers to one query, made before the photos are walked.
class SearchIndex::Answers {
public:
    Answers(const SearchIndex& index, const SearchQuery& query) : wordCount_(query.words.size()) {
        answerTags(index, query);
        places_.reserve(index.places_.texts().size());
        for (const std::string& place : index.places_.texts()) {
            places_.push_back(locationScore(place, query.words, index.language_));
        }
        for (const PhotoLabelRow& row : photoLabelRows) {
            labels_[static_cast<std::size_t>(row.label)] = labelScore(row.label, query.words, index.words_);
        }
    }

    /// The sum over tags and words, in the order of the tags and, within one, of the words.
    WordScore tags(std::span<const Tag> tags) const {
        WordScore sum;
        for (const Tag& tag : tags) {
            const std::uint32_t row = tagRows_[tag.text];
            if (row == noRow) continue;
            for (std::size_t i = 0; i < wordCount_; ++i) {
                const WordScore& answer = tagAnswers_[row + i];
                if (answer.value > 0.0F) sum.value += tag.confidence * answer.value;
                sum.isWholeWord = sum.isWholeWord || answer.isWholeWord;
            }
        }
        return sum;
    }

    const WordScore& place(std::uint32_t number) const { return places_[number]; }

    WordScore labels(PhotoLabelSet labels) const {
        WordScore best;
        for (const PhotoLabel label : labels) {
            const WordScore& answer = labels_[static_cast<std::size_t>(label)];
            best.value = std::max(best.value, answer.value);
            best.isDirect = best.isDirect || answer.isDirect;
            best.isWholeWord = best.isWholeWord || answer.isWholeWord;
        }
        if (best.isDirect) best.value = 1.0F;  // even where a similarity exceeds it
        return best;
    }

private:
    static constexpr std::uint32_t noRow = 0xFFFFFFFF;

    void answerTags(const SearchIndex& index, const SearchQuery& query) {
        const auto& texts = index.tagTexts_.texts();
        tagRows_.assign(texts.size(), noRow);
        std::vector<WordScore> row(wordCount_);
        for (std::size_t text = 0; text < texts.size(); ++text) {
            bool answers = false;
            for (std::size_t i = 0; i < wordCount_; ++i) {
                row[i] = tagScore(texts[text], query.words[i], index.words_);
                answers = answers || row[i].value > 0.0F;
            }
            if (!answers) continue;
            tagRows_[text] = static_cast<std::uint32_t>(tagAnswers_.size());
            tagAnswers_.insert(tagAnswers_.end(), row.begin(), row.end());
        }
    }

    std::size_t wordCount_;
    std::vector<std::uint32_t> tagRows_;
    std::vector<WordScore> tagAnswers_;  ///< wordCount_ of them a row
    std::vector<WordScore> places_;
    std::array<WordScore, photoLabelCount> labels_;
};

SearchIndex::Roll SearchIndex::laidOut(SearchableRollPointer source, const Roll* before) {
    Roll roll{.source = std::move(source), .photos = {}, .tags = {}, .embeddingCount = 0};
    const std::vector<SearchablePhoto>& photos = roll.source->photos;
    roll.photos.reserve(photos.size());
    for (std::size_t i = 0; i < photos.size(); ++i) {
        const SearchablePhoto& photo = photos[i];
        const bool isKnown = before != nullptr && i < before->photos.size();
        const SearchablePhoto* known = isKnown ? &before->source->photos[i] : nullptr;
        if (known != nullptr && known->visionTags == photo.visionTags) {
            const auto tags = before->tagsOf(i);
            roll.tags.insert(roll.tags.end(), tags.begin(), tags.end());
        } else if (photo.visionTags) {
            for (const auto& [tag, confidence] : *photo.visionTags) {
                roll.tags.push_back({tagTexts_.number(tag, language_), confidence});
            }
        }
        Photo laid{.clipEmbedding = {}, .labels = photo.labels, .colors = {}, .place = 0, .tagsEnd = 0};
        if (photo.clipEmbedding) laid.clipEmbedding = *photo.clipEmbedding;
        if (known != nullptr && known->dominantColors == photo.dominantColors) {
            laid.colors = before->photos[i].colors;
        } else if (photo.dominantColors) {
            laid.colors = ColorTraits(*photo.dominantColors);
        }
        laid.place = places_.number(photo.placeName ? *photo.placeName : std::string_view(), language_);
        laid.tagsEnd = static_cast<std::uint32_t>(roll.tags.size());
        roll.photos.push_back(laid);
        roll.embeddingCount += photo.clipEmbedding ? 1 : 0;
    }
    roll.tags.shrink_to_fit();
    return roll;
}

void SearchIndex::update(const std::vector<SearchableRollPointer>& rolls) {
    std::unordered_map<RollID, Roll> held;
    for (Roll& roll : rolls_) {
        const RollID id = roll.source->id;
        held.emplace(id, std::move(roll));
    }
    rolls_.clear();
    rolls_.reserve(rolls.size());
    for (const SearchableRollPointer& roll : rolls) {
        const auto found = held.find(roll->id);
        if (found == held.end()) {
            rolls_.push_back(laidOut(roll, nullptr));
            continue;
        }
        rolls_.push_back(found->second.source == roll ? std::move(found->second)
                                                      : laidOut(roll, &found->second));
        held.erase(found);
    }
}

std::size_t SearchIndex::photoCount() const {
    std::size_t count = 0;
    for (const Roll& roll : rolls_) count += roll.photos.size();
    return count;
}

std::size_t SearchIndex::embeddingCount() const {
    std::size_t count = 0;
    for (const Roll& roll : rolls_) count += roll.embeddingCount;
    return count;
}

void SearchIndex::search(const SearchQuery& query, std::span<const float> textVector, SearchOrder order,
                         const RollHits& onRoll) const {
    if (query.isEmpty()) return;
    const Answers answers(*this, query);
    const ColorQuery colors = ColorQuery::from(query.words);
    for (std::size_t number = 0; number < rolls_.size(); ++number) {
        const Roll& roll = rolls_[number];
        const WordScore metadata = rollMetadataScore(roll.source->context, query.words, language_);
        std::vector<SearchHit> hits;
        for (std::uint32_t i = 0; i < roll.photos.size(); ++i) {
            const Photo& photo = roll.photos[i];
            if (!textVector.empty() && i + 1 < roll.photos.size()) prefetch(roll.photos[i + 1].clipEmbedding);
            const auto tags = answers.tags(roll.tagsOf(i));
            const auto labels = answers.labels(photo.labels);
            const auto& place = answers.place(photo.place);
            const PhotoScores scores{
                .clip = clipScore(cosineSimilarity(textVector, photo.clipEmbedding)),
                .color = photo.colors.score(colors),
                .label = labels.value,
                .tag = tags.value,
                .location = place.value,
                .roll = metadata.value,
            };
            const float score = scores.blended();
            if (!(score > 0.0F)) continue;
            hits.push_back(
                {i, score,
                 tags.isWholeWord || labels.isWholeWord || place.isWholeWord || metadata.isWholeWord});
        }
        if (hits.empty()) continue;
        std::stable_sort(hits.begin(), hits.end(), [order](const SearchHit& a, const SearchHit& b) {
            if (order == SearchOrder::keywordFirst && a.isWholeWordHit != b.isWholeWordHit) {
                return a.isWholeWordHit;
            }
            return a.score > b.score;
        });
        if (!onRoll(number, hits)) return;
    }
}

}  // namespace kelvaris

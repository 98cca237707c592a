#pragma once

#include <cstdint>
#include <functional>
#include <span>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "discovery/search_query.h"
#include "discovery/searchable.h"

namespace kelvaris {

/// How the photos of one roll stand in a result.
enum class SearchOrder : std::uint8_t {
    score,         ///< best score first
    keywordFirst,  ///< photos that a whole word of the query hits, then the others, each best score first
};

/// One found photo.
struct SearchHit {
    std::uint32_t position;  ///< in the roll as it was handed in
    float score;             ///< above 0
    bool isWholeWordHit;
};

/// The photos of many rolls, laid out for a linear pass: a library has half a million photos, but only
/// about fifteen hundred different tags, so each different text is compared with a query once, and a photo
/// costs a few table look-ups and one dot product. Held by one thread at a time; reads no live object.
class SearchIndex {
public:
    /// Both must outlive the index. @param words may be nullptr: then only substrings and CLIP count.
    SearchIndex(const Language& language, const WordSimilarity* words) : language_(language), words_(words) {}

    /// Makes the index hold exactly these rolls, in this order. Those that it holds already cost nothing,
    /// and of the others the photos that have changed.
    void update(const std::vector<SearchableRollPointer>& rolls);

    std::size_t rollCount() const { return rolls_.size(); }
    std::size_t photoCount() const;
    RollID rollID(std::size_t roll) const { return rolls_[roll].source->id; }
    PhotoID photoID(std::size_t roll, std::size_t position) const {
        return rolls_[roll].source->photos[position].id;
    }
    /// Photos with a CLIP vector.
    std::size_t embeddingCount() const;

    /// Scores every photo. Calls back for each roll with hits, in order, with its number in the index and
    /// the hits in the order asked for; equal ones stand as the photos do. A false answer ends the search.
    /// @param textVector the query's CLIP vector; empty when there is none.
    using RollHits = std::function<bool(std::size_t roll, const std::vector<SearchHit>& hits)>;
    void search(const SearchQuery& query, std::span<const float> textVector, SearchOrder order,
                const RollHits& onRoll) const;

private:
    /// Different texts in lower case by number; numbers are never given twice.
    class TextTable {
    public:
        /// Each way of writing a text is made lower-case but once.
        std::uint32_t number(std::string_view text, const Language& language);
        const std::vector<std::string>& texts() const { return texts_; }

    private:
        struct Hash : std::hash<std::string_view> {
            using is_transparent = void;
        };
        std::unordered_map<std::string, std::uint32_t, Hash, std::equal_to<>> numbers_;
        std::vector<std::string> texts_;
    };

    struct Tag {
        std::uint32_t text;
        float confidence;
    };
    struct Photo {
        std::span<const float> clipEmbedding;
        PhotoLabelSet labels;
        ColorTraits colors;
        std::uint32_t place;
        std::uint32_t tagsEnd;  ///< its tags in the roll's list begin where those of the photo before end
    };
    struct Roll {
        SearchableRollPointer source;
        std::vector<Photo> photos;
        std::vector<Tag> tags;
        std::size_t embeddingCount;

        std::span<const Tag> tagsOf(std::size_t photo) const {
            const std::uint32_t begin = photo == 0 ? 0 : photos[photo - 1].tagsEnd;
            return std::span(tags).subspan(begin, photos[photo].tagsEnd - begin);
        }
    };
    class Answers;

    /// @param before the roll as it was laid out last, which spares the photos that are as they were; may
    ///        be null.
    Roll laidOut(SearchableRollPointer source, const Roll* before);

    const Language& language_;
    const WordSimilarity* words_;
    TextTable tagTexts_;
    TextTable places_;
    std::vector<Roll> rolls_;
};

}  // namespace kelvaris

#pragma once

#include <memory>
#include <span>
#include <string_view>
#include <vector>

#include "analysis/embedding_ports.h"
#include "discovery/search_index.h"

namespace kelvaris {

/// One found photo of one roll.
struct SearchResult {
    PhotoID photo;
    float score;

    bool operator==(const SearchResult&) const = default;
};

/// Answers free-text queries over photos. Each screen has its own; one thread at a time.
class SearchService {
public:
    /// Language and words must outlive the service, and so must the embedder. @param words and
    /// @param embedder may be nullptr: that part of the score is then 0.
    SearchService(const Language& language, const WordSimilarity* words, TextEmbedder* embedder)
        : language_(language), embedder_(embedder), index_(language, words) {}

    /// The query's CLIP vector, or an empty one. Runs the model; any worker.
    std::vector<float> textVector(const SearchQuery& query) const;

    /// What later searches look through. Rolls that were there before cost nothing.
    void update(const std::vector<SearchableRollPointer>& rolls) { index_.update(rolls); }
    const SearchIndex& index() const { return index_; }

    /// Looks through all rolls with a vector made before. See SearchIndex::search.
    void search(const SearchQuery& query, std::span<const float> textVector, SearchOrder order,
                const SearchIndex::RollHits& onRoll) const;

    /// The photos of one roll that answer the query, in result order. Runs the model.
    std::vector<SearchResult> search(std::string_view query, SearchableRoll photos,
                                     SearchOrder order = SearchOrder::score);

private:
    const Language& language_;
    TextEmbedder* embedder_;
    SearchIndex index_;
};

}  // namespace kelvaris

#include "discovery/search_service.h"

#include "base/log.h"

namespace kelvaris {
namespace {

constexpr std::string_view category = "Search";

}  // namespace

std::vector<float> SearchService::textVector(const SearchQuery& query) const {
    if (embedder_ == nullptr || query.isEmpty()) return {};
    auto embedding = embedder_->textEmbedding(query.typed);
    if (!embedding) {
        log::error(category, "CLIP text embedding failed for '{}': {}", query.readPart(), embedding.error());
        return {};
    }
    return std::move(*embedding).value_or(std::vector<float>());
}

void SearchService::search(const SearchQuery& query, std::span<const float> textVector, SearchOrder order,
                           const SearchIndex::RollHits& onRoll) const {
    if (query.isEmpty()) return;
    log::debug(category, "Search '{}': CLIP text={}, embeddings={}/{}", query.readPart(), !textVector.empty(),
               index_.embeddingCount(), index_.photoCount());
    index_.search(query, textVector, order, onRoll);
}

std::vector<SearchResult> SearchService::search(std::string_view typed, SearchableRoll photos,
                                                SearchOrder order) {
    const auto query = SearchQuery::from(typed, language_);
    if (query.isEmpty()) return {};
    update({std::make_shared<const SearchableRoll>(std::move(photos))});
    std::vector<SearchResult> results;
    search(query, textVector(query), order, [&](std::size_t roll, const std::vector<SearchHit>& hits) {
        for (const SearchHit& hit : hits) {
            results.push_back({index_.photoID(roll, hit.position), hit.score});
        }
        return true;
    });
    return results;
}

}  // namespace kelvaris

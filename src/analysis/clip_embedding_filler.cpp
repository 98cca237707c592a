#include "analysis/clip_embedding_filler.h"

#include "base/log.h"

namespace kelvaris {
namespace {

constexpr std::string_view category = "Analysis";
constexpr std::size_t batchSize = 16;

}  // namespace

void ClipEmbeddingFiller::ensureCLIPEmbeddings(const PhotoList& photos, std::function<void()> onStored) {
    if (!embedder_.isEnabled()) return;
    std::vector<PhotoSnapshot> snapshots;
    for (const PhotoPointer& photo : photos) {
        if (photo->isMissing() || photo->clipEmbedding() || !clipInFlightIDs_.insert(photo->id()).second)
            continue;
        snapshots.push_back(PhotoSnapshot::of(photo));
    }
    if (snapshots.empty()) return;
    queue_.add(
        [this, snapshots = std::move(snapshots), &embedder = embedder_, &main = main_,
         onStored = std::move(onStored), cancellation = cancellation_, alive = lifetime_.weak()] {
            Batch batch;
            std::size_t created = 0;
            const auto hand = [&] {
                if (batch.empty()) return;
                main.post([this, alive, onStored, batch = std::make_shared<Batch>(std::move(batch))] {
                    if (alive.lock() && apply(std::move(*batch)) && onStored) onStored();
                });
                batch.clear();
            };
            const bool isLoaded = embedder.load();
            if (isLoaded) {
                log::info(category, "Generating CLIP embeddings for {} photos (deferred)", snapshots.size());
            }
            for (const PhotoSnapshot& snapshot : snapshots) {
                if (cancellation->isCancelled()) return;
                std::optional<std::vector<float>> vector;
                if (isLoaded) {
                    auto result = embedder.imageEmbedding(snapshot.sourceURL, snapshot.rotation);
                    if (result) {
                        vector = std::move(*result);
                    } else {
                        log::error(category, "CLIP embedding failed for {}: {}", snapshot.filename,
                                   result.error());
                    }
                }
                created += vector ? 1 : 0;
                batch.emplace_back(snapshot, std::move(vector));
                if (batch.size() == batchSize) hand();
            }
            hand();
            if (isLoaded)
                log::info(category, "CLIP embedding generation complete: {} embeddings created", created);
        },
        OperationPriority::veryLow);
}

bool ClipEmbeddingFiller::apply(Batch batch) {
    bool hasWritten = false;
    for (auto& [snapshot, vector] : batch) {
        clipInFlightIDs_.erase(snapshot.id);
        if (!vector) continue;
        const PhotoPointer photo = snapshot.current();
        if (!photo) continue;
        photo->setClipEmbedding(std::move(*vector));
        ++storedCount_;
        hasWritten = true;
    }
    return hasWritten;
}

}  // namespace kelvaris

#pragma once

#include <functional>
#include <memory>
#include <unordered_set>
#include <utility>
#include <vector>

#include "analysis/analysis_cancellation.h"
#include "analysis/embedding_ports.h"
#include "analysis/photo_snapshot.h"
#include "base/lifetime.h"
#include "base/main_queue.h"
#include "base/operation_queue.h"

namespace kelvaris {

/// Makes the CLIP vectors that photos still lack, late, when a search needs them. Main thread; the models
/// run on the queue, one photo after the other.
class ClipEmbeddingFiller {
public:
    /// All must outlive the filler, and the embedder the queue's work. The work goes behind all other of
    /// its queue, but holds a place in it for as long as the photos take: let nobody wait for the queue.
    ClipEmbeddingFiller(ImageEmbedder& embedder, OperationQueue& queue, MainQueue& main)
        : embedder_(embedder), queue_(queue), main_(main) {}
    /// Work that is under way ends at its next photo.
    ~ClipEmbeddingFiller() { cancellation_->cancel(); }

    /// Takes every photo without a vector that is not being worked on; nothing when the model is off.
    /// Vectors are written in batches, each to a photo that is still as it was.
    /// @param onStored called after a batch of which something was written; may be empty.
    void ensureCLIPEmbeddings(const PhotoList& photos, std::function<void()> onStored = {});

    /// Photos that were taken and have not been answered for.
    std::size_t inFlightCount() const { return clipInFlightIDs_.size(); }
    /// Vectors that were written since the filler was made.
    std::size_t storedCount() const { return storedCount_; }

private:
    using Batch = std::vector<std::pair<PhotoSnapshot, std::optional<std::vector<float>>>>;

    /// @return whether anything was written.
    bool apply(Batch batch);

    ImageEmbedder& embedder_;
    OperationQueue& queue_;
    MainQueue& main_;
    std::unordered_set<PhotoID> clipInFlightIDs_;
    std::size_t storedCount_ = 0;
    AnalysisCancellationPointer cancellation_ = std::make_shared<AnalysisCancellation>();
    Lifetime lifetime_;
};

}  // namespace kelvaris

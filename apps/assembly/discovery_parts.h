#pragma once

#include <string>

#include "application/discovery.h"
#include "assembly/kelvaris_system.h"
#include "base/operation_queue.h"
#include "platform_linux/vips_codec.h"
#include "platform_linux/word_vectors.h"
#include "platform_linux/wordnet_similarity.h"

namespace kelvaris {

/// The searches over a running system, apart from it since most runs search nothing. They know words from
/// the user's own table of word vectors when there is one, else from WordNet; either is read on the
/// searches' queue, before the first of them runs.
class DiscoveryParts {
public:
    /// @param system outlives this.
    explicit DiscoveryParts(KelvarisSystem& system)
        : vectorsFile_(system.places().data / "word-vectors.txt"),
          hasVectors_(system.files().exists(vectorsFile_)),
          discovery_(system.app(), system.language(), words(), system.discoveryModels(), queues_,
                     system.main()) {
        discovery_.queue().add([this] {
            if (hasVectors_) {
                vectors_.load(vectorsFile_);
            } else {
                wordNet_.load(Path(std::string(WordNetSimilarity::installedFolder)));
            }
        });
    }

    Discovery& discovery() { return discovery_; }

private:
    const WordSimilarity* words() const {
        if (hasVectors_) return &vectors_;
        return &wordNet_;
    }

    const Path vectorsFile_;
    const bool hasVectors_;
    WordVectors vectors_;
    WordNetSimilarity wordNet_;
    ThreadedOperationQueueFactory queues_{&VipsImageCodec::endThread};
    Discovery discovery_;
};

}  // namespace kelvaris

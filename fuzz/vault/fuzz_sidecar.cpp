#include <cstdlib>

#include "vault/embedding_sidecar.h"

using namespace kelvaris;

/// Encoding what was decoded is stable; no count makes memory run away.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const auto embeddings = EmbeddingSidecar::decode(ByteView(data, size));
    if (!embeddings) return 0;
    const Bytes bytes = EmbeddingSidecar::encode(*embeddings);
    const auto again = EmbeddingSidecar::decode(bytes);
    if (!again || EmbeddingSidecar::encode(*again) != bytes) std::abort();
    return 0;
}

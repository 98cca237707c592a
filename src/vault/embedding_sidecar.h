#pragma once

#include <optional>

#include "base/bytes.h"
#include "vocabulary/photo_embeddings.h"

namespace kelvaris {

/// The binary file beside the vault that keeps the vectors of a roll's photos. All integers are unsigned
/// 32-bit little-endian, floats IEEE 754 binary32 little-endian, without padding:
///
///     "KVEM", format version 1, photo count
///     per photo, by ascending bytes of its file name:
///         name length in bytes, name in UTF-8,
///         floats of the scene vector (0: none), the vector,
///         face count, per face: floats of its vector, the vector
struct EmbeddingSidecar {
    /// The same map always gives the same bytes. Any thread.
    static Bytes encode(const EmbeddingsByFilename& embeddings);

    /// One pass; memory stays bounded by the size of the data, whatever its counts claim. Any thread.
    /// @return nothing when the data ends early, is of another kind or version, or a name is not UTF-8.
    static std::optional<EmbeddingsByFilename> decode(ByteView data);
};

}  // namespace kelvaris

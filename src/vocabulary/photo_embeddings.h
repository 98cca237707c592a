#pragma once

#include <map>
#include <optional>
#include <string>
#include <vector>

namespace kelvaris {

/// The vectors of one photo as the sidecar holds them.
struct PhotoEmbeddings {
    std::optional<std::vector<float>> clip;
    std::vector<std::vector<float>> faces;  ///< one a face, in the order of the photo's regions

    bool operator==(const PhotoEmbeddings&) const = default;
};

/// A whole sidecar, by file name.
using EmbeddingsByFilename = std::map<std::string, PhotoEmbeddings>;

}  // namespace kelvaris

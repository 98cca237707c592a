#pragma once

#include <cstddef>

namespace kelvaris {

/// What a foreign document may cost before it is given up.
struct YamlLimits {
    std::size_t bytes = 64 << 20;          ///< of the text
    std::size_t depth = 64;                ///< of collections in collections
    std::size_t replayedEvents = 100'000;  ///< that aliases repeat, all together
    std::size_t recordedBytes = 16 << 20;  ///< that anchors keep for their aliases
};

}  // namespace kelvaris

#pragma once

#include <optional>
#include <string>

namespace kelvaris {

/// A roll's free-text metadata as the search reads it.
struct RollContext {
    std::string cameraMake;
    std::string cameraModel;
    std::string filmName;
    std::optional<int> filmISO;
    std::string notes;

    bool operator==(const RollContext&) const = default;
};

}  // namespace kelvaris

#pragma once

#include <array>
#include <utility>

#include "vocabulary/raw_value.h"

namespace kelvaris {

/// Clockwise turn of a picture, stored as its number of degrees.
enum class RotationAngle { none, clockwise90, clockwise180, clockwise270 };

template <>
struct RawValues<RotationAngle> {
    static constexpr std::array rows{
        std::pair{RotationAngle::none, 0},
        std::pair{RotationAngle::clockwise90, 90},
        std::pair{RotationAngle::clockwise180, 180},
        std::pair{RotationAngle::clockwise270, 270},
    };
};

}  // namespace kelvaris

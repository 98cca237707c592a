#pragma once

#include <cstdint>

#include "vocabulary/raw_value.h"

namespace kelvaris {

/// Clockwise turn of the upright picture. Stored as its number of degrees.
enum class RotationAngle : std::uint8_t { none, clockwise90, clockwise180, clockwise270 };

template <>
struct RawValues<RotationAngle> {
    static constexpr std::array rows{
        std::pair{RotationAngle::none, 0},
        std::pair{RotationAngle::clockwise90, 90},
        std::pair{RotationAngle::clockwise180, 180},
        std::pair{RotationAngle::clockwise270, 270},
    };
};

/// The next value clockwise.
constexpr RotationAngle rotatedClockwise(RotationAngle angle) {
    return static_cast<RotationAngle>((static_cast<int>(angle) + 1) % 4);
}

/// The next value counter-clockwise.
constexpr RotationAngle rotatedCounterClockwise(RotationAngle angle) {
    return static_cast<RotationAngle>((static_cast<int>(angle) + 3) % 4);
}

/// The angle in degrees by which an animated view turns: the short way round, so -90 for 270.
constexpr double displayDegrees(RotationAngle angle) {
    return angle == RotationAngle::clockwise270 ? -90.0 : static_cast<double>(rawValue(angle));
}

}  // namespace kelvaris

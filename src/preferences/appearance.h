#pragma once

#include <array>
#include <cstdint>
#include <string_view>

#include "vocabulary/raw_value.h"

namespace kelvaris {

/// The colour of highlighted controls. Stored by its word.
enum class AccentColorOption : std::uint8_t { orange, red, purple, blue, green, yellow };

template <>
struct RawValues<AccentColorOption> {
    static constexpr std::array rows{
        std::pair{AccentColorOption::orange, std::string_view("orange")},
        std::pair{AccentColorOption::red, std::string_view("red")},
        std::pair{AccentColorOption::purple, std::string_view("purple")},
        std::pair{AccentColorOption::blue, std::string_view("blue")},
        std::pair{AccentColorOption::green, std::string_view("green")},
        std::pair{AccentColorOption::yellow, std::string_view("yellow")},
    };
};

/// The size of texts on the screens. Stored by its word.
enum class TextSizeOption : std::uint8_t { standard, large, larger };

template <>
struct RawValues<TextSizeOption> {
    static constexpr std::array rows{
        std::pair{TextSizeOption::standard, std::string_view("default")},
        std::pair{TextSizeOption::large, std::string_view("large")},
        std::pair{TextSizeOption::larger, std::string_view("larger")},
    };
};

}  // namespace kelvaris

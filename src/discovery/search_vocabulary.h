#pragma once

#include <array>
#include <cstdint>
#include <initializer_list>
#include <span>
#include <string_view>

#include "vocabulary/photo_label.h"

namespace kelvaris {

/// The fixed words of the search, all lower-case but the countries, which stand as a geocoder writes them.

struct LabelSearchTerms {
    PhotoLabel label;
    std::initializer_list<std::string_view> terms;
};

/// One row for every label.
std::span<const LabelSearchTerms> labelSearchTerms();

struct RegionCountries {
    std::string_view region;
    std::initializer_list<std::string_view> countries;
};

std::span<const RegionCountries> regionCountries();

/// A colour word's range of hues in degrees, both ends inclusive; low above high wraps through 0.
struct ColorTermRange {
    std::string_view word;
    double low;
    double high;

    constexpr bool contains(double hue) const {
        return low <= high ? hue >= low && hue <= high : hue >= low || hue <= high;
    }
};

inline constexpr std::array colorTermRanges{
    ColorTermRange{"red", 330, 30},   ColorTermRange{"orange", 15, 45}, ColorTermRange{"yellow", 45, 75},
    ColorTermRange{"green", 75, 165}, ColorTermRange{"blue", 195, 270}, ColorTermRange{"purple", 270, 330},
};

/// A word for several colours at once.
struct TemperatureTerm {
    std::string_view word;
    std::array<std::string_view, 3> colors;
};

inline constexpr std::array temperatureTerms{
    TemperatureTerm{"warm", {"red", "orange", "yellow"}},
    TemperatureTerm{"cool", {"blue", "green", "purple"}},
};

/// Weights of dominant colours by their position; every later position weighs as the last.
inline constexpr std::array colorRankWeights{1.0F, 0.7F, 0.5F, 0.35F, 0.25F, 0.2F};

}  // namespace kelvaris

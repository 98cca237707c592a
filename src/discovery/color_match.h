#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>

namespace kelvaris {

/// The hue in degrees, 0 up to 360, of a colour of six hex digits with or without "#". Nothing for a grey
/// (channels at most 0.01 apart) and for a text that is no colour. Formula: the HSV model.
std::optional<double> hueFromHex(std::string_view hex);

/// What the words of a query say about colours.
struct ColorQuery {
    std::uint8_t neutrals = 0;  ///< bits of neutral words
    std::uint8_t hues = 0;      ///< bits of rows of colorTermRanges

    static ColorQuery from(std::span<const std::string> words);
    bool isEmpty() const { return neutrals == 0 && hues == 0; }
};

/// A photo's dominant colours as far as the search can tell them apart, in four bytes: which neutral
/// words they satisfy, and the first position at which each hue range is met. Made once per photo, so that
/// a query reads no hex digits.
class ColorTraits {
public:
    ColorTraits() = default;
    /// Texts that are no colours keep their position and match nothing.
    explicit ColorTraits(std::span<const std::string> hexColors);

    /// 1 for a neutral word that a colour satisfies; else the largest rank weight of a colour within one of
    /// the query's hue ranges; else 0.
    float score(ColorQuery query) const;

    bool operator==(const ColorTraits&) const = default;

private:
    static constexpr unsigned noPosition = 7;

    std::uint32_t neutrals_ : 4 = 0;
    std::uint32_t positions_ : 18 = 0x3FFFF;  ///< three bits a hue row; noPosition where none meets it
};

}  // namespace kelvaris

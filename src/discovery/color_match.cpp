#include "discovery/color_match.h"

#include <algorithm>
#include <array>
#include <cmath>

#include "discovery/search_vocabulary.h"

namespace kelvaris {
namespace {

struct Channels {
    int red;
    int green;
    int blue;

    int largest() const { return std::max({red, green, blue}); }
    int smallest() const { return std::min({red, green, blue}); }
};

enum NeutralBit : std::uint8_t { blackBit = 1, whiteBit = 2, grayBit = 4, monochromeBit = 8 };

struct NeutralWord {
    std::string_view word;
    NeutralBit bit;
};

constexpr std::array neutralWords{
    NeutralWord{"black", blackBit}, NeutralWord{"white", whiteBit},           NeutralWord{"gray", grayBit},
    NeutralWord{"grey", grayBit},   NeutralWord{"monochrome", monochromeBit},
};

int hexDigit(char c) {
    if (c >= '0' && c <= '9') return c - '0';
    if (c >= 'a' && c <= 'f') return c - 'a' + 10;
    if (c >= 'A' && c <= 'F') return c - 'A' + 10;
    return -1;
}

std::optional<Channels> channelsFromHex(std::string_view hex) {
    if (hex.starts_with('#')) hex.remove_prefix(1);
    if (hex.size() != 6) return std::nullopt;
    std::array<int, 3> channels{};
    for (std::size_t i = 0; i < 6; ++i) {
        const int digit = hexDigit(hex[i]);
        if (digit < 0) return std::nullopt;
        channels[i / 2] = channels[i / 2] * 16 + digit;
    }
    return Channels{channels[0], channels[1], channels[2]};
}

std::optional<double> hue(const Channels& color) {
    const int largest = color.largest();
    const double spread = largest - color.smallest();
    if (spread / 255.0 <= 0.01) return std::nullopt;
    double degrees = 0.0;
    if (largest == color.red) {
        degrees = 60.0 * std::fmod((color.green - color.blue) / spread, 6.0);
    } else if (largest == color.green) {
        degrees = 60.0 * ((color.blue - color.red) / spread + 2.0);
    } else {
        degrees = 60.0 * ((color.red - color.green) / spread + 4.0);
    }
    return degrees < 0.0 ? degrees + 360.0 : degrees;
}

std::uint8_t neutralsOf(const Channels& color) {
    const int largest = color.largest();
    const int smallest = color.smallest();
    if (largest - smallest >= 30) return 0;
    std::uint8_t bits = monochromeBit;
    if (largest < 65) bits |= blackBit;
    if (smallest > 195) bits |= whiteBit;
    if (largest >= 65 && smallest <= 195) bits |= grayBit;
    return bits;
}

std::uint8_t hueBit(std::string_view word) {
    for (std::size_t row = 0; row < colorTermRanges.size(); ++row) {
        if (colorTermRanges[row].word == word) return static_cast<std::uint8_t>(1U << row);
    }
    return 0;
}

}  // namespace

std::optional<double> hueFromHex(std::string_view hex) {
    const auto color = channelsFromHex(hex);
    return color ? hue(*color) : std::nullopt;
}

ColorQuery ColorQuery::from(std::span<const std::string> words) {
    ColorQuery query;
    for (const std::string& word : words) {
        for (const auto& [neutral, bit] : neutralWords) {
            if (neutral == word) query.neutrals |= bit;
        }
        query.hues |= hueBit(word);
        for (const auto& [temperature, colors] : temperatureTerms) {
            if (temperature != word) continue;
            for (const std::string_view color : colors) query.hues |= hueBit(color);
        }
    }
    return query;
}

ColorTraits::ColorTraits(std::span<const std::string> hexColors) {
    for (std::size_t i = 0; i < hexColors.size(); ++i) {
        const auto color = channelsFromHex(hexColors[i]);
        if (!color) continue;
        neutrals_ |= neutralsOf(*color);
        const auto degrees = hue(*color);
        if (!degrees) continue;
        const auto position = static_cast<unsigned>(std::min(i, colorRankWeights.size() - 1));
        for (unsigned row = 0; row < colorTermRanges.size(); ++row) {
            const bool isMet = ((positions_ >> (3 * row)) & 7U) != noPosition;
            if (isMet || !colorTermRanges[row].contains(*degrees)) continue;
            positions_ = (positions_ & ~(7U << (3 * row))) | (position << (3 * row));
        }
    }
}

float ColorTraits::score(ColorQuery query) const {
    if ((neutrals_ & query.neutrals) != 0) return 1.0F;
    unsigned best = noPosition;
    for (unsigned row = 0; row < colorTermRanges.size(); ++row) {
        if ((query.hues >> row & 1U) != 0) best = std::min(best, (positions_ >> (3 * row)) & 7U);
    }
    return best == noPosition ? 0.0F : colorRankWeights[best];
}

}  // namespace kelvaris

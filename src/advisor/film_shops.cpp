#include "advisor/film_shops.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cmath>

namespace kelvaris {

namespace {

struct BrandColor {
    std::string_view name;
    std::string_view color;
};

// The registry: the color that each brand's boxes are known by.
constexpr std::array registry{
    BrandColor{"Kodak", "#F2B701"},      BrandColor{"Fujifilm", "#01A04F"},
    BrandColor{"Ilford", "#5B6770"},     BrandColor{"Kentmere", "#7A4B9A"},
    BrandColor{"Harman", "#D6442A"},     BrandColor{"Agfa", "#E2231A"},
    BrandColor{"AgfaPhoto", "#C8102E"},  BrandColor{"Foma", "#2E6DB4"},
    BrandColor{"Rollei", "#B21F2D"},     BrandColor{"Adox", "#1D4F91"},
    BrandColor{"Bergger", "#6B3FA0"},    BrandColor{"CineStill", "#E4572E"},
    BrandColor{"Lomography", "#EC008C"}, BrandColor{"Ferrania", "#0085CA"},
    BrandColor{"Polaroid", "#00A3AD"},   BrandColor{"Konica", "#2454A4"},
    BrandColor{"ORWO", "#F08A00"},       BrandColor{"JCH", "#3A3A3A"},
};

constexpr std::array retailers{
    FilmRetailer{"KEH", "https://www.keh.com/shop/search?q={query}"},
    FilmRetailer{"Film Photography Store", "https://filmphotographystore.com/search?q={query}"},
    FilmRetailer{"Adorama", "https://www.adorama.com/l/?searchinfo={query}+film"},
    FilmRetailer{"B&H Photo", "https://www.bhphotovideo.com/c/search?Ntt={query}&N=0&InitialSearch=yes"},
    FilmRetailer{"eBay", "https://www.ebay.com/sch/i.html?_nkw={query}+film"},
    FilmRetailer{"Amazon", "https://www.amazon.com/s?k={query}+film"},
};

bool isUnreserved(unsigned char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '-' ||
           c == '.' || c == '_' || c == '~';
}

std::string percentEncoded(std::string_view text) {
    std::string encoded;
    for (const char c : text) {
        const auto byte = static_cast<unsigned char>(c);
        if (isUnreserved(byte)) {
            encoded += c;
        } else {
            encoded += fmt::format("%{:02X}", byte);
        }
    }
    return encoded;
}

// A color of the given hue (degrees) at a saturation and lightness that read well on dark and light.
std::string colorOfHue(double hue) {
    constexpr double saturation = 0.55;
    constexpr double lightness = 0.5;
    constexpr double chroma = (1 - std::abs(2 * lightness - 1)) * saturation;
    const auto channel = [&](double offset) {
        const double k = std::fmod(offset + hue / 30, 12);
        const double value = lightness - chroma / 2 * std::max(-1.0, std::min({k - 3, 9 - k, 1.0}));
        return static_cast<int>(std::lround(value * 255));
    };
    return fmt::format("#{:02X}{:02X}{:02X}", channel(0), channel(8), channel(4));
}

}  // namespace

std::uint64_t stableHash(std::string_view bytes) {
    std::uint64_t hash = 0xcbf29ce484222325;
    for (const char c : bytes) {
        hash ^= static_cast<unsigned char>(c);
        hash *= 0x100000001b3;
    }
    return hash;
}

std::optional<FilmBrand> FilmBrand::brand(std::string_view name) {
    for (const BrandColor& row : registry) {
        if (row.name == name) return FilmBrand{std::string(row.name), std::string(row.color)};
    }
    return std::nullopt;
}

FilmBrand FilmBrand::fallback(std::string_view name) {
    return {std::string(name), colorOfHue(static_cast<double>(stableHash(name) % 360))};
}

std::string FilmRetailer::searchURL(std::string_view filmName) const {
    constexpr std::string_view place = "{query}";
    std::string url(searchURLTemplate);
    return url.replace(url.find(place), place.size(), percentEncoded(filmName));
}

std::span<const FilmRetailer> FilmRetailer::all() { return retailers; }

}  // namespace kelvaris

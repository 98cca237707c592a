#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>

namespace kelvaris {

/// How a film brand is shown.
struct FilmBrand {
    std::string name;
    std::string color;  ///< "#RRGGBB"

    bool operator==(const FilmBrand&) const = default;

    /// The brand's own color from the registry, by its exact name; nothing when it has none.
    static std::optional<FilmBrand> brand(std::string_view name);
    /// A steady color made from the name, for brands outside the registry.
    static FilmBrand fallback(std::string_view name);
};

/// The same number for the same bytes on every machine and in every run (FNV-1a, 64 bits).
std::uint64_t stableHash(std::string_view bytes);

/// A shop that sells film.
struct FilmRetailer {
    std::string_view name;
    std::string_view searchURLTemplate;  ///< "{query}" stands for the film's name

    /// The shop's search page for that film, its name percent-encoded.
    std::string searchURL(std::string_view filmName) const;

    static std::span<const FilmRetailer> all();
};

}  // namespace kelvaris

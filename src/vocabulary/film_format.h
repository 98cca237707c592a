#pragma once

#include <cstdint>

#include "vocabulary/raw_value.h"

namespace kelvaris {

/// Camera formats. The stored word is also the name that a user sees.
enum class FilmFormat : std::uint8_t {
    thirtyFiveMM,
    oneTwenty,
    oneTen,
    largeFormat,
    instant,
    aps,
    sixFortyFive,
    sixBySix,
    sixBySeven,
    sixByNine,
    fourByFive,
    eightByTen,
};

template <>
struct RawValues<FilmFormat> {
    static constexpr std::array rows{
        std::pair{FilmFormat::thirtyFiveMM, std::string_view("35mm")},
        std::pair{FilmFormat::oneTwenty, std::string_view("120")},
        std::pair{FilmFormat::oneTen, std::string_view("110")},
        std::pair{FilmFormat::largeFormat, std::string_view("Large Format")},
        std::pair{FilmFormat::instant, std::string_view("Instant")},
        std::pair{FilmFormat::aps, std::string_view("APS")},
        std::pair{FilmFormat::sixFortyFive, std::string_view("645")},
        std::pair{FilmFormat::sixBySix, std::string_view("6x6")},
        std::pair{FilmFormat::sixBySeven, std::string_view("6x7")},
        std::pair{FilmFormat::sixByNine, std::string_view("6x9")},
        std::pair{FilmFormat::fourByFive, std::string_view("4x5")},
        std::pair{FilmFormat::eightByTen, std::string_view("8x10")},
    };
};

}  // namespace kelvaris

#pragma once

#include <array>
#include <optional>
#include <string_view>
#include <utility>

namespace kelvaris {

/// The stored words of an enumeration, one row a case in declared order. Specialised beside each
/// enumeration as `static constexpr std::array rows{std::pair{E::first, std::string_view("first")}, ...}`;
/// a word is a text, or an int for those that are stored as numbers. Stored words never change.
template <class E>
struct RawValues;

template <class E>
concept HasRawValues = requires {
    RawValues<E>::rows;
};

template <HasRawValues E>
using RawValueOf = typename decltype(RawValues<E>::rows)::value_type::second_type;

template <HasRawValues E>
constexpr RawValueOf<E> rawValue(E value) {
    for (const auto& [each, raw] : RawValues<E>::rows) {
        if (each == value) return raw;
    }
    return {};
}

/// The case with exactly that stored word, or nothing.
template <HasRawValues E>
constexpr std::optional<E> fromRawValue(RawValueOf<E> raw) {
    for (const auto& [each, word] : RawValues<E>::rows) {
        if (word == raw) return each;
    }
    return std::nullopt;
}

}  // namespace kelvaris

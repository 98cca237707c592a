#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace kelvaris {

/// Owned raw bytes, of no particular encoding.
using Bytes = std::vector<std::uint8_t>;

/// Borrowed raw bytes.
using ByteView = std::span<const std::uint8_t>;

inline ByteView asBytes(std::string_view text) {
    return {reinterpret_cast<const std::uint8_t*>(text.data()), text.size()};
}

/// The same bytes seen as characters; whether they are UTF-8 is the caller's question.
inline std::string_view asText(ByteView bytes) {
    return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
}

}  // namespace kelvaris

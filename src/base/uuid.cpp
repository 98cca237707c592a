#include "base/uuid.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <functional>
#include <random>

namespace kelvaris {

namespace {

constexpr bool dashFollows(std::size_t byteIndex) {
    return byteIndex == 3 || byteIndex == 5 || byteIndex == 7 || byteIndex == 9;
}

int hexValue(char c) {
    if (c >= '0' && c <= '9') return c - '0';
    if (c >= 'a' && c <= 'f') return c - 'a' + 10;
    if (c >= 'A' && c <= 'F') return c - 'A' + 10;
    return -1;
}

/// The machine's own source of chance may take microseconds a word, which adds up where each photo of a
/// library gets an identifier. So it gives the seed alone.
std::mt19937_64 seededGenerator() {
    std::random_device device;
    std::array<std::random_device::result_type, 16> words{};
    std::ranges::generate(words, std::ref(device));
    std::seed_seq seed(words.begin(), words.end());
    return std::mt19937_64(seed);
}

}  // namespace

Uuid Uuid::random() {
    thread_local std::mt19937_64 generator = seededGenerator();
    std::array<std::uint8_t, 16> bytes;
    for (std::size_t i = 0; i < bytes.size(); i += 8) {
        const std::uint64_t word = generator();
        std::memcpy(bytes.data() + i, &word, 8);
    }
    bytes[6] = static_cast<std::uint8_t>((bytes[6] & 0x0f) | 0x40);
    bytes[8] = static_cast<std::uint8_t>((bytes[8] & 0x3f) | 0x80);
    return Uuid(bytes);
}

std::optional<Uuid> Uuid::parse(std::string_view text) {
    if (text.size() != 36) return std::nullopt;
    std::array<std::uint8_t, 16> bytes;
    std::size_t at = 0;
    for (std::size_t i = 0; i < bytes.size(); ++i) {
        const int high = hexValue(text[at]);
        const int low = hexValue(text[at + 1]);
        if (high < 0 || low < 0) return std::nullopt;
        bytes[i] = static_cast<std::uint8_t>(high * 16 + low);
        at += 2;
        if (dashFollows(i) && text[at++] != '-') return std::nullopt;
    }
    return Uuid(bytes);
}

std::string Uuid::text() const {
    static constexpr char digits[] = "0123456789ABCDEF";
    std::string text;
    text.reserve(36);
    for (std::size_t i = 0; i < bytes_.size(); ++i) {
        text += digits[bytes_[i] >> 4];
        text += digits[bytes_[i] & 15];
        if (dashFollows(i)) text += '-';
    }
    return text;
}

}  // namespace kelvaris

std::size_t std::hash<kelvaris::Uuid>::operator()(const kelvaris::Uuid& uuid) const noexcept {
    // Version 4 identifiers are random already: eight of their bytes are hash enough.
    std::uint64_t word;
    std::memcpy(&word, uuid.bytes().data() + 8, 8);
    return static_cast<std::size_t>(word);
}

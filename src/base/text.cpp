#include "base/text.h"

#include <fmt/format.h>

#include <array>
#include <charconv>
#include <cmath>
#include <cstring>

namespace kelvaris {

namespace {

std::string_view trimmedOf(std::string_view text, std::string_view unwanted) {
    const auto first = text.find_first_not_of(unwanted);
    if (first == std::string_view::npos) return {};
    return text.substr(first, text.find_last_not_of(unwanted) - first + 1);
}

/// Eight characters at a time: most texts are ASCII alone.
std::size_t asciiPrefixLength(std::string_view text) {
    constexpr std::uint64_t highBits = 0x8080808080808080;
    std::size_t length = 0;
    for (std::uint64_t word = 0; length + sizeof word <= text.size(); length += sizeof word) {
        std::memcpy(&word, text.data() + length, sizeof word);
        if (word & highBits) break;
    }
    while (length < text.size() && static_cast<unsigned char>(text[length]) < 0x80) ++length;
    return length;
}

constexpr char base64Digits[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

}  // namespace

std::size_t utf8SequenceLength(std::string_view text) {
    if (text.empty()) return 0;
    const auto byte = [&](std::size_t i) { return static_cast<unsigned char>(text[i]); };
    const unsigned char lead = byte(0);
    if (lead < 0x80) return 1;
    std::size_t length = 0;
    unsigned char low = 0x80;  // the range of the second byte excludes overlong forms and surrogates
    unsigned char high = 0xBF;
    if (lead >= 0xC2 && lead <= 0xDF) {
        length = 2;
    } else if (lead >= 0xE0 && lead <= 0xEF) {
        length = 3;
        if (lead == 0xE0) low = 0xA0;
        if (lead == 0xED) high = 0x9F;
    } else if (lead >= 0xF0 && lead <= 0xF4) {
        length = 4;
        if (lead == 0xF0) low = 0x90;
        if (lead == 0xF4) high = 0x8F;
    } else {
        return 0;
    }
    if (text.size() < length || byte(1) < low || byte(1) > high) return 0;
    for (std::size_t i = 2; i < length; ++i) {
        if ((byte(i) & 0xC0) != 0x80) return 0;
    }
    return length;
}

bool isValidUtf8(std::string_view text) {
    for (;;) {
        text.remove_prefix(asciiPrefixLength(text));
        if (text.empty()) return true;
        const auto length = utf8SequenceLength(text);
        if (length == 0) return false;
        text.remove_prefix(length);
    }
}

std::string replacingInvalidUtf8(std::string_view text) {
    std::string result;
    result.reserve(text.size());
    while (!text.empty()) {
        const auto length = utf8SequenceLength(text);
        if (length == 0) {
            result += "\xEF\xBF\xBD";
            text.remove_prefix(1);
        } else {
            result += text.substr(0, length);
            text.remove_prefix(length);
        }
    }
    return result;
}

std::size_t codePointCount(std::string_view text) {
    std::size_t count = 0;
    for (const char c : text) count += (static_cast<unsigned char>(c) & 0xC0) != 0x80;
    return count;
}

std::string_view trimmed(std::string_view text) { return trimmedOf(text, " \t\n\r\v\f"); }

std::string_view trimmedNewlines(std::string_view text) { return trimmedOf(text, "\n\r"); }

std::string asciiLowercased(std::string_view text) {
    std::string result(text);
    for (char& c : result) {
        if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
    }
    return result;
}

std::string joined(const std::vector<std::string>& parts, std::string_view separator) {
    std::string result;
    for (std::size_t i = 0; i < parts.size(); ++i) {
        if (i != 0) result += separator;
        result += parts[i];
    }
    return result;
}

std::vector<std::string> split(std::string_view text, char separator) {
    std::vector<std::string> parts;
    for (;;) {
        const auto end = text.find(separator);
        parts.emplace_back(text.substr(0, end));
        if (end == std::string_view::npos) return parts;
        text.remove_prefix(end + 1);
    }
}

std::optional<std::int64_t> parseInteger(std::string_view text) {
    if (!text.empty() && text.front() == '+') {
        text.remove_prefix(1);
        if (!text.empty() && text.front() == '-') return std::nullopt;
    }
    std::int64_t value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error != std::errc() || end != text.data() + text.size()) return std::nullopt;
    return value;
}

std::optional<double> parseDouble(std::string_view text) {
    if (!text.empty() && text.front() == '+') {
        text.remove_prefix(1);
        if (!text.empty() && text.front() == '-') return std::nullopt;
    }
    double value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error != std::errc() || end != text.data() + text.size()) return std::nullopt;
    return value;
}

std::string shortestDecimal(double value) {
    std::string text = fmt::format("{}", value);
    if (std::isfinite(value) && text.find_first_of(".e") == std::string::npos) text += ".0";
    return text;
}

std::string base64Encoded(std::string_view bytes) {
    std::string text;
    text.reserve((bytes.size() + 2) / 3 * 4);
    for (std::size_t i = 0; i < bytes.size(); i += 3) {
        std::uint32_t word = 0;
        const std::size_t count = std::min<std::size_t>(3, bytes.size() - i);
        for (std::size_t k = 0; k < 3; ++k) {
            word = word << 8 | (k < count ? static_cast<unsigned char>(bytes[i + k]) : 0u);
        }
        for (std::size_t k = 0; k < 4; ++k) {
            text += k <= count ? base64Digits[word >> (18 - 6 * k) & 63] : '=';
        }
    }
    return text;
}

std::optional<std::string> base64Decoded(std::string_view text) {
    static const auto values = [] {
        std::array<int, 256> table;
        table.fill(-1);
        for (int i = 0; i < 64; ++i) table[static_cast<unsigned char>(base64Digits[i])] = i;
        return table;
    }();
    if (text.size() % 4 != 0) return std::nullopt;
    std::size_t padding = 0;
    while (padding < 2 && padding < text.size() && text[text.size() - 1 - padding] == '=') ++padding;
    const std::size_t digits = text.size() - padding;
    std::string bytes;
    std::uint32_t word = 0;
    for (std::size_t i = 0; i < digits; ++i) {
        const int value = values[static_cast<unsigned char>(text[i])];
        if (value < 0) return std::nullopt;
        word = word << 6 | static_cast<std::uint32_t>(value);
        if (i % 4 != 0) bytes += static_cast<char>(word >> (6 - 2 * (i % 4)) & 0xFF);
    }
    return bytes;
}

}  // namespace kelvaris

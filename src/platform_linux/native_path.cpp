#include "platform_linux/native_path.h"

#include <filesystem>

#include "base/text.h"

namespace kelvaris {

namespace {

/// U+10FE00 + b in UTF-8 is F4 8F B8..BB 80..BF: the byte's upper two bits and its lower six.
constexpr char32_t escapeLead[] = {0xF4, 0x8F};

bool isEscape(std::string_view sequence) {
    return sequence.size() == 4 && static_cast<unsigned char>(sequence[0]) == escapeLead[0] &&
           static_cast<unsigned char>(sequence[1]) == escapeLead[1] &&
           static_cast<unsigned char>(sequence[2]) >= 0xB8 && static_cast<unsigned char>(sequence[2]) <= 0xBB;
}

void appendEscaped(std::string& text, unsigned char byte) {
    text += static_cast<char>(0xF4);
    text += static_cast<char>(0x8F);
    text += static_cast<char>(0xB8 | (byte >> 6));
    text += static_cast<char>(0x80 | (byte & 0x3F));
}

}  // namespace

std::string nativePath(const Path& path) {
    std::string_view rest = path.string();
    std::string native;
    if (rest.find('\0') != std::string_view::npos) return native;
    native.reserve(rest.size());
    while (!rest.empty()) {
        const std::string_view sequence = rest.substr(0, std::max<std::size_t>(utf8SequenceLength(rest), 1));
        if (isEscape(sequence)) {
            native += static_cast<char>(((sequence[2] & 0x03) << 6) | (sequence[3] & 0x3F));
        } else {
            native += sequence;
        }
        rest.remove_prefix(sequence.size());
    }
    return native;
}

std::string pathTextFromNative(std::string_view native) {
    std::string text;
    text.reserve(native.size());
    while (!native.empty()) {
        const std::size_t length = utf8SequenceLength(native);
        if (length == 0 || isEscape(native.substr(0, length))) {
            appendEscaped(text, static_cast<unsigned char>(native[0]));
            native.remove_prefix(1);
        } else {
            text += native.substr(0, length);
            native.remove_prefix(length);
        }
    }
    return text;
}

Path absolutePath(const Path& path) {
    std::error_code failed;
    const auto absolute = std::filesystem::absolute(nativePath(path), failed);
    return failed ? path : Path(pathTextFromNative(absolute.lexically_normal().native()));
}

}  // namespace kelvaris

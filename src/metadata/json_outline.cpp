#include "metadata/json_outline.h"

#include <string>

namespace kelvaris {

namespace {

constexpr std::string_view blanks = " \t\r\n";
constexpr std::size_t maximumDepth = 1024;

bool endsScalar(char c) {
    return c == ',' || c == ']' || c == '}' || blanks.find(c) != std::string_view::npos;
}

}  // namespace

std::size_t JsonOutline::skipBlanks(std::size_t at) const {
    while (at < text_.size() && blanks.find(text_[at]) != std::string_view::npos) ++at;
    return at;
}

std::optional<std::size_t> JsonOutline::skipString(std::size_t at) const {
    for (std::size_t quote = text_.find('"', at + 1); quote != std::string_view::npos;
         quote = text_.find('"', quote + 1)) {
        std::size_t escapes = 0;
        while (text_[quote - 1 - escapes] == '\\') ++escapes;
        if (escapes % 2 == 0) return quote + 1;
    }
    return std::nullopt;
}

std::optional<std::size_t> JsonOutline::skipValue(std::size_t at) const {
    std::string open;
    do {
        at = skipBlanks(at);
        if (at >= text_.size()) return std::nullopt;
        const char c = text_[at];
        if (c == '"') {
            const auto end = skipString(at);
            if (!end) return std::nullopt;
            at = *end;
        } else if (c == '{' || c == '[') {
            if (open.size() == maximumDepth) return std::nullopt;
            open.push_back(c == '{' ? '}' : ']');
            ++at;
        } else if (c == '}' || c == ']') {
            if (open.empty() || open.back() != c) return std::nullopt;
            open.pop_back();
            ++at;
        } else if (c == ',' || c == ':') {
            if (open.empty()) return std::nullopt;
            ++at;
        } else {
            while (at < text_.size() && !endsScalar(text_[at]) && text_[at] != ':' && text_[at] != '"') ++at;
        }
    } while (!open.empty());
    return at;
}

}  // namespace kelvaris

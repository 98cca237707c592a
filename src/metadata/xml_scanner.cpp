#include "metadata/xml_scanner.h"

#include "base/text.h"

namespace kelvaris {

namespace {

constexpr std::string_view blanks = " \t\r\n";
constexpr std::size_t maximumDepth = 256;

std::string_view withoutPrefix(std::string_view name) { return name.substr(name.find(':') + 1); }

}  // namespace

bool XmlScanner::skipPast(std::string_view mark) {
    const std::size_t found = text_.find(mark, at_);
    if (found == std::string_view::npos) return false;
    at_ = found + mark.size();
    return true;
}

/// A document type, with whatever it declares between brackets.
bool XmlScanner::skipDeclaration() {
    int brackets = 0;
    for (; at_ < text_.size(); ++at_) {
        const char c = text_[at_];
        brackets += c == '[' ? 1 : c == ']' ? -1 : 0;
        if (c == '>' && brackets <= 0) return ++at_, true;
    }
    return false;
}

XmlScanner::Token XmlScanner::next() {
    if (endsNow_) {
        endsNow_ = false;
        content_ = {};
        return Token::end;
    }
    const std::size_t contentAt = at_;
    while (true) {
        const std::size_t opening = text_.find('<', at_);
        if (opening == std::string_view::npos) {
            const bool isRest = trimmed(text_.substr(at_)).empty();
            at_ = text_.size();
            return open_.empty() && isRest ? Token::done : Token::malformed;
        }
        const std::string_view rest = text_.substr(opening);
        content_ = trimmed(text_.substr(contentAt, opening - contentAt));
        at_ = opening;
        bool isSkipped = true;
        if (rest.starts_with("<!--")) {
            at_ += 4;
            isSkipped = skipPast("-->");
        } else if (rest.starts_with("<![CDATA[")) {
            isSkipped = skipPast("]]>");
        } else if (rest.starts_with("<?")) {
            isSkipped = skipPast("?>");
        } else if (rest.starts_with("<!")) {
            isSkipped = skipDeclaration();
        } else {
            return tag();
        }
        if (!isSkipped) return Token::malformed;
    }
}

XmlScanner::Token XmlScanner::tag() {
    std::size_t end = at_ + 1;
    char quote = 0;
    for (; end < text_.size() && (quote != 0 || text_[end] != '>'); ++end) {
        const char c = text_[end];
        if (quote != 0) {
            if (c == quote) quote = 0;
        } else if (c == '"' || c == '\'') {
            quote = c;
        }
    }
    if (end == text_.size()) return Token::malformed;
    std::string_view inside = text_.substr(at_ + 1, end - at_ - 1);
    at_ = end + 1;

    if (inside.starts_with('/')) {
        const std::string_view name = trimmed(inside.substr(1));
        if (open_.empty() || open_.back() != name) return Token::malformed;
        open_.pop_back();
        name_ = withoutPrefix(name);
        return Token::end;
    }
    endsNow_ = inside.ends_with('/');
    if (endsNow_) inside.remove_suffix(1);
    const std::size_t nameEnd = std::min(inside.find_first_of(blanks), inside.size());
    const std::string_view name = inside.substr(0, nameEnd);
    if (name.empty() || open_.size() == maximumDepth) return Token::malformed;
    if (!endsNow_) open_.push_back(name);
    name_ = withoutPrefix(name);
    attributes_ = inside.substr(nameEnd);
    return Token::start;
}

std::string_view XmlScanner::attribute(std::string_view name) const {
    std::string_view rest = attributes_;
    while (true) {
        const std::size_t equals = rest.find('=');
        if (equals == std::string_view::npos) return {};
        const std::string_view key = trimmed(rest.substr(0, equals));
        rest = trimmed(rest.substr(equals + 1));
        if (rest.empty() || (rest.front() != '"' && rest.front() != '\'')) return {};
        const std::size_t end = rest.find(rest.front(), 1);
        if (end == std::string_view::npos) return {};
        if (key == name) return rest.substr(1, end - 1);
        rest = rest.substr(end + 1);
    }
}

}  // namespace kelvaris

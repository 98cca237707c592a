#pragma once

#include <cstddef>
#include <optional>
#include <string_view>

namespace kelvaris {

/// Finds its way through the outermost levels of a JSON text: which keys there are and where values end.
/// It follows brackets and strings and leaves the rest to the parser proper. A view.
class JsonOutline {
public:
    explicit JsonOutline(std::string_view text) : text_(text) {}

    /// The place of the next character that is no blank; the text's size when there is none.
    std::size_t skipBlanks(std::size_t at) const;
    /// Where the value that begins there ends; nothing when it does not end, or its brackets do not match.
    std::optional<std::size_t> skipValue(std::size_t at) const;
    bool holds(std::size_t at, char c) const { return at < text_.size() && text_[at] == c; }

private:
    std::optional<std::size_t> skipString(std::size_t at) const;

    std::string_view text_;
};

}  // namespace kelvaris

#pragma once

#include <optional>
#include <string_view>
#include <vector>

namespace kelvaris {

/// Walks the elements of an XML text from one tag to the next. Nothing is built and no entity is ever
/// resolved, so that the text's own size is all it can cost. A view; names are without their prefix.
class XmlScanner {
public:
    enum class Token { start, end, done, malformed };

    explicit XmlScanner(std::string_view text) : text_(text) {}

    /// An element without content is a start and then an end.
    Token next();
    /// Of the element that starts or ends.
    std::string_view name() const { return name_; }
    /// Of the element that starts, as it stands; empty when there is none.
    std::string_view attribute(std::string_view name) const;
    /// The characters in front of the tag, back to the tag before it, without blanks at both ends.
    std::string_view text() const { return content_; }

private:
    bool skipPast(std::string_view mark);
    bool skipDeclaration();
    Token tag();

    std::string_view text_;
    std::size_t at_ = 0;
    std::string_view name_, attributes_, content_;
    std::vector<std::string_view> open_;
    bool endsNow_ = false;
};

}  // namespace kelvaris

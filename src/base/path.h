#pragma once

#include <compare>
#include <functional>
#include <string>
#include <string_view>

namespace kelvaris {

/// An absolute or relative place in the file system, in UTF-8, without trailing slashes.
/// Names on disk that are not UTF-8 reach the system under a reversible escaped form (see Files).
class Path {
public:
    Path() = default;
    explicit Path(std::string text);

    const std::string& string() const { return text_; }
    bool empty() const { return text_.empty(); }

    /// The last component; "/" for the root.
    std::string filename() const;
    /// What follows the last full stop of the last component; empty for "name", ".name" and "name.".
    std::string extension() const;
    /// The last component without its extension and the full stop before it.
    std::string stem() const;
    /// Everything before the last component; "/" for the root's children, empty for a bare name.
    Path parent() const;

    Path operator/(std::string_view component) const;
    auto operator<=>(const Path&) const = default;

private:
    std::string text_;
};

}  // namespace kelvaris

template <>
struct std::hash<kelvaris::Path> {
    std::size_t operator()(const kelvaris::Path& path) const noexcept {
        return std::hash<std::string>()(path.string());
    }
};

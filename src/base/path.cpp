#include "base/path.h"

namespace kelvaris {

namespace {

/// Where the extension's full stop stands in a last component, or npos.
std::size_t extensionDot(std::string_view name) {
    const auto dot = name.rfind('.');
    if (dot == std::string_view::npos || dot == 0 || dot + 1 == name.size()) return std::string_view::npos;
    return dot;
}

}  // namespace

Path::Path(std::string text) : text_(std::move(text)) {
    while (text_.size() > 1 && text_.back() == '/') text_.pop_back();
}

std::string Path::filename() const {
    if (text_ == "/") return text_;
    const auto slash = text_.rfind('/');
    return slash == std::string::npos ? text_ : text_.substr(slash + 1);
}

std::string Path::extension() const {
    const std::string name = filename();
    const auto dot = extensionDot(name);
    return dot == std::string::npos ? std::string() : name.substr(dot + 1);
}

std::string Path::stem() const {
    const std::string name = filename();
    return name.substr(0, extensionDot(name));
}

Path Path::parent() const {
    const auto slash = text_.rfind('/');
    if (slash == std::string::npos) return Path();
    return Path(text_.substr(0, slash == 0 ? 1 : slash));
}

Path Path::operator/(std::string_view component) const {
    if (text_.empty()) return Path(std::string(component));
    std::string joined = text_;
    if (joined.back() != '/') joined += '/';
    joined += component;
    return Path(std::move(joined));
}

}  // namespace kelvaris

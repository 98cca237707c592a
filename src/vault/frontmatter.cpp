#include "vault/frontmatter.h"

#include "base/text.h"

namespace kelvaris {

namespace {
constexpr std::string_view fence = "---";
constexpr std::string_view closingFence = "\n---";
constexpr std::string_view byteOrderMark = "\xEF\xBB\xBF";

std::optional<std::string_view> betweenFences(std::string_view file) {
    if (!file.starts_with(fence)) return std::nullopt;
    const auto end = file.find(closingFence, fence.size());
    if (end == std::string_view::npos) return std::nullopt;
    return trimmed(file.substr(fence.size(), end - fence.size()));
}

}  // namespace

std::string frontmatterFile(std::string_view yaml, std::string_view body) {
    yaml = trimmedNewlines(yaml);
    std::string file;
    file.reserve(yaml.size() + body.size() + 16);
    file.append(fence).append("\n").append(yaml);
    file.append(closingFence).append("\n\n").append(body).append("\n");
    return file;
}

std::optional<std::string_view> readFrontmatter(std::string_view file) {
    if (!isValidUtf8(file)) return std::nullopt;
    return betweenFences(file);
}

std::optional<std::string_view> salvagedFrontmatter(std::string_view file) {
    if (file.starts_with(byteOrderMark)) file.remove_prefix(byteOrderMark.size());
    const auto yaml = betweenFences(file);
    if (!yaml || !isValidUtf8(*yaml)) return std::nullopt;
    return yaml;
}

}  // namespace kelvaris

#include "vault/mirror_report.h"

#include <fmt/format.h>

#include <algorithm>
#include <utility>

#include "base/text.h"

namespace kelvaris {

namespace {

constexpr std::size_t mostNames = 10;

}  // namespace

std::string namesText(const std::vector<std::string>& names) {
    if (names.size() <= mostNames) return joined(names, ", ");
    const std::vector<std::string> first(names.begin(), names.begin() + mostNames);
    return fmt::format("{} and {} more", joined(first, ", "), names.size() - mostNames);
}

std::string failureText(const std::vector<MirrorFailure>& failures) {
    std::vector<std::pair<std::string, std::vector<std::string>>> groups;
    for (const MirrorFailure& failure : failures) {
        auto group = std::find_if(groups.begin(), groups.end(),
                                  [&](const auto& each) { return each.first == failure.reason; });
        if (group == groups.end()) group = groups.insert(group, {failure.reason, {}});
        if (!failure.name.empty()) group->second.push_back(failure.name);
    }
    std::vector<std::string> parts;
    for (const auto& [reason, names] : groups) {
        parts.push_back(names.empty() ? reason : namesText(names) + ": " + reason);
    }
    return joined(parts, "; ");
}

}  // namespace kelvaris

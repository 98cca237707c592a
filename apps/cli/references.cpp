#include "references.h"

#include <fmt/format.h>

#include "base/text.h"

namespace kelvaris::cli {

Result<std::size_t, std::string> resolveReference(std::string_view reference,
                                                  const std::vector<Named>& things, std::string_view kind) {
    const std::string lowered = asciiLowercased(reference);
    std::vector<std::size_t> exact;
    std::vector<std::size_t> beginnings;
    for (std::size_t i = 0; i < things.size(); ++i) {
        const std::string id = asciiLowercased(things[i].id);
        if (things[i].name == reference || id == lowered) exact.push_back(i);
        if (things[i].name.starts_with(reference) || (!id.empty() && id.starts_with(lowered))) {
            beginnings.push_back(i);
        }
    }
    const auto& meant = exact.empty() ? beginnings : exact;
    if (meant.size() == 1) return meant.front();
    if (meant.empty()) return Unexpected(fmt::format("no {} is called \"{}\"", kind, reference));
    std::vector<std::string> names;
    for (const std::size_t i : meant) {
        names.push_back(things[i].id.empty() ? things[i].name
                                             : things[i].name + " (" + things[i].id.substr(0, 8) + ")");
    }
    return Unexpected(fmt::format("\"{}\" may mean {}", reference, joined(names, " or ")));
}

std::optional<CivilTime> parseCivilTime(std::string_view text) {
    // The timestamp reader knows the forms; seconds are what a user leaves out.
    std::string padded(text);
    if (padded.size() == 16) padded += ":00";
    if (padded.size() != 10 && padded.size() != 19) return std::nullopt;
    const auto instant = parseTimestamp(padded);
    if (!instant) return std::nullopt;
    return utcCivilTime(*instant);
}

}  // namespace kelvaris::cli

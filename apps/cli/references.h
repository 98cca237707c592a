#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "base/instant.h"
#include "base/result.h"

namespace kelvaris::cli {

/// What a user may call a thing by: its full name, its full id, or a beginning of either.
struct Named {
    std::string name;
    std::string id;
};

/// The index of the one thing that the reference means. An exact name or id wins over beginnings; ids are
/// read in either case.
/// @return the sentence to print when nothing or more than one thing is meant.
Result<std::size_t, std::string> resolveReference(std::string_view reference,
                                                  const std::vector<Named>& things, std::string_view kind);

/// "2026-03-14", "2026-03-14T09:30", "2026-03-14 09:30:15": a reading of the user's own clock.
std::optional<CivilTime> parseCivilTime(std::string_view text);

}  // namespace kelvaris::cli

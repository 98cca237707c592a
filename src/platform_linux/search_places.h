#pragma once

#include <set>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "base/path.h"

namespace kelvaris {

/// Where a user's folders may lie on this machine.
struct SearchPlaces {
    std::vector<Path> roots;  ///< where walks begin, the likeliest first
    std::set<Path> leftOut;   ///< system trees, and what is mounted from a network or from nowhere

    /// Whether a walk from the roots comes by the folder: no folder on the way is hidden or left out.
    bool covers(const Path& folder) const;
};

/// The home folder, every mounted volume of a local device, writable or not, and the folders at the top of
/// the file system, all without the system's own trees. A volume that is mounted twice counts once. A pure
/// function.
/// @param home empty for none.
/// @param mountInfo the text of /proc/self/mountinfo.
/// @param topFolders the folders directly in "/".
SearchPlaces searchPlaces(const Path& home, std::string_view mountInfo, std::span<const Path> topFolders);

/// The places of this machine as it stands now: disks come and go.
SearchPlaces currentSearchPlaces(const Path& home);

}  // namespace kelvaris

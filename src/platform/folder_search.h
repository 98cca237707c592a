#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "base/path.h"

namespace kelvaris {

/// A folder that is not where it was.
struct SoughtFolder {
    std::string name;              ///< its last component, exactly
    std::vector<Path> firstTried;  ///< looked at before all others, whatever they are called
    /// Whether the folder at a path, if there is one, is the sought one. Asked on a thread of the search,
    /// perhaps for many paths; must hold all that it looks at.
    std::function<bool(const Path&)> isIt;
};

/// Finds folders again on the user's local volumes. Main thread; the answer arrives on the main thread.
class FolderSearch {
public:
    using Completion = std::function<void(std::vector<std::optional<Path>>)>;
    virtual ~FolderSearch() = default;

    /// Looks for all of them at once. One answer for each, in their order: of the folders that are the one,
    /// that which is nearest to where the search begins. No folder is the answer to two. A search is
    /// bounded in time and depth for all together, so that some may not be found, but the answer always
    /// comes while this object lives.
    virtual void search(std::vector<SoughtFolder> sought, Completion completion) = 0;
};

}  // namespace kelvaris

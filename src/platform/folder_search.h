#pragma once

#include <functional>
#include <string>
#include <vector>

#include "base/path.h"

namespace kelvaris {

/// Finds folders by name on the user's local volumes. Main thread; the answer arrives on the main thread.
class FolderSearch {
public:
    using Completion = std::function<void(std::vector<Path>)>;
    virtual ~FolderSearch() = default;

    /// Folders whose last component is exactly the name, nearest to the roots first. A search is bounded
    /// in time and depth, so that an answer may be incomplete but always comes while this object lives.
    virtual void search(const std::string& name, Completion completion) = 0;
};

}  // namespace kelvaris

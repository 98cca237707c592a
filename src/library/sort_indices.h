#pragma once

#include <limits>
#include <set>

namespace kelvaris {

/// Which sort indices of a roll are taken. Exports are named after them, so two photos of one index would
/// overwrite each other.
class SortIndices {
public:
    static constexpr int largest = std::numeric_limits<int>::max() - 1;

    /// @return false when another photo has the index.
    bool take(int index) { return taken_.insert(index).second; }

    /// The index behind the largest that is taken; from the front where there is none behind.
    int takeNext() {
        int next = taken_.empty() ? 0 : *taken_.rbegin();
        if (!taken_.empty() && next < largest) ++next;
        while (!taken_.insert(next).second) next = next == largest ? 0 : next + 1;
        return next;
    }

    /// The wanted index where it is free, else the next.
    int takeOrNext(int wanted) { return take(wanted) ? wanted : takeNext(); }

private:
    std::set<int> taken_;
};

}  // namespace kelvaris

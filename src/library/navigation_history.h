#pragma once

#include <optional>
#include <vector>

#include "base/observable.h"
#include "base/uuid.h"

namespace kelvaris {

enum class NavigationHistoryField { backStack, forwardStack };

/// Where the user has been. An entry of none means the list of rolls. Main thread.
class NavigationHistory : public Observable<NavigationHistoryField> {
public:
    using Entry = std::optional<RollID>;

    /// Remembers the place that is being left; what lay ahead is forgotten.
    void push(Entry current);
    /// @return nothing when there is nowhere to go; otherwise the entry to go to.
    std::optional<Entry> goBack(Entry current) { return step(backStack_, forwardStack_, current); }
    std::optional<Entry> goForward(Entry current) { return step(forwardStack_, backStack_, current); }

    const std::vector<Entry>& backStack() const { return backStack_; }
    const std::vector<Entry>& forwardStack() const { return forwardStack_; }

private:
    std::optional<Entry> step(std::vector<Entry>& from, std::vector<Entry>& to, Entry current);

    std::vector<Entry> backStack_;
    std::vector<Entry> forwardStack_;
};

}  // namespace kelvaris

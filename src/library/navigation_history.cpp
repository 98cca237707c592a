#include "library/navigation_history.h"

namespace kelvaris {

void NavigationHistory::push(Entry current) {
    backStack_.push_back(current);
    forwardStack_.clear();
    notify(NavigationHistoryField::backStack);
    notify(NavigationHistoryField::forwardStack);
}

std::optional<NavigationHistory::Entry> NavigationHistory::step(std::vector<Entry>& from,
                                                                std::vector<Entry>& to, Entry current) {
    if (from.empty()) return std::nullopt;
    const Entry entry = from.back();
    from.pop_back();
    to.push_back(current);
    notify(NavigationHistoryField::backStack);
    notify(NavigationHistoryField::forwardStack);
    return entry;
}

}  // namespace kelvaris

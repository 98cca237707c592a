#include "application/roll_sorting.h"

#include <algorithm>
#include <string>

#include "application/app_view_model.h"

namespace kelvaris {

namespace {

/// What a roll is compared by; made once a roll, not once a comparison.
struct SortKey {
    RollPointer roll;
    std::string text;
    std::optional<Instant> date;
    std::size_t count = 0;
    std::string name;
};

SortKey sortKey(const RollPointer& roll, RollSortOption option, const Language& language) {
    SortKey key;
    key.roll = roll;
    key.name = language.naturalSortKey(roll->name());
    switch (option) {
        case RollSortOption::name:
            break;
        case RollSortOption::dateRange:
            if (const auto range = roll->captureDateRange()) key.date = range->first;
            break;
        case RollSortOption::photoCount:
            key.count = roll->photos().size();
            break;
        case RollSortOption::camera:
            key.text = language.naturalSortKey(roll->cameraDisplayName());
            break;
        case RollSortOption::filmStock:
            key.text = language.naturalSortKey(roll->filmName());
            break;
        case RollSortOption::dateOpened:
            key.date = roll->dateOpened();
            break;
    }
    return key;
}

int compare(const SortKey& a, const SortKey& b) {
    if (a.date != b.date) {
        if (!a.date || !b.date) return a.date ? -1 : 1;
        return *a.date < *b.date ? -1 : 1;
    }
    if (a.count != b.count) return a.count < b.count ? -1 : 1;
    if (const int order = a.text.compare(b.text); order != 0) return order;
    return a.name.compare(b.name);
}

}  // namespace

void sortRolls(std::vector<RollPointer>& rolls, RollSortOption option, bool ascending,
               const Language& language) {
    std::vector<SortKey> keys;
    keys.reserve(rolls.size());
    for (const RollPointer& roll : rolls) keys.push_back(sortKey(roll, option, language));
    std::stable_sort(keys.begin(), keys.end(), [ascending](const SortKey& a, const SortKey& b) {
        const int order = compare(a, b);
        return ascending ? order < 0 : order > 0;
    });
    for (std::size_t i = 0; i < rolls.size(); ++i) rolls[i] = std::move(keys[i].roll);
}

void AppViewModel::sortRolls() {
    std::vector<RollPointer> sorted = rolls_;
    kelvaris::sortRolls(sorted, services_.preferences.rollSortOption(),
                        services_.preferences.rollSortAscending(), services_.library.language);
    setRolls(std::move(sorted));
}

}  // namespace kelvaris

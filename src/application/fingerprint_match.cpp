#include "application/fingerprint_match.h"

#include <set>
#include <string_view>
#include <utility>

namespace kelvaris {

double matchRatio(std::span<const FileFingerprint> a, std::span<const FileFingerprint> b) {
    if (a.empty() || b.empty()) return 0;
    using Entry = std::pair<std::string_view, std::int64_t>;
    std::set<Entry> all;
    std::set<Entry> first;
    for (const FileFingerprint& each : a) first.emplace(each.filename, each.size);
    all = first;
    std::size_t common = 0;
    std::set<Entry> second;
    for (const FileFingerprint& each : b) {
        if (!second.emplace(each.filename, each.size).second) continue;
        common += first.contains({each.filename, each.size});
        all.emplace(each.filename, each.size);
    }
    return static_cast<double>(common) / static_cast<double>(all.size());
}

}  // namespace kelvaris

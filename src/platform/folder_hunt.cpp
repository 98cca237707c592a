#include "platform/folder_hunt.h"

#include <algorithm>

namespace kelvaris {

FolderHunt::FolderHunt(std::vector<SoughtFolder> sought)
    : sought_(std::move(sought)), found_(sought_.size()) {
    for (std::size_t i = 0; i < sought_.size(); ++i) open_[sought_[i].name].push_back(i);
}

void FolderHunt::tryFirst() {
    for (std::size_t i = 0; i < sought_.size(); ++i) {
        const std::vector<Path>& paths = sought_[i].firstTried;
        const bool isFound =
            std::any_of(paths.begin(), paths.end(), [&](const Path& path) { return accept(i, path); });
        if (!isFound) continue;
        std::vector<std::size_t>& waiting = open_[sought_[i].name];
        std::erase(waiting, i);
        if (waiting.empty()) open_.erase(sought_[i].name);
    }
}

void FolderHunt::offer(const Path& folder) {
    const auto open = open_.find(std::string_view(folder.filename()));
    if (open == open_.end()) return;
    std::vector<std::size_t>& waiting = open->second;
    const auto taker = std::find_if(waiting.begin(), waiting.end(),
                                    [&](std::size_t index) { return accept(index, folder); });
    if (taker == waiting.end()) return;
    waiting.erase(taker);
    if (waiting.empty()) open_.erase(open);
}

std::vector<std::string> FolderHunt::openNames() const {
    std::vector<std::string> names;
    for (const auto& [name, waiting] : open_) names.emplace_back(name);
    std::sort(names.begin(), names.end());
    return names;
}

bool FolderHunt::accept(std::size_t index, const Path& folder) {
    if (taken_.contains(folder) || !sought_[index].isIt(folder)) return false;
    taken_.insert(folder);
    found_[index] = folder;
    return true;
}

}  // namespace kelvaris

#include "application/folder_collection.h"

#include <algorithm>
#include <map>
#include <set>
#include <utility>

#include "library/film_roll.h"
#include "metadata/export_naming.h"

namespace kelvaris {

namespace {

bool isAtOrBelow(const Path& path, const Path& folder) {
    return path == folder || path.string().starts_with(folder.string() + "/");
}

class Collector {
public:
    Collector(const Files& files, SinglePicture single) : files_(files), single_(single) {}

    void collectNamed(const Path& folder) {
        const auto canonical = files_.canonical(folder);
        if (!canonical) return;
        const std::size_t before = found.size();
        const std::size_t pictures = collect(*canonical);
        const bool isCovered = found.size() > before ||
                               std::any_of(found.begin(), found.end(),
                                           [&](const Path& each) { return isAtOrBelow(each, *canonical); });
        if (pictures == 1 && single_ == SinglePicture::isRoll && !isCovered) found.push_back(*canonical);
    }

    std::vector<Path> found;

private:
    /// @return how many pictures the folder itself holds.
    std::size_t collect(const Path& folder) {
        const auto [visited, isNew] = visited_.try_emplace(folder, 0);
        if (!isNew) return visited->second;
        const auto entries = files_.list(folder);
        if (!entries) return 0;
        std::size_t& pictures = visited->second;
        for (const FolderEntry& entry : *entries) pictures += FilmRoll::isImageFile(entry.path);
        if (pictures > 1) found.push_back(folder);
        for (const FolderEntry& entry : *entries) {
            if (!entry.info || !entry.info->isDirectory) continue;
            if (!seen_.emplace(entry.info->device, entry.info->inode).second) continue;
            const auto below = files_.canonical(entry.path);
            if (below && below->filename() != exportFolderName) collect(*below);
        }
        return pictures;
    }

    const Files& files_;
    const SinglePicture single_;
    std::map<Path, std::size_t> visited_;                     ///< with the number of their pictures
    std::set<std::pair<std::uint64_t, std::uint64_t>> seen_;  ///< a folder may be mounted twice
};

}  // namespace

std::vector<Path> imageFolders(const Files& files, const std::vector<Path>& named, SinglePicture single) {
    Collector collector(files, single);
    for (const Path& folder : named) collector.collectNamed(folder);
    return std::move(collector.found);
}

}  // namespace kelvaris

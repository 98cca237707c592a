#include "application/folder_collection.h"

#include <algorithm>
#include <set>
#include <utility>

#include "library/film_roll.h"
#include "metadata/export_naming.h"

namespace kelvaris {

namespace {

class Collector {
public:
    explicit Collector(const Files& files) : files_(files) {}

    void collect(const Path& folder) {
        const auto entries = files_.list(folder);
        if (!entries) return;
        std::size_t pictures = 0;
        for (const FolderEntry& entry : *entries) pictures += FilmRoll::isImageFile(entry.path);
        if (pictures > 1 && paths_.insert(folder).second) found.push_back(folder);
        for (const FolderEntry& entry : *entries) {
            if (entry.info && entry.info->isDirectory && entry.path.filename() != exportFolderName &&
                seen_.emplace(entry.info->device, entry.info->inode).second) {
                collect(entry.path);
            }
        }
    }

    std::vector<Path> found;

private:
    const Files& files_;
    std::set<Path> paths_;
    std::set<std::pair<std::uint64_t, std::uint64_t>> seen_;
};

}  // namespace

std::vector<Path> imageFolders(const Files& files, const std::vector<Path>& roots) {
    Collector collector(files);
    for (const Path& root : roots) collector.collect(root);
    return std::move(collector.found);
}

bool holdsPicture(const Files& files, const Path& folder) {
    const auto entries = files.list(folder);
    return entries && std::any_of(entries->begin(), entries->end(),
                                  [](const FolderEntry& entry) { return FilmRoll::isImageFile(entry.path); });
}

}  // namespace kelvaris

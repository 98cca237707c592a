#include "platform_linux/linux_folder_search.h"

#include <deque>
#include <set>

#include "platform/folder_hunt.h"
#include "platform_linux/folder_index.h"
#include "platform_linux/folder_scan.h"
#include "platform_linux/linux_files.h"

namespace kelvaris {

namespace {

void askIndex(FolderHunt& hunt, const SearchPlaces& places, const std::function<bool()>& shouldStop) {
    const LinuxFiles files;
    for (const Path& path : indexedPaths(hunt.openNames(), shouldStop)) {
        if (shouldStop() || hunt.isOver()) return;
        if (places.covers(path) && files.isDirectory(path)) hunt.offer(path);
    }
}

/// Breadth first, so that a folder near its old place is found early.
void walk(FolderHunt& hunt, const SearchPlaces& places, int depth, const std::function<bool()>& shouldStop) {
    struct Waiting {
        Path folder;
        int depth;
    };
    std::set<std::pair<dev_t, ino_t>> seen;  // a folder reached twice (bind mounts) is walked once
    std::deque<Waiting> waiting;
    for (const Path& root : places.roots) {
        hunt.offer(root);
        waiting.push_back({root, 0});
    }
    while (!waiting.empty() && !hunt.isOver() && !shouldStop()) {
        const Waiting next = std::move(waiting.front());
        waiting.pop_front();
        auto scan = scanFolder(next.folder);
        if (!scan || !seen.insert(scan->identity).second) continue;
        for (Path& folder : scan->folders) {
            if (places.leftOut.contains(folder)) continue;
            hunt.offer(folder);
            if (next.depth + 1 < depth) waiting.push_back({std::move(folder), next.depth + 1});
        }
    }
}

}  // namespace

LinuxFolderSearch::LinuxFolderSearch(MainQueue& main, OperationQueueFactory& queues,
                                     std::function<SearchPlaces()> places, Limits limits, bool usesIndex)
    : main_(main),
      places_(std::move(places)),
      limits_(limits),
      usesIndex_(usesIndex),
      queue_(queues.makeQueue("com.kelvaris.folder-search", 1)) {}

LinuxFolderSearch::~LinuxFolderSearch() {
    stopping_ = true;
    queue_.reset();
}

void LinuxFolderSearch::search(std::vector<SoughtFolder> sought, Completion completion) {
    queue_->add([this, sought = std::move(sought), completion = std::move(completion),
                 alive = lifetime_.weak()]() mutable {
        main_.post([found = answers(std::move(sought)), completion = std::move(completion), alive] {
            if (!alive.expired()) completion(found);
        });
    });
}

std::vector<std::optional<Path>> LinuxFolderSearch::answers(std::vector<SoughtFolder> sought) const {
    const auto end = std::chrono::steady_clock::now() + limits_.time;
    const auto shouldStop = [&] { return stopping_ || std::chrono::steady_clock::now() >= end; };
    FolderHunt hunt(std::move(sought));
    hunt.tryFirst();
    if (hunt.isOver()) return hunt.answers();
    const SearchPlaces places = places_();
    if (usesIndex_) askIndex(hunt, places, shouldStop);
    walk(hunt, places, limits_.depth, shouldStop);
    return hunt.answers();
}

}  // namespace kelvaris

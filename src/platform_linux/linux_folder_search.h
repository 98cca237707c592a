#pragma once

#include <atomic>
#include <chrono>
#include <functional>
#include <memory>
#include <vector>

#include "base/lifetime.h"
#include "base/main_queue.h"
#include "base/operation_queue.h"
#include "platform/folder_search.h"
#include "platform_linux/search_places.h"

namespace kelvaris {

/// Walks the user's own folders and the local volumes once for all sought folders. Hidden folders, links,
/// system trees and network file systems are left out. Where plocate is installed its index is asked first,
/// and the walk looks for what it did not know.
class LinuxFolderSearch final : public FolderSearch {
public:
    struct Limits {
        int depth = 9;
        std::chrono::milliseconds time{15'000};
    };

    /// @param places where to look, asked at each search on its thread, since disks come and go.
    /// @param usesIndex whether plocate may be asked.
    LinuxFolderSearch(MainQueue& main, OperationQueueFactory& queues, std::function<SearchPlaces()> places,
                      Limits limits, bool usesIndex);
    ~LinuxFolderSearch() override;

    void search(std::vector<SoughtFolder> sought, Completion completion) override;

private:
    std::vector<std::optional<Path>> answers(std::vector<SoughtFolder> sought) const;

    MainQueue& main_;
    const std::function<SearchPlaces()> places_;
    const Limits limits_;
    const bool usesIndex_;
    std::atomic<bool> stopping_{false};
    Lifetime lifetime_;
    std::unique_ptr<OperationQueue> queue_;
};

}  // namespace kelvaris

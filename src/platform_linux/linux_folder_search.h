#pragma once

#include <atomic>
#include <chrono>
#include <memory>
#include <vector>

#include "base/lifetime.h"
#include "base/main_queue.h"
#include "base/operation_queue.h"
#include "platform/folder_search.h"

namespace kelvaris {

/// Walks the user's own folders and the local volumes breadth first, so that a folder near its old place
/// is found early. Hidden folders, system trees and network file systems are left out. Where plocate is
/// installed its index is asked first, and the walk is left out when it knows the name.
class LinuxFolderSearch final : public FolderSearch {
public:
    struct Limits {
        int depth = 9;
        std::chrono::milliseconds time{15'000};
        std::size_t results = 64;
    };

    /// @param roots where the walk begins; localRoots() for the user's machine.
    /// @param usesIndex whether plocate may be asked.
    LinuxFolderSearch(MainQueue& main, OperationQueueFactory& queues, std::vector<Path> roots, Limits limits,
                      bool usesIndex);
    ~LinuxFolderSearch() override;

    void search(const std::string& name, Completion completion) override;

    /// The home folder and the mount points of local, writable volumes of the user.
    static std::vector<Path> localRoots(const Path& home);

private:
    MainQueue& main_;
    const std::vector<Path> roots_;
    const Limits limits_;
    const bool usesIndex_;
    std::atomic<bool> stopping_{false};
    Lifetime lifetime_;
    std::unique_ptr<OperationQueue> queue_;
};

}  // namespace kelvaris

#pragma once

#include <map>

#include "base/main_queue.h"
#include "platform/folder_hunt.h"

namespace kelvaris {

/// Shows the folders of a list made by the test, one turn of the main queue later.
class FakeFolderSearch final : public FolderSearch {
public:
    explicit FakeFolderSearch(MainQueue& queue) : queue_(queue) {}

    void search(std::vector<SoughtFolder> sought, Completion completion) override {
        ++searches;
        queue_.post([this, sought = std::move(sought), completion = std::move(completion)] {
            FolderHunt hunt(sought);
            hunt.tryFirst();
            for (const std::string& name : hunt.openNames()) {
                for (const Path& folder : answers[name]) hunt.offer(folder);
            }
            completion(hunt.answers());
        });
    }

    std::map<std::string, std::vector<Path>> answers;  ///< by name, nearest first
    int searches = 0;

private:
    MainQueue& queue_;
};

}  // namespace kelvaris

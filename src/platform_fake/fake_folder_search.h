#pragma once

#include <map>

#include "base/main_queue.h"
#include "platform/folder_search.h"

namespace kelvaris {

/// Answers from a list made by the test, one turn of the main queue later.
class FakeFolderSearch final : public FolderSearch {
public:
    explicit FakeFolderSearch(MainQueue& queue) : queue_(queue) {}

    void search(const std::string& name, Completion completion) override {
        ++searches;
        queue_.post([found = answers[name], completion = std::move(completion)] { completion(found); });
    }

    std::map<std::string, std::vector<Path>> answers;
    int searches = 0;

private:
    MainQueue& queue_;
};

}  // namespace kelvaris

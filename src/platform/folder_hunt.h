#pragma once

#include <optional>
#include <set>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "platform/folder_search.h"

namespace kelvaris {

/// Which of the sought folders are found so far. Any one thread.
class FolderHunt {
public:
    explicit FolderHunt(std::vector<SoughtFolder> sought);
    FolderHunt(const FolderHunt&) = delete;  // its names are looked up in place
    FolderHunt& operator=(const FolderHunt&) = delete;

    /// Shows the folders that are to be tried first to those that want them.
    void tryFirst();
    /// Shows an existing folder to those that seek its name; the first whose it is takes it.
    void offer(const Path& folder);
    bool isOver() const { return open_.empty(); }
    /// The names still sought, each once.
    std::vector<std::string> openNames() const;
    std::vector<std::optional<Path>> answers() const { return found_; }

private:
    bool accept(std::size_t index, const Path& folder);

    const std::vector<SoughtFolder> sought_;
    std::vector<std::optional<Path>> found_;
    std::set<Path> taken_;
    std::unordered_map<std::string_view, std::vector<std::size_t>> open_;  ///< by name, in the order asked
};

}  // namespace kelvaris

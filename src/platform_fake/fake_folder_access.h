#pragma once

#include <map>
#include <mutex>
#include <set>

#include "platform/folder_reference.h"

namespace kelvaris {

/// Folder references over any file system, with the open accesses counted.
class FakeFolderAccess final : public FolderAccess {
public:
    explicit FakeFolderAccess(const Files& files) : files_(files) {}

    /// From now on the folder can not be opened.
    void deny(const Path& folder) { denied_.insert(folder); }
    void allow(const Path& folder) { denied_.erase(folder); }
    /// From now on no reference can be made.
    void setMakesReferences(bool makes) { makesReferences_ = makes; }

    int openCount(const Path& folder) const {
        const std::lock_guard lock(mutex_);
        const auto found = open_.find(folder);
        return found == open_.end() ? 0 : found->second;
    }
    int openCount() const {
        const std::lock_guard lock(mutex_);
        int sum = 0;
        for (const auto& [folder, count] : open_) sum += count;
        return sum;
    }
    /// Ends without a beginning.
    int surplusEnds() const { return surplusEnds_; }

    std::optional<std::string> makeReference(const Path& folder) override {
        if (!makesReferences_) return std::nullopt;
        return makeFolderReference(files_, folder);
    }
    using FolderAccess::resolve;
    std::optional<ResolvedFolder> resolve(const std::string& reference, SiblingFolders& siblings) override {
        return resolveFolderReference(files_, reference, siblings);
    }
    bool beginAccess(const Path& folder) override {
        if (denied_.contains(folder) || !files_.list(folder)) return false;
        const std::lock_guard lock(mutex_);
        ++open_[folder];
        return true;
    }
    void endAccess(const Path& folder) override {
        const std::lock_guard lock(mutex_);
        int& count = open_[folder];
        if (count == 0) {
            ++surplusEnds_;
        } else {
            --count;
        }
    }

private:
    const Files& files_;
    mutable std::mutex mutex_;
    std::set<Path> denied_;
    std::map<Path, int> open_;
    bool makesReferences_ = true;
    int surplusEnds_ = 0;
};

}  // namespace kelvaris

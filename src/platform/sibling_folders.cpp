#include "platform/sibling_folders.h"

namespace kelvaris {

namespace {

std::map<FolderIdentity, Path> foldersByIdentity(const std::vector<FolderEntry>& entries) {
    std::map<FolderIdentity, Path> folders;
    for (const FolderEntry& entry : entries) {
        if (entry.info && entry.info->isDirectory) {
            folders.emplace(FolderIdentity::of(*entry.info), entry.path);
        }
    }
    return folders;
}

}  // namespace

FolderIdentity FolderIdentity::of(const FileInfo& info) {
    return {static_cast<std::int64_t>(info.inode), info.created ? info.created->sinceEpoch().count() : 0};
}

std::optional<Path> SiblingFolders::find(const Files& files, const Path& parent,
                                         const FolderIdentity& identity) {
    if (identity.birth == 0) return std::nullopt;
    const auto [listing, isNew] = listings_.try_emplace(parent);
    if (isNew) {
        if (const auto entries = files.list(parent)) listing->second = foldersByIdentity(*entries);
    }
    const auto found = listing->second.find(identity);
    return found == listing->second.end() ? std::nullopt : std::optional(found->second);
}

}  // namespace kelvaris

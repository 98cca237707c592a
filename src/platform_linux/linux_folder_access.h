#pragma once

#include "platform/files.h"
#include "platform/folder_access.h"

namespace kelvaris {

/// Folder references by path, inode and birth. Nothing guards folders here beyond their
/// permissions, so an access that began needs no end.
class LinuxFolderAccess final : public FolderAccess {
public:
    explicit LinuxFolderAccess(const Files& files) : files_(files) {}

    std::optional<std::string> makeReference(const Path& folder) override;
    using FolderAccess::resolve;
    std::optional<ResolvedFolder> resolve(const std::string& reference, SiblingFolders& siblings) override;
    bool beginAccess(const Path& folder) override;
    void endAccess(const Path&) override {}

private:
    const Files& files_;
};

}  // namespace kelvaris

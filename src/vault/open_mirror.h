#pragma once

#include "platform/files.h"
#include "platform/folder_access.h"
#include "vault/mirror_documents.h"

namespace kelvaris {

/// Holds a folder's access for a scope.
class FolderScope {
public:
    /// Both outlive the scope.
    FolderScope(FolderAccess& folders, const Path& folder)
        : folders_(folders), folder_(folder), isOpen_(folders.beginAccess(folder)) {}
    ~FolderScope() {
        if (isOpen_) folders_.endAccess(folder_);
    }
    FolderScope(const FolderScope&) = delete;
    FolderScope& operator=(const FolderScope&) = delete;

private:
    FolderAccess& folders_;
    const Path& folder_;
    const bool isOpen_;
};

/// A mirror's folder, held open and made ready once for a whole run of writes. A write of the run makes no
/// folder: when the disk goes away in between, its bare mount point must stay bare, or else the copies in
/// it would pass for the mirror.
class OpenMirror {
public:
    /// Everything outlives the object. Where no folder can be made, each write will tell.
    OpenMirror(Files& files, FolderAccess& folders, const Path& folder) : scope_(folders, folder) {
        (void)files.createDirectories(MirrorPaths::under(folder).rolls);
    }

private:
    FolderScope scope_;
};

}  // namespace kelvaris

#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <utility>

#include "platform/files.h"

namespace kelvaris {

/// What a file system knows a folder by, wherever it is mounted. The number of the device is no part of
/// it: a disk gets another one each time that it is plugged in.
struct FolderIdentity {
    std::int64_t inode = 0;
    std::int64_t birth = 0;  ///< ticks from 1970; inodes are used again, and the birth tells; 0 is unknown

    static FolderIdentity of(const FileInfo& info);
    auto operator<=>(const FolderIdentity&) const = default;
};

/// The folders beside which moved folders are looked for, each listed once at the first question. Made for
/// one restore and dropped after it: it does not notice what changes meanwhile. Main thread or any one
/// thread.
class SiblingFolders {
public:
    /// The folder of that identity directly in the parent. Nothing for a folder of unknown birth: some
    /// file systems count their inodes anew at each mount, so that the number alone leads to strangers.
    std::optional<Path> find(const Files& files, const Path& parent, const FolderIdentity& identity);

private:
    using Listing = std::map<FolderIdentity, Path>;
    std::map<Path, Listing> listings_;
};

}  // namespace kelvaris

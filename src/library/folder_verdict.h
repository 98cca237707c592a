#pragma once

#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "platform/files.h"
#include "vocabulary/file_fingerprint.h"

namespace kelvaris {

/// Whether the folder that stands in a roll's place is the roll's folder.
struct FolderVerdict {
    enum class Kind {
        present,     ///< the roll's folder, perhaps without some of its files
        gone,        ///< there is no folder
        unreadable,  ///< the folder, or every file of the roll in it, refuses to be read
        empty,       ///< as a mount point without its disk is
        otherFiles,  ///< nothing in common with the roll: another disk, or a folder used anew
    };
    Kind kind = Kind::present;
    std::vector<std::string> missing;  ///< known files that the present folder does not list, in stored order

    bool isPresent() const { return kind == Kind::present; }
    /// Why the roll is away, for the user; empty when it is present.
    std::string_view awayReason() const;
};

/// Holds a folder's listing against what the roll's folder held last. One known file with its size makes
/// it the roll's folder. Neither the path nor the identity of the folder does: cards and sticks come and
/// go at one mount point, and every camera names its files alike. A roll that knows no file takes any
/// folder that can be listed. A pure function; any thread.
FolderVerdict judgeFolder(const FileResult<std::vector<FolderEntry>>& listing,
                          std::span<const FileFingerprint> known);

/// The same for the folder as it stands now.
FolderVerdict judgeFolder(const Files& files, const Path& folder, std::span<const FileFingerprint> known);

}  // namespace kelvaris

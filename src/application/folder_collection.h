#pragma once

#include <vector>

#include "base/path.h"
#include "platform/files.h"

namespace kelvaris {

/// What a single picture makes of a folder that was named by the user.
enum class SinglePicture {
    isNoRoll,
    isRoll,  ///< unless a roll lies at or below the folder anyway
};

/// The folders at and below the named ones that hold two or more pictures, parents before children, each
/// once and by its canonical path, however many links lead to it. The copies that a roll exported are no
/// roll. A folder that cannot be listed is passed over. Each folder is listed once.
std::vector<Path> imageFolders(const Files& files, const std::vector<Path>& named,
                               SinglePicture single = SinglePicture::isNoRoll);

}  // namespace kelvaris

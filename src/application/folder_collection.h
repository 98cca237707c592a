#pragma once

#include <vector>

#include "base/path.h"
#include "platform/files.h"

namespace kelvaris {

/// The folders at and below the given one that hold two or more pictures, parents before children, each
/// once. The copies that a roll exported are no roll. A folder that cannot be listed is passed over. Links
/// are not followed into folders already seen, so that a loop of links ends.
std::vector<Path> imageFolders(const Files& files, const std::vector<Path>& roots);

/// Whether the folder itself holds at least one picture.
bool holdsPicture(const Files& files, const Path& folder);

}  // namespace kelvaris

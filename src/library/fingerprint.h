#pragma once

#include <vector>

#include "platform/files.h"
#include "vocabulary/file_fingerprint.h"

namespace kelvaris {

/// The image files of a listing that are regular files of known size, by the bytes of their names.
/// A pure function; any thread.
std::vector<FileFingerprint> fingerprintOf(const std::vector<FolderEntry>& listing);

/// The fingerprint of the folder's immediate contents without hidden files; empty when it cannot be
/// listed. One listing and no further question a file. Any thread.
std::vector<FileFingerprint> computeFingerprint(const Files& files, const Path& folder);

}  // namespace kelvaris

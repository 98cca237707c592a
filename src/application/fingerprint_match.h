#pragma once

#include <span>

#include "vocabulary/file_fingerprint.h"

namespace kelvaris {

/// From which likeness on a folder is taken for a roll's own folder.
inline constexpr double matchingRatio = 0.8;

/// How alike two folders are: common files (same name and size) over all files of both; 0 when either
/// is empty. (The Jaccard index of the two sets.)
double matchRatio(std::span<const FileFingerprint> a, std::span<const FileFingerprint> b);

}  // namespace kelvaris

#pragma once

#include <span>

#include "vocabulary/face_region.h"

namespace kelvaris {

/// Whether a face vector has the current length, only finite values and one that is not zero.
bool isUsableFaceVector(std::span<const float> embedding);

/// Whether a face can be compared: a usable vector of the current version.
bool hasUsableEmbedding(const FaceRegion& region);

/// Whether a photo's faces should be looked at again: one of an older version, or one without a usable
/// vector that is not too small to have one. Faces that were never looked for are the caller's case.
bool needsEmbeddings(std::span<const FaceRegion> regions);

}  // namespace kelvaris

#pragma once

#include <memory>
#include <vector>

#include "platform/files.h"
#include "platform/vision.h"

namespace kelvaris {

/// Finds faces that look into the camera by their gradients, and 68 points on each. Any thread: each
/// call borrows a detector of its own.
class FrontalFaceFinder {
public:
    /// @param landmarkFiles where the predictor of face points may lie; the first that reads is taken.
    explicit FrontalFaceFinder(std::vector<Path> landmarkFiles);
    ~FrontalFaceFinder();

    /// Largest first. Without a readable predictor the groups of points stay empty.
    std::vector<FaceObservation> find(const Bitmap& bitmap, bool landmarks);

private:
    class Detectors;
    std::unique_ptr<Detectors> detectors_;
};

}  // namespace kelvaris

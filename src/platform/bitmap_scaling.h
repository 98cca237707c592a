#pragma once

#include "platform/images.h"

namespace kelvaris {

/// The picture drawn into a box of that size without keeping its shape. Cubic, and averaging over all
/// pixels that a smaller result stands for. Empty when a side is 0.
Bitmap stretched(const Bitmap& bitmap, int width, int height);

/// The part of a picture that starts at (x, y). @pre the part lies inside the picture.
Bitmap cropped(const Bitmap& bitmap, int x, int y, int width, int height);

/// The largest part of the given shape from the middle of the picture, scaled to that size.
Bitmap centerCropped(const Bitmap& bitmap, int width, int height);

}  // namespace kelvaris

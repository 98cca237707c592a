#pragma once

#include <memory>
#include <utility>

#include "platform_linux/vips_codec.h"
#include "platform_linux/vips_pixels.h"

namespace kelvaris {

/// Opens the file, finds its format by its first bytes and reads its header.
ImageResult<std::unique_ptr<ImageSource>> openVipsSource(const Path& path, const ImageLimits& limits);

/// The width and height of a picture whose long side is at most that long, at least 1 each.
std::pair<int, int> boundedSize(int width, int height, int maxPixelSize);

}  // namespace kelvaris

#pragma once

#include <memory>
#include <utility>

#include "platform_linux/vips_codec.h"
#include "platform_linux/vips_pixels.h"
#include "platform_linux/working_memory.h"

namespace kelvaris {

/// Opens the file, finds its format by its first bytes and reads its header.
/// @param memory shared by all decodes of the program.
ImageResult<std::unique_ptr<ImageSource>> openVipsSource(const Path& path, const ImageLimits& limits,
                                                         std::shared_ptr<WorkingMemory> memory);

/// The width and height of a picture whose long side is at most that long, at least 1 each.
std::pair<int, int> boundedSize(int width, int height, int maxPixelSize);

}  // namespace kelvaris

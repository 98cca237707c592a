#pragma once

#include "base/byte_source.h"
#include "platform/images.h"

namespace kelvaris {

/// The metadata segments in front of a JPEG's pixels, exactly as they stand: the first Exif block and
/// XMP packet, every extended packet, Photoshop block and comment, and the colour profile put together
/// from its numbered pieces (none when a piece is missing).
/// What a damaged file holds before the damage is given; at most 64 MiB of segments are read.
MetadataBlocks readJpegMetadata(const ByteSource& file);

}  // namespace kelvaris

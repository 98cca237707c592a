#pragma once

#include <vector>

#include "base/bytes.h"
#include "platform/images.h"
#include "platform/jpeg_writer.h"

namespace kelvaris {

/// The most that a segment holds behind its length, and a tag block within one.
inline constexpr std::size_t maximumPayload = 65'533;
inline constexpr std::size_t maximumExifBlock = maximumPayload - 6;

JpegSegment exifSegment(ByteView block);

/// What a copy carries of its source beside the tag block: XMP (its orientation made upright), extended
/// XMP, the colour profile, APP13 and comments, otherwise byte for byte. An XMP packet that is too long
/// for its segment is left out, with a line in the log.
/// @param withProfile whether the copy's pixels are those that the profile describes.
std::vector<JpegSegment> carriedSegments(const MetadataBlocks& blocks, bool withProfile);

/// Image resources (8BIM blocks) as APP13 segments, as many as it takes.
std::vector<JpegSegment> imageResourceSegments(ByteView resources);
/// An IPTC record wrapped as an image resource; empty for an empty one.
Bytes iptcResource(ByteView record);

/// The packet with every one-digit tiff:Orientation made 1, nothing moved.
Bytes uprightXmp(ByteView packet);

}  // namespace kelvaris

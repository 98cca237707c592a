#pragma once

#include "base/byte_source.h"
#include "base/bytes.h"

namespace kelvaris {

/// What a TIFF file's own tables say beside the layout of its pixels.
struct TiffMetadata {
    Bytes exif;  ///< a block of the descriptive tags of the first table, and the Exif and GPS tables
    Bytes imageResources;  ///< 8BIM blocks
    Bytes iptc;
};

/// Reads TIFF and BigTIFF, in either byte order. Any bytes are safe: what is not there is left out, and
/// so is a value of more than 16 MiB. All empty when the bytes are no TIFF.
TiffMetadata readTiffMetadata(const ByteSource& file);

}  // namespace kelvaris

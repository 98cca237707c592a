#pragma once

#include <optional>
#include <vector>

#include "platform_linux/tiff_tables.h"
#include "platform_linux/vips_handles.h"

namespace kelvaris {

/// How the uncompressed strips of a TIFF lie in the file: whole numbers of 8 or 16 bits, the samples of a
/// pixel side by side, grey or RGB, with other samples behind that are not alpha.
struct TiffStrips {
    int width = 0;
    int height = 0;
    int samples = 0;  ///< a pixel's, of which the first are its colours
    int colours = 0;  ///< 1 or 3
    int bits = 0;     ///< 8 or 16
    bool bigEndian = false;
    int rowsPerStrip = 0;
    std::vector<std::uint64_t> offsets;
    Bytes profile;
};

/// Whether a picture's samples beyond its colours are alpha, by the file's own word. Files of film
/// scanners carry an infrared channel there, declared as unspecified or not at all.
bool hasAlphaSamples(const TiffReader& reader, const TiffTable& table);

/// @return nothing when the table's picture lies in the file in any other way.
std::optional<TiffStrips> plainStrips(const TiffReader& reader, const TiffTable& table);

/// The picture shrunk by whole boxes while its bytes are read: the mean of every box of that many pixels
/// a side (a part of a box at the far edges), in the source's own depth, with its colour profile.
/// A scan of 24 megapixels with 16 bits costs little more than reading its bytes.
/// @param box 2 to 128.
ImageResult<VipsImagePtr> shrunkStrips(const ByteSource& file, const TiffStrips& strips, int box);

}  // namespace kelvaris

#pragma once

#include <array>
#include <string>

#include "base/path.h"
#include "platform/images.h"

namespace kelvaris::testing {

void writeBytes(const Path& path, ByteView bytes);
Bytes readBytes(const Path& path);

using Colour = std::array<std::uint8_t, 3>;
inline constexpr Colour red{230, 20, 20};
inline constexpr Colour green{20, 200, 20};
inline constexpr Colour blue{20, 20, 220};
inline constexpr Colour yellow{230, 220, 20};

/// Red and green above, blue and yellow below, so that every turn shows.
Bitmap quarters(int width, int height);
/// A smooth picture with a little noise, that compresses as photographs do.
Bitmap photograph(int width, int height);
Colour colourAt(const Bitmap& bitmap, double x, double y);

/// Writes the bitmap by the library's saver for the name's ending, options in brackets behind it
/// ("x.tif[compression=lzw]"). @param orientation 0 for none.
void savePicture(const Bitmap& bitmap, const std::string& name, int orientation = 0);

/// The checksum of a PNG chunk's name and contents.
std::uint32_t pngChecksum(ByteView bytes);

struct TiffOptions {
    int samples = 3;        ///< 3 for colours alone; a fourth holds half of the full value
    int extraSamples = -1;  ///< the kind of the fourth; -1 for no word of it
    bool bigEndian = false;
    int rowsPerStrip = 7;
};

/// An uncompressed TIFF with 16 bits a sample, each 257 times the bitmap's value.
Bytes tiff16(const Bitmap& bitmap, const TiffOptions& options = {});

/// A JPEG of the bitmap, with the segments (marker byte, payload) behind its start.
Bytes jpegWith(const Bitmap& bitmap, const std::vector<std::pair<std::uint8_t, std::string>>& segments);

/// An Exif segment's payload with an orientation and, unless empty, a small JPEG in its second table.
std::string exifPayload(int orientation, const Bytes& thumbnail);

}  // namespace kelvaris::testing

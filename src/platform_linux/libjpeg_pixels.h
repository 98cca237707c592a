#pragma once

#include "platform/images.h"

namespace kelvaris {

/// The samples of a JPEG as they are stored: grey (1), sRGB or another RGB (3), or CMYK (4, 255 for full
/// ink).
struct JpegPixels {
    int width = 0;
    int height = 0;
    int channels = 3;
    Bytes samples;  ///< rows packed from top to bottom
};

struct JpegHeader {
    int width = 0;
    int height = 0;
    int channels = 3;                   ///< as JpegPixels has them
    std::int64_t coefficientBytes = 0;  ///< held while a progressive picture is decoded; 0 for others
};

/// Code::damaged when the header does not stand.
ImageResult<JpegHeader> readJpegHeader(ByteView jpeg);

/// All pixels, or each side divided by 2, 4 or 8 and rounded up, which costs less than all.
/// A picture whose data end before its last row is Code::damaged, as is a progressive one of
/// more than 500 scans; damage within, which the decoder gets over, shows.
ImageResult<JpegPixels> decodeJpeg(ByteView jpeg, int divisor);

/// The same in a smaller size, each pixel the mean of the area that it stands for, without ever holding
/// the whole picture. Not by more than half on either side.
ImageResult<JpegPixels> decodeJpegReduced(ByteView jpeg, int width, int height);

}  // namespace kelvaris

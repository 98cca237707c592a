#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "base/byte_source.h"
#include "base/bytes.h"
#include "base/path.h"
#include "base/result.h"

namespace kelvaris {

/// Pixels in memory: 8 bits a channel, rows packed from top to bottom, encoded as sRGB (three channels)
/// or as grey with the sRGB curve (one channel).
struct Bitmap {
    int width = 0;
    int height = 0;
    int channels = 3;                  ///< 1 or 3
    std::vector<std::uint8_t> pixels;  ///< width * height * channels bytes

    int longSide() const { return width > height ? width : height; }
};

/// A finished picture, shared and never changed; bitmaps go between threads as this.
using Image = std::shared_ptr<const Bitmap>;

enum class ImageFormat { jpeg, png, tiff, heif };

/// What a file's header says, before any pixel is decoded.
struct ImageProperties {
    ImageFormat format = ImageFormat::jpeg;
    int pixelWidth = 0;  ///< as stored, before orientation
    int pixelHeight = 0;
    std::optional<int> orientation;      ///< the top-level orientation, unchecked
    std::optional<int> tiffOrientation;  ///< that of the TIFF tags, unchecked
    bool decodesUpright = false;         ///< the decoder itself turns the pixels (HEIC)
};

/// The metadata blocks of a file as they stand in it; an absent one is empty. A TIFF has no block of
/// its own for EXIF: its first table is the block, and is read from ImageSource::file().
struct MetadataBlocks {
    Bytes exif;                      ///< the TIFF-structured block, without the "Exif\0\0" in front
    Bytes xmp;                       ///< the packet
    std::vector<Bytes> extendedXmp;  ///< whole APP1 payloads of a JPEG's extended packets, in order
    Bytes icc;                       ///< the colour profile of the stored pixels
    std::vector<Bytes> photoshop;    ///< whole APP13 payloads (IPTC lives there)
    std::vector<Bytes> comments;     ///< COM payloads
};

struct ImageError {
    enum class Code {
        unreadable,  ///< no such file, no right to it, or not a regular file
        notAnImage,  ///< none of the formats that are read here
        damaged,     ///< the header or the pixels end early or contradict themselves
        tooLarge,    ///< more pixels, or more bytes, than a picture may have
        absent,      ///< what was asked for is not in the file
        failed,      ///< the library behind could not do it
    };
    Code code = Code::failed;
    std::string message;
};

template <class T>
using ImageResult = Result<T, ImageError>;

/// One opened picture file; everything asked of it comes from one read. One thread at a time.
class ImageSource {
public:
    virtual ~ImageSource() = default;

    virtual const ImageProperties& properties() const = 0;
    /// The bytes of the opened file, whatever happens to its name meanwhile. Lives as long as the source.
    virtual const ByteSource& file() const = 0;
    /// Read on the first call.
    virtual const MetadataBlocks& metadata() = 0;

    /// The small picture inside the file, turned upright, at most that long; Code::absent when there is
    /// none.
    /// Never decodes the picture itself.
    virtual ImageResult<Image> embeddedThumbnail(int maxPixelSize) = 0;

    /// The picture turned upright by the file's own orientation, in sRGB.
    /// @param maxPixelSize the long side is at most this (never enlarged); absent is full size.
    virtual ImageResult<Image> decode(std::optional<int> maxPixelSize) = 0;
};

/// Opens and encodes pictures. Any thread.
class ImageCodec {
public:
    virtual ~ImageCodec() = default;

    /// JPEG, PNG, TIFF or HEIC by content; a picture of more pixels than the limit is Code::tooLarge.
    virtual ImageResult<std::unique_ptr<ImageSource>> open(const Path& path) = 0;

    /// @param quality 0 to 1.
    virtual ImageResult<Bytes> encodeJpeg(const Bitmap& bitmap, double quality) = 0;

    /// Scales with area averaging or better, keeping the shape; never enlarges.
    virtual ImageResult<Image> reduced(const Image& image, int maxPixelSize) = 0;
};

}  // namespace kelvaris

#pragma once

#include <cstdint>
#include <vector>

#include "base/bytes.h"
#include "base/result.h"
#include "platform/files.h"
#include "platform/images.h"

namespace kelvaris {

/// One marker segment of a JPEG file: an APPn or COM code and what follows its length.
struct JpegSegment {
    std::uint8_t code = 0;  ///< 0xE0 to 0xEF, or 0xFE
    Bytes payload;          ///< at most 65,533 bytes

    bool operator==(const JpegSegment&) const = default;
};

/// How a copy is written.
struct JpegRecipe {
    int orientation = 1;   ///< 1 to 8: how the pixels are turned on their way, told as an EXIF orientation
    double quality = 1.0;  ///< 0 to 1; at 1 colour keeps its full resolution
    std::vector<JpegSegment> segments;  ///< written right behind the start, in this order
};

enum class JpegWriteError {
    unreadable,  ///< the source does not decode to its end
    failed,      ///< the encoder or the disk refused
};

/// Writes JPEG copies in one pass: pixels and metadata together. Any thread; one picture is in memory
/// at a time, and pixels of an upright copy of a JPEG never all at once.
class JpegWriter {
public:
    virtual ~JpegWriter() = default;

    struct Header {
        int width = 0;  ///< of the stored pixels
        int height = 0;
        bool isCopyable = false;  ///< grey, YCbCr or RGB: colours that copy() can keep as they are
    };
    virtual Result<Header, JpegWriteError> readHeader(ByteView jpeg) = 0;

    /// Decodes, turns and encodes a copyable JPEG; the stored colours keep the meaning that the file's
    /// profile gives them. The destination is written but not committed; after an error the caller drops it.
    virtual Result<void, JpegWriteError> copy(ByteView jpeg, const JpegRecipe& recipe,
                                              PendingFile& destination) = 0;

    /// Encodes finished pixels, turned as the recipe tells.
    virtual Result<void, JpegWriteError> encode(const Bitmap& bitmap, const JpegRecipe& recipe,
                                                PendingFile& destination) = 0;
};

}  // namespace kelvaris

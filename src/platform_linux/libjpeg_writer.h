#pragma once

#include <cstdint>

#include "platform/jpeg_writer.h"

namespace kelvaris {

/// JPEG copies by libjpeg. Stateless.
class LibjpegWriter final : public JpegWriter {
public:
    /// @param maximumPixels a source of more is unreadable: its header may lie.
    explicit LibjpegWriter(std::int64_t maximumPixels = std::int64_t{1} << 30)
        : maximumPixels_(maximumPixels) {}

    Result<Header, JpegWriteError> readHeader(ByteView jpeg) override;
    Result<void, JpegWriteError> copy(ByteView jpeg, const JpegRecipe& recipe,
                                      PendingFile& destination) override;
    Result<void, JpegWriteError> encode(const Bitmap& bitmap, const JpegRecipe& recipe,
                                        PendingFile& destination) override;

private:
    std::int64_t maximumPixels_;
};

}  // namespace kelvaris

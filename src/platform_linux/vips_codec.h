#pragma once

#include <cstdint>
#include <memory>

#include "platform/images.h"
#include "platform_linux/working_memory.h"

namespace kelvaris {

/// What a picture file may ask of the machine.
struct ImageLimits {
    /// Beyond this, a picture is refused by its header. At three bytes a pixel its full size is 1.5 GB.
    std::int64_t pixels = 500'000'000;
    /// Of a compressed file, which is held in memory while it is read; a TIFF is read from its place.
    std::int64_t compressedBytes = 1'000'000'000;
    /// Of all decodes at once, by formats that are held whole while they are decoded.
    std::int64_t workingBytes = 512 << 20;
};

/// Pictures by libvips: JPEG, PNG, TIFF and HEIC. Any thread; each decode runs wholly on its caller's
/// thread, so that many pictures keep many cores busy and one picture only one.
class VipsImageCodec final : public ImageCodec {
public:
    /// Starts the library, which is one for the process. @return nothing when it does not start.
    static std::unique_ptr<VipsImageCodec> make(ImageLimits limits = {});

    /// To be run by every thread that used the codec, before it ends.
    static void endThread();

    ImageResult<std::unique_ptr<ImageSource>> open(const Path& path) override;
    /// Without any metadata; colours at half resolution below a quality of 0.9.
    ImageResult<Bytes> encodeJpeg(const Bitmap& bitmap, double quality) override;
    ImageResult<Image> reduced(const Image& image, int maxPixelSize) override;

private:
    explicit VipsImageCodec(ImageLimits limits)
        : limits_(limits), memory_(std::make_shared<WorkingMemory>(limits.workingBytes)) {}

    const ImageLimits limits_;
    const std::shared_ptr<WorkingMemory> memory_;
};

}  // namespace kelvaris

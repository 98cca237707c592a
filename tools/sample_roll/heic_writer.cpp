#include "sample_roll/writers.h"

#include <memory>

#if KELVARIS_SAMPLE_ROLL_HEIF
#include <libheif/heif.h>
#endif

namespace kelvaris::sample_roll {

#if KELVARIS_SAMPLE_ROLL_HEIF

namespace {

template <auto Release>
struct Releaser {
    template <class T>
    void operator()(T* object) const {
        Release(object);
    }
};

using Context = std::unique_ptr<heif_context, Releaser<heif_context_free>>;
using Encoder = std::unique_ptr<heif_encoder, Releaser<heif_encoder_release>>;
using Image = std::unique_ptr<heif_image, Releaser<heif_image_release>>;
using Handle = std::unique_ptr<heif_image_handle, Releaser<heif_image_handle_release>>;

bool succeeded(const heif_error& error) { return error.code == heif_error_Ok; }

Image filledImage(Frame& frame) {
    heif_image* created = nullptr;
    if (!succeeded(heif_image_create(frame.width(), frame.height(), heif_colorspace_RGB,
                                     heif_chroma_interleaved_RGB, &created))) {
        return nullptr;
    }
    Image image(created);
    if (!succeeded(
            heif_image_add_plane(image.get(), heif_channel_interleaved, frame.width(), frame.height(), 8))) {
        return nullptr;
    }
    int stride = 0;
    std::uint8_t* plane = heif_image_get_plane(image.get(), heif_channel_interleaved, &stride);
    for (int y = 0; y < frame.height(); ++y) {
        const auto row = frame.row8(y);
        std::uint8_t* target = plane + (static_cast<std::ptrdiff_t>(y) * stride);
        for (int x = 0; x < frame.width() * 3; ++x) {
            target[x] = row[static_cast<std::size_t>(frame.channels() == 1 ? x / 3 : x)];
        }
    }
    return image;
}

}  // namespace

WriteOutcome writeHeic(const std::filesystem::path& path, Frame& frame, int quality,
                       const std::optional<ExifRecord>& exif) {
    const Context context(heif_context_alloc());
    heif_encoder* found = nullptr;
    if (!context ||
        !succeeded(heif_context_get_encoder_for_format(context.get(), heif_compression_HEVC, &found))) {
        return WriteOutcome::noEncoder;
    }
    const Encoder encoder(found);
    heif_encoder_set_lossy_quality(encoder.get(), quality);
    heif_encoder_set_parameter(encoder.get(), "preset", "ultrafast");
    const Image image = filledImage(frame);
    heif_image_handle* encoded = nullptr;
    if (!image ||
        !succeeded(heif_context_encode_image(context.get(), image.get(), encoder.get(), nullptr, &encoded))) {
        return WriteOutcome::failed;
    }
    const Handle handle(encoded);
    if (exif) {
        const auto block = exifBlock(*exif);
        if (!succeeded(heif_context_add_exif_metadata(context.get(), handle.get(), block.data(),
                                                      static_cast<int>(block.size())))) {
            return WriteOutcome::failed;
        }
    }
    if (!succeeded(heif_context_write_to_file(context.get(), path.c_str()))) {
        std::error_code ignored;
        std::filesystem::remove(path, ignored);
        return WriteOutcome::failed;
    }
    return WriteOutcome::written;
}

#else

WriteOutcome writeHeic(const std::filesystem::path&, Frame&, int, const std::optional<ExifRecord>&) {
    return WriteOutcome::noEncoder;
}

#endif

}  // namespace kelvaris::sample_roll

#include "platform_linux/vips_codec.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <mutex>
#include <string_view>

#include "base/log.h"
#include "platform_linux/vips_source.h"

namespace kelvaris {
namespace {

void forwardWarning(const gchar* /*domain*/, GLogLevelFlags /*level*/, const gchar* message, gpointer) {
    log::debug("Images", "libvips: {}", message);
}

bool startLibrary() {
    static std::once_flag once;
    static bool started = false;
    std::call_once(once, [] {
        g_log_set_handler("VIPS", static_cast<GLogLevelFlags>(G_LOG_LEVEL_MASK & ~G_LOG_LEVEL_ERROR),
                          forwardWarning, nullptr);
        started = vips_init("kelvaris") == 0;
        if (!started) return;
        vips_concurrency_set(1);
        vips_cache_set_max(0);
        vips_block_untrusted_set(TRUE);
    });
    return started;
}

}  // namespace

std::unique_ptr<VipsImageCodec> VipsImageCodec::make(ImageLimits limits) {
    if (!startLibrary()) return nullptr;
    return std::unique_ptr<VipsImageCodec>(new VipsImageCodec(limits));
}

void VipsImageCodec::endThread() { vips_thread_shutdown(); }

ImageResult<std::unique_ptr<ImageSource>> VipsImageCodec::open(const Path& path) {
    return openVipsSource(path, limits_, memory_);
}

ImageResult<Bytes> VipsImageCodec::encodeJpeg(const Bitmap& bitmap, double quality) {
    const int percent = std::clamp(static_cast<int>(std::lround(quality * 100)), 1, 100);
    const auto image = borrowed(bitmap);
    void* data = nullptr;
    std::size_t size = 0;
    if (!image ||
        vips_jpegsave_buffer(image.get(), &data, &size, "Q", percent, "strip", TRUE, nullptr) != 0) {
        return Unexpected(ImageError{ImageError::Code::failed, takeVipsErrors()});
    }
    const auto* bytes = static_cast<const std::uint8_t*>(data);
    Bytes encoded(bytes, bytes + size);
    g_free(data);
    return encoded;
}

ImageResult<Image> VipsImageCodec::reduced(const Image& image, int maxPixelSize) {
    if (image->longSide() <= maxPixelSize) return image;
    const auto [width, height] = boundedSize(image->width, image->height, maxPixelSize);
    const auto whole = borrowed(*image);
    const auto small = whole ? scaled(whole.get(), width, height) : nullptr;
    if (!small) return Unexpected(ImageError{ImageError::Code::failed, takeVipsErrors()});
    auto bitmap = rendered(small.get());
    if (!bitmap) return Unexpected(bitmap.error());
    return Image(std::make_shared<const Bitmap>(std::move(*bitmap)));
}

}  // namespace kelvaris

#include "sample_roll/writers.h"

#include <csetjmp>
#include <cstdio>
#include <cstdlib>

// jpeglib.h needs FILE and size_t to be declared before it.
#include <jpeglib.h>

namespace kelvaris::sample_roll {

namespace {

/// The codec reports an error through a function that must not return.
struct ErrorExit {
    jpeg_error_mgr manager;
    std::jmp_buf back;
};

[[noreturn]] void leave(j_common_ptr codec) {
    std::longjmp(reinterpret_cast<ErrorExit*>(codec->err)->back, 1);
}

/// The frame as JPEG bytes, empty when the encoder fails. `exif` is a whole block or empty.
std::vector<std::uint8_t> encode(Frame& frame, int quality, const std::vector<std::uint8_t>& exif) {
    std::vector<std::uint8_t> segment = {'E', 'x', 'i', 'f', 0, 0};
    segment.insert(segment.end(), exif.begin(), exif.end());

    jpeg_compress_struct codec{};
    ErrorExit errors{};
    codec.err = jpeg_std_error(&errors.manager);
    errors.manager.error_exit = leave;
    unsigned char* buffer = nullptr;
    unsigned long size = 0;
    if (setjmp(errors.back) != 0) {
        jpeg_destroy_compress(&codec);
        std::free(buffer);
        return {};
    }
    jpeg_create_compress(&codec);
    jpeg_mem_dest(&codec, &buffer, &size);
    codec.image_width = static_cast<JDIMENSION>(frame.width());
    codec.image_height = static_cast<JDIMENSION>(frame.height());
    codec.input_components = frame.channels();
    codec.in_color_space = frame.channels() == 1 ? JCS_GRAYSCALE : JCS_RGB;
    jpeg_set_defaults(&codec);
    jpeg_set_quality(&codec, quality, TRUE);
    codec.write_JFIF_header = exif.empty() ? TRUE : FALSE;
    jpeg_start_compress(&codec, TRUE);
    if (!exif.empty()) {
        jpeg_write_marker(&codec, JPEG_APP0 + 1, segment.data(), static_cast<unsigned>(segment.size()));
    }
    for (int y = 0; y < frame.height(); ++y) {
        auto* row = const_cast<JSAMPROW>(frame.row8(y).data());
        jpeg_write_scanlines(&codec, &row, 1);
    }
    jpeg_finish_compress(&codec);
    jpeg_destroy_compress(&codec);
    std::vector<std::uint8_t> result(buffer, buffer + size);
    std::free(buffer);
    return result;
}

}  // namespace

WriteOutcome writeJpeg(const std::filesystem::path& path, Frame& frame, int quality,
                       const std::optional<ExifRecord>& exif) {
    const auto bytes = encode(frame, quality, exif ? exifBlock(*exif) : std::vector<std::uint8_t>{});
    std::FILE* file = bytes.empty() ? nullptr : std::fopen(path.c_str(), "wb");
    if (file == nullptr) {
        return WriteOutcome::failed;
    }
    const bool whole = std::fwrite(bytes.data(), 1, bytes.size(), file) == bytes.size();
    if (std::fclose(file) != 0 || !whole) {
        std::error_code ignored;
        std::filesystem::remove(path, ignored);
        return WriteOutcome::failed;
    }
    return WriteOutcome::written;
}

std::vector<std::uint8_t> thumbnailJpeg(FrameRecipe recipe, int side) {
    const int longSide = std::max(recipe.width, recipe.height);
    recipe.width = std::max(1, recipe.width * side / longSide);
    recipe.height = std::max(1, recipe.height * side / longSide);
    recipe.grain = 0;
    Frame frame(recipe);
    return encode(frame, 80, {});
}

}  // namespace kelvaris::sample_roll

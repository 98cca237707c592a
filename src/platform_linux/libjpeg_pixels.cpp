#include "platform_linux/libjpeg_pixels.h"

#include <algorithm>
#include <array>
#include <csetjmp>
#include <cstddef>
#include <cstdio>

// After <cstdio>, which they expect.
#include <jerror.h>
#include <jpeglib.h>

#include "platform_linux/row_reducer.h"

namespace kelvaris {
namespace {

constexpr int maximumScans = 500;  // a progressive file of many empty scans would keep us busy for hours
constexpr std::uint64_t coefficientLimit = 3'000'000'000;  // what a progressive file holds in memory
constexpr std::uint64_t pixelsPerByte = 1024;  // a coded block of 8 by 8 takes a bit at the very least
constexpr int rowsAtATime = 16;

/// The decoder. Its errors jump back to guarded(); nothing with a destructor lives on the way between.
struct Decoder {
    Decoder() {
        info.err = jpeg_std_error(&errors);
        errors.error_exit = [](j_common_ptr common) { of(common).fail(); };
        errors.emit_message = [](j_common_ptr common, int level) {
            if (level < 0 && of(common).endsEarly()) of(common).fail();
        };
        errors.output_message = [](j_common_ptr) {};
        progress.progress_monitor = [](j_common_ptr common) {
            if (of(common).info.input_scan_number > maximumScans) of(common).fail();
        };
    }
    Decoder(const Decoder&) = delete;
    Decoder& operator=(const Decoder&) = delete;
    ~Decoder() { jpeg_destroy_decompress(&info); }

    static Decoder& of(j_common_ptr common) { return *static_cast<Decoder*>(common->client_data); }

    [[noreturn]] void fail() { std::longjmp(jump, 1); }

    /// Whether the warning at hand says that the data of a scan are over before its pixels are. A restart
    /// marker in a wrong place is mere damage, which the decoder gets over.
    bool endsEarly() const {
        const bool atRestart = info.unread_marker >= JPEG_RST0 && info.unread_marker <= JPEG_RST0 + 7;
        return errors.msg_code == JWRN_JPEG_EOF || (errors.msg_code == JWRN_HIT_MARKER && !atRestart);
    }

    template <class Steps>
    bool guarded(Steps&& steps) {
        if (setjmp(jump) != 0) return false;
        steps();
        return true;
    }

    void readHeader(ByteView jpeg) {
        jpeg_create_decompress(&info);
        info.client_data = this;
        info.progress = &progress;
        jpeg_mem_src(&info, jpeg.data(), jpeg.size());
        jpeg_read_header(&info, TRUE);
        switch (info.jpeg_color_space) {
            case JCS_GRAYSCALE:
                info.out_color_space = JCS_GRAYSCALE;
                break;
            case JCS_CMYK:
            case JCS_YCCK:
                info.out_color_space = JCS_CMYK;
                break;
            default:
                info.out_color_space = JCS_RGB;
        }
    }

    void readRows(std::uint8_t* target) {
        const std::size_t rowSize = static_cast<std::size_t>(info.output_width) * info.output_components;
        std::array<JSAMPROW, rowsAtATime> rows{};
        while (info.output_scanline < info.output_height) {
            for (std::size_t i = 0; i < rows.size(); ++i) {
                rows[i] = target +
                          std::min<std::size_t>(info.output_scanline + i, info.output_height - 1) * rowSize;
            }
            jpeg_read_scanlines(&info, rows.data(),
                                std::min<JDIMENSION>(rowsAtATime, info.output_height - info.output_scanline));
        }
    }

    void readRows(RowReducer& reducer, std::uint8_t* room) {
        const std::size_t rowSize = static_cast<std::size_t>(info.output_width) * info.output_components;
        std::array<JSAMPROW, rowsAtATime> rows{};
        for (std::size_t i = 0; i < rows.size(); ++i) rows[i] = room + i * rowSize;
        while (info.output_scanline < info.output_height) {
            const JDIMENSION count = jpeg_read_scanlines(&info, rows.data(), rowsAtATime);
            for (JDIMENSION i = 0; i < count; ++i) reducer.add(rows[i]);
        }
    }

    std::string reason() {
        std::array<char, JMSG_LENGTH_MAX> text{};
        errors.format_message(reinterpret_cast<j_common_ptr>(&info), text.data());
        return text.data();
    }

    jpeg_error_mgr errors{};
    jpeg_decompress_struct info{};
    jpeg_progress_mgr progress{};
    std::jmp_buf jump{};
};

Unexpected<ImageError> damaged(Decoder& decoder) {
    return Unexpected(ImageError{ImageError::Code::damaged, decoder.reason()});
}

int channelsOf(J_COLOR_SPACE colours) {
    if (colours == JCS_GRAYSCALE) return 1;
    return colours == JCS_CMYK ? 4 : 3;
}

bool claimsMoreThanItHolds(const jpeg_decompress_struct& info, std::size_t size) {
    return !info.arith_code && std::uint64_t{info.image_width} * info.image_height > size * pixelsPerByte;
}

bool tooManyCoefficients(const jpeg_decompress_struct& info) {
    return info.progressive_mode && std::uint64_t{info.image_width} * info.image_height *
                                            static_cast<std::uint64_t>(info.num_components) * sizeof(JCOEF) >
                                        coefficientLimit;
}

}  // namespace

ImageResult<JpegHeader> readJpegHeader(ByteView jpeg) {
    Decoder decoder;
    if (!decoder.guarded([&] { decoder.readHeader(jpeg); })) return damaged(decoder);
    const jpeg_decompress_struct& info = decoder.info;
    JpegHeader header{.width = static_cast<int>(info.image_width),
                      .height = static_cast<int>(info.image_height),
                      .channels = channelsOf(info.out_color_space)};
    for (int i = 0; info.progressive_mode && i < info.num_components; ++i) {
        header.coefficientBytes += std::int64_t{info.comp_info[i].width_in_blocks} *
                                   info.comp_info[i].height_in_blocks *
                                   static_cast<std::int64_t>(sizeof(JBLOCK));
    }
    return header;
}

namespace {

/// Reads the header and tells what the decoder will give, if it is worth decoding.
ImageResult<JpegPixels> begun(Decoder& decoder, ByteView jpeg, int divisor) {
    const bool isStarted = decoder.guarded([&] {
        decoder.readHeader(jpeg);
        decoder.info.scale_num = 1;
        decoder.info.scale_denom = static_cast<unsigned>(divisor);
        jpeg_calc_output_dimensions(&decoder.info);
    });
    if (!isStarted) return damaged(decoder);
    if (tooManyCoefficients(decoder.info)) {
        return Unexpected(ImageError{ImageError::Code::tooLarge, "The picture has too many pixels in scans"});
    }
    if (claimsMoreThanItHolds(decoder.info, jpeg.size())) {
        return Unexpected(ImageError{ImageError::Code::damaged, "More pixels than the file can hold"});
    }
    return JpegPixels{.width = static_cast<int>(decoder.info.output_width),
                      .height = static_cast<int>(decoder.info.output_height),
                      .channels = channelsOf(decoder.info.out_color_space)};
}

/// The writers of CMYK pictures that leave their mark store the ink inverted.
JpegPixels withTrueInk(JpegPixels pixels, const Decoder& decoder) {
    if (pixels.channels == 4 && decoder.info.saw_Adobe_marker) {
        for (std::uint8_t& sample : pixels.samples) sample = static_cast<std::uint8_t>(255 - sample);
    }
    return pixels;
}

}  // namespace

ImageResult<JpegPixels> decodeJpeg(ByteView jpeg, int divisor) {
    Decoder decoder;
    auto pixels = begun(decoder, jpeg, divisor);
    if (!pixels) return pixels;
    pixels->samples.resize(static_cast<std::size_t>(pixels->width) *
                           static_cast<std::size_t>(pixels->height) *
                           static_cast<std::size_t>(pixels->channels));
    const bool isRead = decoder.guarded([&] {
        jpeg_start_decompress(&decoder.info);
        decoder.readRows(pixels->samples.data());
    });
    if (!isRead) return damaged(decoder);
    return withTrueInk(std::move(*pixels), decoder);
}

ImageResult<JpegPixels> decodeJpegReduced(ByteView jpeg, int width, int height) {
    Decoder decoder;
    auto pixels = begun(decoder, jpeg, 1);
    if (!pixels) return pixels;
    RowReducer reducer(pixels->width, pixels->height, pixels->channels, width, height);
    Bytes room(static_cast<std::size_t>(rowsAtATime) * static_cast<std::size_t>(pixels->width) *
               static_cast<std::size_t>(pixels->channels));
    const bool isRead = decoder.guarded([&] {
        jpeg_start_decompress(&decoder.info);
        decoder.readRows(reducer, room.data());
    });
    if (!isRead) return damaged(decoder);
    pixels->width = width;
    pixels->height = height;
    pixels->samples = reducer.takeResult();
    return withTrueInk(std::move(*pixels), decoder);
}

}  // namespace kelvaris

#include "platform_linux/libjpeg_writer.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <csetjmp>
#include <cstddef>
#include <cstdio>
#include <cstring>
#include <memory>
#include <new>

// After <cstdio>, which they expect.
#include <jerror.h>
#include <jpeglib.h>

namespace kelvaris {

namespace {

constexpr std::size_t outputBufferSize = 256 * 1024;
constexpr int stripRows = 64;
constexpr int maximumScans = 500;  // a progressive file of many empty scans would keep us busy for hours

/// What the library's callbacks share: its errors jump here, and nothing with a destructor lives on the
/// way between.
struct Failure {
    jpeg_error_mgr manager{};
    std::jmp_buf jump{};
    bool sourceFailed = false;
    bool truncated = false;
};

Failure& failureOf(j_common_ptr info) { return *reinterpret_cast<Failure*>(info->err); }

void failHard(j_common_ptr info) {
    failureOf(info).sourceFailed = info->is_decompressor != 0;
    std::longjmp(failureOf(info).jump, 1);
}

void noteWarning(j_common_ptr info, int level) {
    if (level < 0 && info->err->msg_code == JWRN_JPEG_EOF) {
        failureOf(info).truncated = true;
        failHard(info);
    }
}

void limitScans(j_common_ptr info) {
    if (!info->is_decompressor) return;
    if (reinterpret_cast<j_decompress_ptr>(info)->input_scan_number > maximumScans) failHard(info);
}

void prepare(Failure& failure) {
    jpeg_std_error(&failure.manager);
    failure.manager.error_exit = failHard;
    failure.manager.emit_message = noteWarning;
    failure.manager.output_message = [](j_common_ptr) {};
}

/// Runs steps that may jump out. They own nothing that would leak.
template <class Steps>
bool guarded(Failure& failure, Steps&& steps) {
    if (setjmp(failure.jump) != 0) return false;
    steps();
    return true;
}

struct Reader {
    explicit Reader(Failure& failure) {
        info.err = &failure.manager;
        progress.progress_monitor = limitScans;
    }
    Reader(const Reader&) = delete;
    Reader& operator=(const Reader&) = delete;
    ~Reader() { jpeg_destroy_decompress(&info); }

    void open(ByteView jpeg) {
        jpeg_create_decompress(&info);
        info.progress = &progress;
        jpeg_mem_src(&info, jpeg.data(), jpeg.size());
        jpeg_read_header(&info, TRUE);
    }

    jpeg_decompress_struct info{};
    jpeg_progress_mgr progress{};
};

/// The encoder with a destination that hands full buffers to the pending file.
struct Writer {
    Writer(Failure& failure, PendingFile& file) : destination(file) {
        info.err = &failure.manager;
        manager.init_destination = [](j_compress_ptr) {};
        manager.empty_output_buffer = [](j_compress_ptr each) -> boolean {
            of(each).flush(outputBufferSize);
            return TRUE;
        };
        manager.term_destination = [](j_compress_ptr each) {
            of(each).flush(outputBufferSize - of(each).manager.free_in_buffer);
        };
    }
    Writer(const Writer&) = delete;
    Writer& operator=(const Writer&) = delete;
    ~Writer() { jpeg_destroy_compress(&info); }

    static Writer& of(j_compress_ptr info) { return *static_cast<Writer*>(info->client_data); }

    void flush(std::size_t size) {
        bool isWritten = false;
        {
            const FileResult<void> result = destination.write({buffer.get(), size});
            isWritten = result.has_value();
        }
        if (!isWritten) failHard(reinterpret_cast<j_common_ptr>(&info));
        manager.next_output_byte = buffer.get();
        manager.free_in_buffer = outputBufferSize;
    }

    void start(int width, int height, J_COLOR_SPACE colors, const JpegRecipe& recipe) {
        jpeg_create_compress(&info);
        info.client_data = this;
        info.dest = &manager;
        manager.next_output_byte = buffer.get();
        manager.free_in_buffer = outputBufferSize;
        info.image_width = static_cast<JDIMENSION>(width);
        info.image_height = static_cast<JDIMENSION>(height);
        info.in_color_space = colors;
        info.input_components = colors == JCS_GRAYSCALE ? 1 : 3;
        jpeg_set_defaults(&info);
        const double quality = std::clamp(recipe.quality, 0.0, 1.0);
        jpeg_set_quality(&info, std::max(1, static_cast<int>(std::lround(quality * 100))), TRUE);
        if (quality >= 1.0) info.comp_info[0].h_samp_factor = info.comp_info[0].v_samp_factor = 1;
        info.write_JFIF_header = FALSE;
        jpeg_start_compress(&info, TRUE);
        for (const JpegSegment& segment : recipe.segments) {
            jpeg_write_marker(&info, segment.code, segment.payload.data(),
                              static_cast<unsigned>(segment.payload.size()));
        }
    }

    void write(std::uint8_t* firstRow, int rows, std::ptrdiff_t stride) {
        std::array<JSAMPROW, stripRows> lines;
        for (int row = 0; row < rows; ++row) lines[static_cast<std::size_t>(row)] = firstRow + row * stride;
        JDIMENSION written = 0;
        while (written < static_cast<JDIMENSION>(rows)) {
            written +=
                jpeg_write_scanlines(&info, lines.data() + written, static_cast<JDIMENSION>(rows) - written);
        }
    }

    PendingFile& destination;
    jpeg_compress_struct info{};
    jpeg_destination_mgr manager{};
    std::unique_ptr<std::uint8_t[]> buffer = std::make_unique_for_overwrite<std::uint8_t[]>(outputBufferSize);
};

/// Where a source's pixel lands in the turned picture: at origin + x * stepX + y * stepY, in pixels.
struct Turn {
    int width, height;  ///< of the turned picture
    std::ptrdiff_t origin, stepX, stepY;
};

/// Every orientation is a mirroring from left to right, or none, and then quarter turns clockwise.
Turn turnFor(int orientation, int width, int height) {
    struct Row {
        bool isMirrored;
        int quarters;
    };
    constexpr std::array<Row, 8> rows{
        {{false, 0}, {true, 0}, {false, 2}, {true, 2}, {true, 3}, {false, 1}, {true, 1}, {false, 3}}};
    const Row row = rows[static_cast<std::size_t>(std::clamp(orientation, 1, 8) - 1)];
    const int outWidth = row.quarters % 2 == 0 ? width : height;
    const int outHeight = row.quarters % 2 == 0 ? height : width;
    const auto place = [&](std::ptrdiff_t x, std::ptrdiff_t y) -> std::ptrdiff_t {
        if (row.isMirrored) x = width - 1 - x;
        switch (row.quarters) {
            case 1:
                return x * outWidth + (height - 1 - y);
            case 2:
                return (height - 1 - y) * outWidth + (width - 1 - x);
            case 3:
                return (width - 1 - x) * outWidth + y;
            default:
                return y * outWidth + x;
        }
    };
    const std::ptrdiff_t origin = place(0, 0);
    return {outWidth, outHeight, origin, place(1, 0) - origin, place(0, 1) - origin};
}

/// Only the two quarter turns are not their own inverse.
int inverseOrientation(int orientation) { return orientation == 6 ? 8 : orientation == 8 ? 6 : orientation; }

template <int channels>
void copyPixels(const std::uint8_t* from, std::ptrdiff_t fromOuter, std::ptrdiff_t fromInner,
                std::uint8_t* to, std::ptrdiff_t toOuter, std::ptrdiff_t toInner, int outer, int inner) {
    for (int each = 0; each < outer; ++each) {
        const std::uint8_t* source = from + each * fromOuter * channels;
        std::uint8_t* target = to + each * toOuter * channels;
        for (int pixel = 0; pixel < inner; ++pixel) {
            for (int channel = 0; channel < channels; ++channel) target[channel] = source[channel];
            source += fromInner * channels;
            target += toInner * channels;
        }
    }
}

/// Copies a rectangle of pixels between two grids; steps in pixels. The inner loop goes along the
/// target's rows.
void copyGrid(int channels, const std::uint8_t* from, std::ptrdiff_t fromX, std::ptrdiff_t fromY,
              std::uint8_t* to, std::ptrdiff_t toX, std::ptrdiff_t toY, int width, int height) {
    const bool alongX = std::abs(toX) < std::abs(toY);
    const auto copy = channels == 1 ? copyPixels<1> : copyPixels<3>;
    if (alongX) {
        copy(from, fromY, fromX, to, toY, toX, height, width);
    } else {
        copy(from, fromX, fromY, to, toX, toY, width, height);
    }
}

bool isCopyable(const jpeg_decompress_struct& info) {
    const J_COLOR_SPACE colors = info.jpeg_color_space;
    return colors == JCS_GRAYSCALE || colors == JCS_YCbCr || colors == JCS_RGB;
}

/// Pixels that nobody needs cleared beforehand.
using Pixels = std::unique_ptr<std::uint8_t[]>;

Pixels pixelBuffer(std::size_t size) { return Pixels(new (std::nothrow) std::uint8_t[size]); }

}  // namespace

Result<JpegWriter::Header, JpegWriteError> LibjpegWriter::readHeader(ByteView jpeg) {
    Failure failure;
    prepare(failure);
    Reader reader(failure);
    if (!guarded(failure, [&] { reader.open(jpeg); })) return Unexpected(JpegWriteError::unreadable);
    const auto& info = reader.info;
    return Header{static_cast<int>(info.image_width), static_cast<int>(info.image_height), isCopyable(info)};
}

Result<void, JpegWriteError> LibjpegWriter::copy(ByteView jpeg, const JpegRecipe& recipe,
                                                 PendingFile& destination) {
    Failure failure;
    prepare(failure);
    Reader reader(failure);
    Writer writer(failure, destination);
    const auto failed = [&] {
        return Unexpected(failure.sourceFailed ? JpegWriteError::unreadable : JpegWriteError::failed);
    };
    if (!guarded(failure, [&] { reader.open(jpeg); })) return failed();

    auto& source = reader.info;
    if (!isCopyable(source)) return Unexpected(JpegWriteError::unreadable);
    // YCbCr stays YCbCr: two conversions, and their rounding, less.
    source.out_color_space = source.jpeg_color_space;
    const int width = static_cast<int>(source.image_width), height = static_cast<int>(source.image_height);
    if (std::int64_t{width} * height > maximumPixels_) return Unexpected(JpegWriteError::unreadable);
    const int channels = source.num_components;
    const Turn turn = turnFor(recipe.orientation, width, height);
    const bool isUpright = recipe.orientation == 1;

    const std::size_t rowSize = static_cast<std::size_t>(width) * static_cast<std::size_t>(channels);
    const Pixels strip = pixelBuffer(rowSize * stripRows);
    const Pixels picture = isUpright ? Pixels() : pixelBuffer(rowSize * static_cast<std::size_t>(height));
    if (!strip || (!isUpright && !picture)) return Unexpected(JpegWriteError::failed);

    const bool isDone = guarded(failure, [&] {
        if (isUpright) writer.start(turn.width, turn.height, source.out_color_space, recipe);
        jpeg_start_decompress(&source);
        while (source.output_scanline < source.output_height) {
            const auto first = static_cast<int>(source.output_scanline);
            const int wanted = std::min(stripRows, height - first);
            int rows = 0;
            while (rows < wanted) {
                std::array<JSAMPROW, stripRows> lines;
                for (int row = rows; row < wanted; ++row) {
                    lines[static_cast<std::size_t>(row)] =
                        strip.get() + rowSize * static_cast<std::size_t>(row);
                }
                rows += static_cast<int>(jpeg_read_scanlines(&source, lines.data() + rows,
                                                             static_cast<JDIMENSION>(wanted - rows)));
            }
            if (isUpright) {
                writer.write(strip.get(), rows, static_cast<std::ptrdiff_t>(rowSize));
            } else {
                copyGrid(channels, strip.get(), 1, width,
                         picture.get() + (turn.origin + first * turn.stepY) * channels, turn.stepX,
                         turn.stepY, width, rows);
            }
        }
        jpeg_finish_decompress(&source);
        if (!isUpright) {
            writer.start(turn.width, turn.height, source.out_color_space, recipe);
            const std::ptrdiff_t stride = std::ptrdiff_t{turn.width} * channels;
            for (int row = 0; row < turn.height; row += stripRows) {
                writer.write(picture.get() + row * stride, std::min(stripRows, turn.height - row), stride);
            }
        }
        jpeg_finish_compress(&writer.info);
    });
    if (!isDone) return failed();
    return {};
}

Result<void, JpegWriteError> LibjpegWriter::encode(const Bitmap& bitmap, const JpegRecipe& recipe,
                                                   PendingFile& destination) {
    Failure failure;
    prepare(failure);
    Writer writer(failure, destination);
    const int channels = bitmap.channels;
    const Turn turn = turnFor(recipe.orientation, bitmap.width, bitmap.height);
    // Walked from the turned picture's side, so that no second whole picture is needed.
    const Turn back = turnFor(inverseOrientation(recipe.orientation), turn.width, turn.height);
    const std::ptrdiff_t stride = std::ptrdiff_t{turn.width} * channels;
    const Pixels strip = pixelBuffer(static_cast<std::size_t>(stride) * stripRows);
    if (!strip) return Unexpected(JpegWriteError::failed);

    const bool isDone = guarded(failure, [&] {
        writer.start(turn.width, turn.height, channels == 1 ? JCS_GRAYSCALE : JCS_RGB, recipe);
        for (int row = 0; row < turn.height; row += stripRows) {
            const int rows = std::min(stripRows, turn.height - row);
            copyGrid(channels, bitmap.pixels.data() + (back.origin + row * back.stepY) * channels, back.stepX,
                     back.stepY, strip.get(), 1, turn.width, turn.width, rows);
            writer.write(strip.get(), rows, stride);
        }
        jpeg_finish_compress(&writer.info);
    });
    if (!isDone) return Unexpected(JpegWriteError::failed);
    return {};
}

}  // namespace kelvaris

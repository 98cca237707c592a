#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include <jpeglib.h>

#include "metadata/exif_service.h"
#include "platform_linux/icu_language.h"
#include "platform_linux/libjpeg_writer.h"
#include "platform_linux/linux_files.h"
#include "platform_linux/vips_codec.h"
#include "sample_roll/writers.h"
#include "stopwatch.h"
#include "temporary_folder.h"

/// A tagged copy of a JPEG of 24 megapixels, against the bare steps with the same library: the whole
/// picture decoded, turned, encoded and written. Both end with the bytes handed to the system.
namespace kelvaris::benchmarks {
namespace {

namespace fs = std::filesystem;

struct Scene {
    Scene() {
        sample_roll::Frame frame({.width = 6000, .height = 4000});
        sample_roll::ExifRecord exif;
        exif.make = "Scanner";
        exif.dateTimeOriginal = "1994:03:02 23:30:00";
        if (sample_roll::writeJpeg(folder / "scan.jpg", frame, 92, exif) !=
            sample_roll::WriteOutcome::written) {
            std::abort();
        }
    }

    TemporaryFolder folder;
    LinuxFiles files;
    IcuLanguage language;
    std::unique_ptr<VipsImageCodec> codec = VipsImageCodec::make();
    LibjpegWriter writer;
    ExifService service{*codec, files, language, writer};
};

void bareCopy(const fs::path& from, const fs::path& to, bool turns) {
    std::ifstream file(from, std::ios::binary);
    const std::vector<char> jpeg{std::istreambuf_iterator<char>(file), {}};
    jpeg_error_mgr errors{};
    jpeg_decompress_struct in{};
    in.err = jpeg_std_error(&errors);
    jpeg_create_decompress(&in);
    jpeg_mem_src(&in, reinterpret_cast<const unsigned char*>(jpeg.data()), jpeg.size());
    jpeg_read_header(&in, TRUE);
    jpeg_start_decompress(&in);
    const std::size_t width = in.output_width, height = in.output_height, stride = width * 3;
    std::vector<unsigned char> pixels(stride * height), turned(turns ? pixels.size() : 0);
    while (in.output_scanline < height) {
        JSAMPROW row = pixels.data() + in.output_scanline * stride;
        jpeg_read_scanlines(&in, &row, 1);
    }
    jpeg_finish_decompress(&in);
    jpeg_destroy_decompress(&in);
    if (turns) {
        constexpr std::size_t tile = 32;
        for (std::size_t top = 0; top < height; top += tile) {
            for (std::size_t left = 0; left < width; left += tile) {
                for (std::size_t x = left; x < std::min(left + tile, width); ++x) {
                    for (std::size_t y = top; y < std::min(top + tile, height); ++y) {
                        std::copy_n(&pixels[y * stride + x * 3], 3,
                                    &turned[(x * height + height - 1 - y) * 3]);
                    }
                }
            }
        }
    }
    jpeg_compress_struct out{};
    out.err = &errors;
    jpeg_create_compress(&out);
    std::FILE* target = std::fopen(to.c_str(), "wb");
    jpeg_stdio_dest(&out, target);
    out.image_width = static_cast<JDIMENSION>(turns ? height : width);
    out.image_height = static_cast<JDIMENSION>(turns ? width : height);
    out.input_components = 3;
    out.in_color_space = JCS_RGB;
    jpeg_set_defaults(&out);
    jpeg_set_quality(&out, 92, TRUE);
    jpeg_start_compress(&out, TRUE);
    while (out.next_scanline < out.image_height) {
        JSAMPROW row =
            (turns ? turned : pixels).data() + std::size_t{out.next_scanline} * out.image_width * 3;
        jpeg_write_scanlines(&out, &row, 1);
    }
    jpeg_finish_compress(&out);
    jpeg_destroy_compress(&out);
    std::fclose(target);
}

void exportJpeg(benchmark::State& state) {
    static Scene scene;
    const bool turns = state.range(0) != 0;
    ExifService::EXIFData data;
    data.dateTimeOriginal = Instant::fromSeconds(1e9);
    data.filmName = "Fomapan";
    data.rotation = turns ? RotationAngle::clockwise90 : RotationAngle::none;
    const fs::path source = scene.folder / "scan.jpg";
    compare(
        state,
        [&] {
            const Path copy((scene.folder / "copy.jpg").string());
            if (!scene.service.writeEXIF(Path(source.string()), copy, data, 0.92)) std::abort();
        },
        [&] { bareCopy(source, scene.folder / "bare.jpg", turns); });
}
BENCHMARK(exportJpeg)->ArgName("turned")->Arg(0)->Arg(1)->UseManualTime()->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace kelvaris::benchmarks

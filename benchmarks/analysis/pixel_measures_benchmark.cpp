#include <cstdlib>
#include <filesystem>

#include "analysis/dominant_colors.h"
#include "analysis/image_statistics.h"
#include "analysis/perceptual_hash.h"
#include "platform_linux/vips_codec.h"
#include "sample_roll/writers.h"
#include "stopwatch.h"
#include "temporary_folder.h"

/// What the measures of a frame cost beside decoding it: the floor is the 800-pixel frame out of a JPEG of
/// 24 megapixels.
namespace kelvaris::benchmarks {
namespace {

namespace fs = std::filesystem;

struct Scan {
    Scan() {
        sample_roll::Frame frame({.width = 6000, .height = 4000});
        if (sample_roll::writeJpeg(path, frame, 92, {}) != sample_roll::WriteOutcome::written) std::abort();
    }

    const TemporaryFolder folder;
    const fs::path path = folder / "scan.jpg";
};

Image decoded(VipsImageCodec& codec, const fs::path& path) {
    const auto source = codec.open(Path(path.string()));
    auto image = source ? (*source)->decode(800) : Unexpected(source.error());
    if (!image) std::abort();
    return *image;
}

void measures(benchmark::State& state) {
    const Scan scan;
    const auto codec = VipsImageCodec::make();
    const Image image = decoded(*codec, scan.path);
    compare(
        state,
        [&] {
            const GreyImage grey = greyCopy(*image);
            benchmark::DoNotOptimize(computeImageStatistics(grey));
            benchmark::DoNotOptimize(perceptualHash(grey));
            benchmark::DoNotOptimize(extractDominantColors(*image, 5, 10));
        },
        [&] { benchmark::DoNotOptimize(decoded(*codec, scan.path)); });
}
BENCHMARK(measures)->UseManualTime()->Unit(benchmark::kMillisecond)->Iterations(30);

void eachMeasure(benchmark::State& state) {
    const Scan scan;
    const auto codec = VipsImageCodec::make();
    const Image image = decoded(*codec, scan.path);
    const GreyImage grey = greyCopy(*image);
    double greys = 0;
    double histograms = 0;
    double laplacians = 0;
    double hashes = 0;
    double colors = 0;
    for (auto _ : state) {
        greys += secondsOf([&] { benchmark::DoNotOptimize(greyCopy(*image)); });
        histograms += secondsOf([&] { benchmark::DoNotOptimize(histogramOf(grey.pixels)); });
        laplacians += secondsOf(
            [&] { benchmark::DoNotOptimize(laplacianVariance(grey.pixels, grey.width, grey.height)); });
        hashes += secondsOf([&] { benchmark::DoNotOptimize(perceptualHash(grey)); });
        colors += secondsOf([&] { benchmark::DoNotOptimize(extractDominantColors(*image, 5, 10)); });
    }
    const auto milliseconds = [&](double seconds) {
        return 1000 * seconds / static_cast<double>(state.iterations());
    };
    state.counters["grey_ms"] = milliseconds(greys);
    state.counters["histogram_ms"] = milliseconds(histograms);
    state.counters["laplacian_ms"] = milliseconds(laplacians);
    state.counters["hash_ms"] = milliseconds(hashes);
    state.counters["colors_ms"] = milliseconds(colors);
}
BENCHMARK(eachMeasure)->Unit(benchmark::kMillisecond)->Iterations(30);

}  // namespace
}  // namespace kelvaris::benchmarks

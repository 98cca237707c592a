#include <cstdlib>
#include <filesystem>

#include "analysis/orientation_decide.h"
#include "analysis/photo_analysis_service.h"
#include "analysis/timestamp_detection_service.h"
#include "platform_fake/fake_clock.h"
#include "platform_fake/fake_inference.h"
#include "platform_fake/fake_language.h"
#include "platform_linux/linux_vision.h"
#include "platform_linux/vips_codec.h"
#include "sample_roll/writers.h"
#include "stopwatch.h"
#include "temporary_folder.h"

/// What looking for faces, stamps and the way up costs beside decoding the frame: the floor is the
/// 800-pixel frame out of a JPEG of 24 megapixels.
namespace kelvaris::benchmarks {
namespace {

namespace fs = std::filesystem;

struct Bench {
    Bench() {
        sample_roll::Frame frame(
            {.scene = sample_roll::Scene::portrait, .seed = 2, .width = 6000, .height = 4000});
        if (sample_roll::writeJpeg(path, frame, 92, {}) != sample_roll::WriteOutcome::written) std::abort();
        image = decoded();
    }

    Image decoded(int pixels = 800) const {
        const auto source = codec->open(Path(path.string()));
        auto result = source ? (*source)->decode(pixels) : Unexpected(source.error());
        if (!result) std::abort();
        return *result;
    }

    const TemporaryFolder folder;
    const fs::path path = folder / "frame.jpg";
    const std::unique_ptr<VipsImageCodec> codec = VipsImageCodec::make();
    FakeInferenceRuntime runtime;
    LinuxVision vision{runtime, Path("/none")};
    Image image;
};

void faces(benchmark::State& state) {
    Bench bench;
    // The first call unpacks the detector.
    benchmark::DoNotOptimize(bench.vision.detectFaces(bench.image, false));
    compare(
        state, [&] { benchmark::DoNotOptimize(bench.vision.detectFaces(bench.image, false)); },
        [&] { benchmark::DoNotOptimize(bench.decoded()); });
}
BENCHMARK(faces)->UseManualTime()->Unit(benchmark::kMillisecond)->Iterations(10);

/// The second look of the recount at 4000 pixels, beside decoding that large a picture. "decoding" is what
/// that takes as a part of decoding 800 pixels.
void facesOfRecount(benchmark::State& state) {
    Bench bench;
    const Image large = bench.decoded(PhotoAnalysisService::deepPeopleCountPixels);
    const double small = secondsOf([&] { benchmark::DoNotOptimize(bench.decoded()); });
    double decoding = 0;
    compare(
        state, [&] { benchmark::DoNotOptimize(bench.vision.detectFaces(large, false)); },
        [&] {
            decoding = secondsOf([&] {
                benchmark::DoNotOptimize(bench.decoded(PhotoAnalysisService::deepPeopleCountPixels));
            });
        });
    state.counters["decoding"] = decoding / small;
}
BENCHMARK(facesOfRecount)->UseManualTime()->Unit(benchmark::kMillisecond)->Iterations(5);

void dateStamp(benchmark::State& state) {
    Bench bench;
    FakeClock clock;
    FakeLanguage language;
    TimestampDetectionService service(bench.vision, language, clock.wall());
    compare(
        state, [&] { benchmark::DoNotOptimize(service.detectDate(*bench.image)); },
        [&] { benchmark::DoNotOptimize(bench.decoded()); });
}
BENCHMARK(dateStamp)->UseManualTime()->Unit(benchmark::kMillisecond)->Iterations(10);

void orientationInput(benchmark::State& state) {
    Bench bench;
    compare(
        state, [&] { benchmark::DoNotOptimize(preprocessedForOrientation(*bench.image)); },
        [&] { benchmark::DoNotOptimize(bench.decoded()); });
}
BENCHMARK(orientationInput)->UseManualTime()->Unit(benchmark::kMillisecond)->Iterations(10);

}  // namespace
}  // namespace kelvaris::benchmarks

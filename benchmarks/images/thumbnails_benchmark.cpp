#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <string>
#include <thread>

#include "platform_linux/vips_codec.h"
#include "sample_roll/writers.h"
#include "stopwatch.h"
#include "temporary_folder.h"

/// What a photo's first look costs: one opened file gives its metadata, the bitmap of 800 pixels for the
/// analysis and that of 300 for the eye. The floor is the imaging library's own command for one thumbnail.
namespace kelvaris::benchmarks {
namespace {

namespace fs = std::filesystem;

constexpr int width = 6000;
constexpr int height = 4000;

enum Kind { jpeg, tiff, packedTiff };

/// Scans of 24 megapixels, painted once and removed at the end.
class Scans {
public:
    fs::path path(Kind kind) {
        static const char* const names[] = {"scan.jpg", "scan.tif", "packed.tif"};
        const fs::path path = folder_ / names[kind];
        if (fs::exists(path)) return path;
        sample_roll::Frame frame({.width = width, .height = height});
        const auto outcome = kind == jpeg
                                 ? sample_roll::writeJpeg(path, frame, 92, sample_roll::ExifRecord())
                                 : sample_roll::writeTiff16(path, frame, kind == packedTiff, std::nullopt);
        if (outcome != sample_roll::WriteOutcome::written) throw std::runtime_error("no scan was written");
        return path;
    }
    fs::path folder() const { return folder_.path(); }

private:
    const TemporaryFolder folder_;
};

Scans& scans() {
    static Scans scans;
    return scans;
}

VipsImageCodec& codec() {
    static const auto codec = VipsImageCodec::make();
    return *codec;
}

void look(const Path& path) {
    const auto source = codec().open(path);
    if (!source) std::abort();
    benchmark::DoNotOptimize((*source)->metadata());
    const auto large = (*source)->decode(800);
    if (!large) std::abort();
    benchmark::DoNotOptimize(codec().reduced(*large, 300));
}

void firstLook(benchmark::State& state) {
    const fs::path scan = scans().path(static_cast<Kind>(state.range(0)));
    const std::string command =
        "vipsthumbnail -s 800 -o " + (scans().folder() / "floor_%s.jpg").string() + " " + scan.string();
    compare(
        state, [path = Path(scan.string())] { look(path); },
        [&] {
            if (std::system(command.c_str()) != 0) std::abort();
        });
}
BENCHMARK(firstLook)
    ->ArgName("jpeg0_tiff1_packed2")
    ->DenseRange(jpeg, packedTiff)
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond)
    ->Iterations(8);

/// How many times as much two threads do as one, and what the peak of memory grows by when many more
/// pictures follow.
void manyFirstLooks(benchmark::State& state) {
    const Path path(scans().path(static_cast<Kind>(state.range(0))).string());
    const auto looks = [&](int count) {
        for (int i = 0; i < count; ++i) look(path);
    };
    const auto peakMemory = [] {
        std::ifstream status("/proc/self/status");
        for (std::string word; status >> word;) {
            if (word == "VmHWM:") {
                double kilobytes = 0;
                status >> kilobytes;
                return kilobytes / 1000;
            }
        }
        return 0.0;
    };
    double alone = 0;
    double together = 0;
    double grown = 0;
    for (auto _ : state) {
        alone += secondsOf([&] { looks(6); });
        const auto pair = [&] {
            std::thread other([&] {
                looks(6);
                VipsImageCodec::endThread();
            });
            looks(6);
            other.join();
        };
        const double seconds = secondsOf(pair);
        together += seconds;
        const double before = peakMemory();
        pair();
        pair();
        grown += peakMemory() - before;
        state.SetIterationTime(seconds);
    }
    state.counters["times_of_one_thread"] = 2 * alone / together;
    state.counters["peak_growth_MB"] = grown;
}
BENCHMARK(manyFirstLooks)
    ->ArgName("jpeg0_tiff1")
    ->DenseRange(jpeg, tiff)
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond)
    ->Iterations(2);

}  // namespace
}  // namespace kelvaris::benchmarks

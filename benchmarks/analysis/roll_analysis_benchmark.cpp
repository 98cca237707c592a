#include <atomic>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <thread>

#include "analysis/analysis_orchestrator.h"
#include "analysis/timestamp_detection_service.h"
#include "base/limited_waits.h"
#include "base/run_loop.h"
#include "images/image_cache.h"
#include "library/roll_analysis.h"
#include "library/roll_loading.h"
#include "metadata/exif_service.h"
#include "platform_fake/fake_defaults.h"
#include "platform_fake/fake_geocoder.h"
#include "platform_fake/fake_inference.h"
#include "platform_fake/fake_shell.h"
#include "platform_linux/icu_language.h"
#include "platform_linux/libjpeg_writer.h"
#include "platform_linux/linux_files.h"
#include "platform_linux/linux_vision.h"
#include "platform_linux/system_clock.h"
#include "platform_linux/vips_codec.h"
#include "preferences/preferences_store.h"
#include "preferences/user_preferences.h"
#include "sample_roll/roll_maker.h"
#include "sample_roll/writers.h"
#include "stopwatch.h"
#include "temporary_folder.h"

/// A roll of 36 frames of 24 megapixels from its first opening to its last result, with no models
/// installed, beside the bare decoding of the same files to 800 pixels by two threads. The share of the
/// floor in the time is the throughput as a part of the bare one's.
namespace kelvaris::benchmarks {
namespace {

namespace fs = std::filesystem;

/// The folder that KELVARIS_BENCHMARK_ROLL names, else a painted roll that is removed at the end.
class Scans {
public:
    Scans() {
        if (const char* own = std::getenv("KELVARIS_BENCHMARK_ROLL")) {
            folder_ = own;
        } else {
            paint(temporary_.path());
            folder_ = temporary_.path();
        }
        for (const auto& entry : fs::directory_iterator(folder_)) {
            if (entry.is_regular_file()) files_.emplace_back(entry.path().string());
        }
    }

    Path folder() const { return Path(folder_.string()); }
    const std::vector<Path>& files() const { return files_; }

private:
    static void paint(const fs::path& folder) {
        auto plan = sample_roll::planRoll({.frames = 36, .megapixels = 24});
        std::atomic<std::size_t> next = 0;
        const auto work = [&] {
            for (std::size_t index = next++; index < plan.size(); index = next++) {
                // 24 megapixels each, whatever the frame's own format would bear.
                plan[index].format = sample_roll::Format::jpeg;
                plan[index].recipe.width = 6000;
                plan[index].recipe.height = 4000;
                if (!sample_roll::writeFrame(folder, plan[index], [](std::string_view) {})) std::abort();
            }
        };
        std::thread other(work);
        work();
        other.join();
    }

    TemporaryFolder temporary_;
    fs::path folder_;
    std::vector<Path> files_;
};

class NoStore final : public PreferencesStore {
public:
    std::optional<VaultPreferences> load() override { return std::nullopt; }
    bool save(const VaultPreferences&) override { return true; }
};

/// The parts of the running system that a roll's analysis is made of, over this machine.
struct System {
    explicit System(Path caches) : caches(std::move(caches)) {}

    Path caches;
    SystemClock clock;
    SystemMonotonicClock monotonic;
    MainQueue main{monotonic};
    LinuxFiles files;
    ThreadedOperationQueueFactory queues{&VipsImageCodec::endThread};
    FakeDefaults defaults;
    IcuLanguage language;
    FakeShell shell{main};
    FakeGeocoder geocoder{main};
    Animator animator;
    std::unique_ptr<VipsImageCodec> images = VipsImageCodec::make();
    LibjpegWriter jpegWriter;
    ImageCache imageCache;
    ExifService exif{*images, files, language, jpegWriter};
    MirrorState mirror;
    NoStore store;
    UserPreferences preferences{defaults, store, mirror, main};
    std::unique_ptr<OperationQueue> userQueue = queues.makeQueue("user", 2);
    ImageLoading loading{*images};
    ThreadedLimitedWaits waits;
    FakeInferenceRuntime inference;
    std::shared_ptr<Vision> vision = std::make_shared<LinuxVision>(inference, Path("/none"));
    TimestampDetectionService timestamps{*vision, language, clock};
    PhotoAnalysisService analysis{vision, loading, waits, nullptr,
                                  [this](const Image& image) { return timestamps.detectTimestamp(image); }};
    AnalysisOrchestrator pipeline{{.thumbnails = {main, files, *images, exif},
                                   .loading = loading,
                                   .analysis = analysis,
                                   .preferences = preferences,
                                   .shell = shell,
                                   .animator = animator,
                                   .queues = queues,
                                   .thumbnailCacheBase = caches,
                                   .home = Path("/home/user")}};
    LibraryServices library{main,        *userQueue, files,    *images,           imageCache,
                            language,    clock,      shell,    animator,          geocoder,
                            preferences, exif,       pipeline, Path("/home/user")};
};

/// Two threads, each file once, nothing but the decoding.
void bareDecode(const std::vector<Path>& files, ImageCodec& codec) {
    std::atomic<std::size_t> next = 0;
    const auto work = [&] {
        for (std::size_t index = next++; index < files.size(); index = next++) {
            const auto source = codec.open(files[index]);
            const auto image = source ? (*source)->decode(800) : Unexpected(source.error());
            if (!image) std::abort();
        }
    };
    std::thread other([&] {
        work();
        VipsImageCodec::endThread();
    });
    work();
    other.join();
}

double peakMemoryMegabytes() {
    std::ifstream status("/proc/self/status");
    for (std::string word; status >> word;) {
        if (word != "VmHWM:") continue;
        double kilobytes = 0;
        status >> kilobytes;
        return kilobytes / 1000;
    }
    return 0;
}

/// @return seconds until every photo had its result, and until the run told its end.
std::pair<double, double> openToLastResult(const Path& folder, bool findsFaces) {
    const TemporaryFolder caches;
    System system(Path(caches.path().string()));
    system.preferences.set(settings::faceFinderEnabled, findsFaces);
    RunLoop loop(system.main);
    double toResults = 0;
    bool isDone = false;
    const double toEnd = secondsOf([&] {
        const auto start = std::chrono::steady_clock::now();
        const auto roll = FilmRoll::make(folder, RollID::random(), system.library);
        loadFolder(*roll, false);
        startAnalysisPipeline(*roll, false, {.onEnd = [&](RunEnd) { isDone = true; }});
        loop.runUntil([&] {
            if (toResults == 0 && std::ranges::all_of(roll->photos(), [](const auto& each) {
                    return each->labelsAnalyzed();
                })) {
                toResults = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
            }
            return isDone;
        });
        if (roll->photos().empty()) std::abort();
    });
    return {toResults, toEnd};
}

/// @param faces whether faces are looked for, at first in the frame and at the end in a larger picture.
/// "throughput" is the part of the bare one's until the end, "throughput_before_recount" that until every
/// photo had its result; "processor" is the first of them by processor time.
void roll(benchmark::State& state) {
    static const Scans scans;
    const auto codec = VipsImageCodec::make();
    bareDecode(scans.files(), *codec);
    double floor = 0;
    double toResults = 0;
    double toEnd = 0;
    double processorFloor = 0;
    double processor = 0;
    for (auto _ : state) {
        processorFloor +=
            processorSecondsOf([&] { floor += secondsOf([&] { bareDecode(scans.files(), *codec); }); });
        double end = 0;
        processor += processorSecondsOf([&] {
            const auto times = openToLastResult(scans.folder(), state.range(0) != 0);
            toResults += times.first;
            end = times.second;
        });
        toEnd += end;
        state.SetIterationTime(end);
    }
    state.counters["throughput"] = floor / toEnd;
    state.counters["throughput_before_recount"] = floor / toResults;
    state.counters["processor"] = processorFloor / processor;
    state.counters["floor_ms"] = 1000 * floor / static_cast<double>(state.iterations());
    state.counters["peak_MB"] = peakMemoryMegabytes();
}
BENCHMARK(roll)
    ->ArgName("faces")
    ->Arg(0)
    ->Arg(1)
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond)
    ->Iterations(2);

}  // namespace
}  // namespace kelvaris::benchmarks

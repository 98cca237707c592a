#include <benchmark/benchmark.h>

#include <chrono>

#include "interaction/command_palette.h"
#include "platform_fake/fake_language.h"

namespace kelvaris {
namespace {

/// A library of 2,000 rolls with one of 5,000 photos open.
struct Library {
    std::vector<std::string> names;
    PaletteState state{.isRollOpen = true, .isPhotoSelected = true, .canUndo = true};

    Library() {
        for (int i = 0; i < 7'000; ++i) names.push_back("2026-03-kyoto-" + std::to_string(i) + ".jpg");
        for (int i = 0; i < 5'000; ++i) state.openRollPhotos.push_back({PhotoID::random(), names[i]});
        for (int i = 5'000; i < 7'000; ++i) state.rolls.push_back({RollID::random(), names[i], 36});
    }
};

double secondsOf(auto&& work) {
    double best = 1e9;
    for (int i = 0; i < 20; ++i) {
        const auto start = std::chrono::steady_clock::now();
        work();
        best =
            std::min(best, std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count());
    }
    return best;
}

/// The floor: the names alone, copied.
double floorOf(const Library& library) {
    return secondsOf([&] { benchmark::DoNotOptimize(std::vector<std::string>(library.names)); });
}

void buildPalette(benchmark::State& state) {
    const Library library;
    const double once = secondsOf([&] { benchmark::DoNotOptimize(buildCommandMenuItems(library.state)); });
    for (auto _ : state) benchmark::DoNotOptimize(buildCommandMenuItems(library.state));
    state.counters["timesCopyingNames"] = once / floorOf(library);
}
BENCHMARK(buildPalette)->Unit(benchmark::kMicrosecond);

void filterPalette(benchmark::State& state) {
    const Library library;
    const FakeLanguage language;
    const auto items = buildCommandMenuItems(library.state);
    const double once =
        secondsOf([&] { benchmark::DoNotOptimize(filterCommandItems(items, "499", language)); });
    for (auto _ : state) benchmark::DoNotOptimize(filterCommandItems(items, "499", language));
    state.counters["timesCopyingNames"] = once / floorOf(library);
}
BENCHMARK(filterPalette)->Unit(benchmark::kMicrosecond);

}  // namespace
}  // namespace kelvaris

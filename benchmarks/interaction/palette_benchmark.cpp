#include <benchmark/benchmark.h>

#include "interaction/command_palette.h"
#include "platform_fake/fake_language.h"
#include "stopwatch.h"

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

/// Beside the names alone, copied.
void compareToCopyingNames(benchmark::State& state, const Library& library, auto&& work) {
    benchmarks::compare(state, work,
                        [&] { benchmark::DoNotOptimize(std::vector<std::string>(library.names)); });
}

void buildPalette(benchmark::State& state) {
    const Library library;
    compareToCopyingNames(state, library,
                          [&] { benchmark::DoNotOptimize(buildCommandMenuItems(library.state)); });
}
BENCHMARK(buildPalette)->UseManualTime()->Unit(benchmark::kMicrosecond);

void filterPalette(benchmark::State& state) {
    const Library library;
    const FakeLanguage language;
    const auto items = buildCommandMenuItems(library.state);
    compareToCopyingNames(state, library,
                          [&] { benchmark::DoNotOptimize(filterCommandItems(items, "499", language)); });
}
BENCHMARK(filterPalette)->UseManualTime()->Unit(benchmark::kMicrosecond);

}  // namespace
}  // namespace kelvaris

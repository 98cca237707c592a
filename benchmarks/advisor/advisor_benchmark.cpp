#include <benchmark/benchmark.h>

#include <random>

#include "advisor/catalog_service.h"
#include "advisor/profile_builder.h"
#include "platform_fake/fake_clock.h"
#include "platform_fake/fake_files.h"
#include "platform_fake/fake_language.h"
#include "stopwatch.h"

namespace kelvaris {
namespace {

constexpr int rollCount = 14'000;
constexpr int photosPerRoll = 36;

/// Half a million analyzed photos with all that an analysis leaves behind.
const RollSnapshot& library() {
    static const RollSnapshot snapshot = [] {
        constexpr const char* styles[] = {"golden hour sunlight", "shallow depth of field bokeh",
                                          "film grain", "black and white", "long exposure"};
        constexpr const char* scenes[] = {
            "places365_living_room", "places365_beach", "street", "places365_bar",
            "mountain_path",         "forest",          "attic"};
        std::mt19937 random(7);
        const auto below = [&random](unsigned limit) { return random() % limit; };
        RollSnapshot made;
        for (int roll = 0; roll < rollCount; ++roll) {
            RollSnapshot::RollData data{.cameraMake = "Canon",
                                        .cameraModel = "AE-1",
                                        .filmName = roll % 2 ? "Portra 400" : "HP5 Plus",
                                        .filmISO = 400};
            for (int i = 0; i < photosPerRoll; ++i) {
                RollSnapshot::PhotoSnapshot photo{.qualityScore = below(100) / 100.0,
                                                  .peopleCount = static_cast<int>(below(4)),
                                                  .labelsAnalyzed = true,
                                                  .nimaScore = below(100) / 100.0};
                for (int label = 0; label < 3; ++label) {
                    photo.labels.insert(photoLabelRows[below(photoLabelCount)].label);
                }
                photo.clipLabels =
                    std::vector<std::string>{styles[below(5)], styles[below(5)], styles[below(5)]};
                photo.dominantColors = std::vector<std::string>{below(2) ? "#e0a060" : "#6080d0", "#808080"};
                photo.placeCategories = TagConfidences{{scenes[below(7)], 0.6f}, {scenes[below(7)], 0.3f}};
                data.photos.push_back(std::move(photo));
            }
            made.rolls.push_back(std::move(data));
        }
        return made;
    }();
    return snapshot;
}

/// The floor: every photo and the first of each of its lists is touched, and nothing is made of it.
double passOverRecords(const RollSnapshot& snapshot) {
    double sum = 0;
    for (const auto& roll : snapshot.rolls) {
        for (const auto& photo : roll.photos) {
            sum += photo.qualityScore + photo.peopleCount + static_cast<double>(photo.labels.size());
            for (const auto& label : *photo.clipLabels) sum += label.front();
            sum += photo.dominantColors->front().front();
            for (const auto& [name, confidence] : *photo.placeCategories) sum += confidence;
        }
    }
    return sum;
}

void profileOfHalfAMillionPhotos(benchmark::State& state) {
    const FakeClock clock;
    const FakeFiles files(clock.wall());
    const FakeLanguage language;
    const CatalogService catalog(files, Path("/none"), language);
    const RollSnapshot& snapshot = library();
    benchmarks::compare(
        state, [&] { benchmark::DoNotOptimize(buildProfile(snapshot, catalog, language)); },
        [&] { benchmark::DoNotOptimize(passOverRecords(snapshot)); });
}
BENCHMARK(profileOfHalfAMillionPhotos)->UseManualTime()->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace kelvaris

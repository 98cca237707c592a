#include <benchmark/benchmark.h>

#include <algorithm>
#include <numeric>

#include "base/vector_math.h"
#include "discovery/generated_library.h"
#include "discovery/search_service.h"
#include "discovery/similarity_service.h"
#include "discovery/strip_search.h"
#include "library_world.h"
#include "platform_fake/fake_language.h"
#include "platform_linux/wordnet_similarity.h"
#include "stopwatch.h"

namespace kelvaris::benchmarks {
namespace {

/// Reads every float once, as fast as plain additions in independent lanes go.
float passThroughMemory(std::span<const float> values) {
    using Lanes = float __attribute__((vector_size(16)));
    Lanes sums[16]{};
    for (std::size_t i = 0; i + 64 <= values.size(); i += 64) {
        for (std::size_t lane = 0; lane < 16; ++lane) {
            Lanes loaded;
            __builtin_memcpy(&loaded, values.data() + i + lane * 4, sizeof loaded);
            sums[lane] += loaded;
        }
    }
    const Lanes sum = std::accumulate(std::begin(sums), std::end(sums), Lanes{});
    return sum[0] + sum[1] + sum[2] + sum[3];
}

/// WordNet where it is installed; else the words have no meaning.
const WordSimilarity& words() {
    static WordNetSimilarity similarity;
    static const bool isLoaded = similarity.load(Path(std::string(WordNetSimilarity::installedFolder)));
    benchmark::DoNotOptimize(isLoaded);
    return similarity;
}

/// A query over a library that the index holds already, against one pass of its vectors through memory.
void warmSearch(benchmark::State& state) {
    const auto count = static_cast<std::size_t>(state.range(0));
    FakeLanguage language;
    SearchService service(language, &words(), nullptr);
    std::vector<float> query;
    {
        GeneratedLibrary library(count);
        query = library.unitVector();
        state.counters["first_index_s"] = secondsOf([&] { service.update(library.rolls); });
    }
    const VectorBlock flat(count * GeneratedLibrary::dimension, 0.5F);
    const auto text = SearchQuery::from("japan puppy warm", language);
    const auto search = [&] {
        std::size_t hits = 0;
        service.search(text, query, SearchOrder::score,
                       [&](std::size_t, const std::vector<SearchHit>& found) {
                           hits += found.size();
                           return true;
                       });
        benchmark::DoNotOptimize(hits);
    };
    compare(state, search, [&] { benchmark::DoNotOptimize(passThroughMemory(flat)); });
}
BENCHMARK(warmSearch)
    ->Arg(5'000)
    ->Arg(50'000)
    ->Arg(500'000)
    ->UseManualTime()
    ->Iterations(10)
    ->Unit(benchmark::kMillisecond);

class InstantTextEmbedder final : public TextEmbedder {
public:
    explicit InstantTextEmbedder(std::vector<float> vector) : vector_(std::move(vector)) {}
    bool isEnabled() override { return true; }
    bool load() override { return true; }
    EmbeddingResult textEmbedding(std::string_view) override { return std::optional(vector_); }

private:
    std::vector<float> vector_;
};

/// From the end of the debounce to the photos in the strip, without the text model's own time: how much of
/// another debounce it takes. Every second query finds a roll of which each hundredth photo has changed.
void stripSearch(benchmark::State& state) {
    testing::LibraryWorld world;
    GeneratedLibrary library(static_cast<std::size_t>(state.range(0)));
    InstantTextEmbedder embedder(library.unitVector());
    PhotoList photos;
    for (const auto& part : library.rolls) {
        for (const SearchablePhoto& values : part->photos) {
            const auto number = static_cast<int>(photos.size()) + 1;
            auto photo = std::make_shared<PhotoItem>(Path(fmt::format("/scans/{:05}.jpg", number)), number);
            photo->setClipEmbedding(values.clipEmbedding);
            photo->setVisionTags(*values.visionTags);
            photo->setLabels(values.labels);
            photo->setPlaceName(values.placeName);
            photo->setDominantColors(values.dominantColors);
            photos.push_back(std::move(photo));
        }
    }
    const auto roll = FilmRoll::make(Path("/scans"), RollID::random(), world.services);
    roll->setPhotos(photos);
    StripSearch strip({.main = world.machine.main,
                       .queue = *world.userQueue,
                       .language = world.machine.language,
                       .words = &words(),
                       .textEmbedder = &embedder,
                       .filler = nullptr,
                       .scheduleSave = {}});
    strip.setRoll(roll);
    const char* const queries[] = {"japan puppy warm", "boat", "a red barn at night", "blurry"};
    std::size_t turn = 0;
    double longest = 0.0;
    for (auto _ : state) {
        if (turn % 2 == 1) {
            for (std::size_t i = turn % 100; i < photos.size(); i += 100) {
                photos[i]->setLabels(photos[(i + turn) % photos.size()]->labels());
            }
        }
        strip.setSearchText(queries[turn++ % std::size(queries)]);
        world.machine.clock.advance(StripSearch::debounce);
        const double seconds = secondsOf([&] { world.machine.settle(); });
        longest = std::max(longest, seconds);
        state.SetIterationTime(seconds);
        strip.setSearchText("");
    }
    state.counters["found"] = static_cast<double>(strip.displayedPhotos().size());
    state.counters["longest_ms"] = 1000 * longest;
    state.counters["longest_of_debounce"] =
        longest / std::chrono::duration<double>(StripSearch::debounce).count();
}
BENCHMARK(stripSearch)->Arg(5'000)->UseManualTime()->Iterations(100)->Unit(benchmark::kMillisecond);

/// A million hashes, against one pass of them through memory.
void nearHashes(benchmark::State& state) {
    std::mt19937_64 random(1);
    std::vector<std::uint64_t> hashes(1'000'000);
    for (auto& hash : hashes) hash = random();
    compare(
        state, [&] { benchmark::DoNotOptimize(SimilarityService::nearHashes(hashes[7], hashes, 12)); },
        [&] { benchmark::DoNotOptimize(std::accumulate(hashes.begin(), hashes.end(), std::uint64_t{0})); });
}
BENCHMARK(nearHashes)->UseManualTime()->Iterations(50)->Unit(benchmark::kMillisecond);

/// Faces of a number of persons, against the bare product of all vectors with all. The work depends on how
/// many groups there are and how large: from one person, over 40 pictures of each, to nothing but strangers.
void groupFaces(benchmark::State& state) {
    GeneratedLibrary library(0);
    const auto faces =
        library.faces(static_cast<std::size_t>(state.range(0)), static_cast<std::size_t>(state.range(1)));
    VectorBlock vectors;
    for (const auto& face : faces) {
        vectors.insert(vectors.end(), face.region.embedding.begin(), face.region.embedding.end());
    }
    // The whole product would fill gigabytes: its rows go one block after the other into one place.
    constexpr std::size_t block = 64;
    std::vector<float> product(block * faces.size());
    std::size_t groupCount = 0;
    compare(
        state,
        [&] { groupCount = FaceGroupingService::groups(faces, {}, FaceGroupingService::threshold).size(); },
        [&] {
            for (std::size_t row = 0; row < faces.size(); row += block) {
                cosineSimilarities(vectors.data() + row * GeneratedLibrary::dimension,
                                   std::min(block, faces.size() - row), vectors.data(), faces.size(),
                                   GeneratedLibrary::dimension, product.data());
                benchmark::DoNotOptimize(product.data());
            }
        });
    state.counters["groups"] = static_cast<double>(groupCount);
}
BENCHMARK(groupFaces)
    ->Args({2'000, 50})
    ->Args({2'000, 200'000})
    ->Args({20'000, 1})
    ->Args({20'000, 500})
    ->Args({20'000, 200'000})
    ->UseManualTime()
    ->Iterations(1)
    ->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace kelvaris::benchmarks

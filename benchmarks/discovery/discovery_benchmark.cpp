#include <benchmark/benchmark.h>

#include <numeric>

#include "base/vector_math.h"
#include "discovery/generated_library.h"
#include "discovery/search_service.h"
#include "discovery/similarity_service.h"
#include "platform_fake/fake_language.h"
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

/// A query over a library that the index holds already, against one pass of its vectors through memory.
void warmSearch(benchmark::State& state) {
    const auto count = static_cast<std::size_t>(state.range(0));
    FakeLanguage language;
    SearchService service(language, nullptr, nullptr);
    std::vector<float> query;
    {
        GeneratedLibrary library(count);
        query = library.unitVector();
        state.counters["first_index_s"] = secondsOf([&] { service.update(library.rolls); });
    }
    const VectorBlock flat(count * GeneratedLibrary::dimension, 0.5F);
    const auto text = SearchQuery::from("japan kori warm", language);
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

/// Faces of persons with 40 pictures each, against the bare product of all vectors with all.
void groupFaces(benchmark::State& state) {
    GeneratedLibrary library(0);
    const auto faces = library.faces(static_cast<std::size_t>(state.range(0)));
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
BENCHMARK(groupFaces)->Arg(2'000)->Arg(20'000)->UseManualTime()->Iterations(1)->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace kelvaris::benchmarks

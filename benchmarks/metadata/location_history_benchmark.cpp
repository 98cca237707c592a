#include <simdjson.h>

#include <random>
#include <string>

#include "metadata/takeout_service.h"
#include "stopwatch.h"

/// Reading a location history, against the parser's own walk over the elements of the same bytes, which
/// looks at none of their fields; and finding a place in a long one.
namespace kelvaris::benchmarks {
namespace {

/// As the exports lay it out: many lines, and guesses at what the user was doing amid the places.
const simdjson::padded_string& history() {
    static const simdjson::padded_string history = [] {
        std::string text = "{\n  \"locations\": [";
        std::minstd_rand random(7);
        for (int index = 0; text.size() < 100'000'000; ++index) {
            text += index == 0 ? "{\n" : ", {\n";
            text += "    \"latitudeE7\": " + std::to_string(random() % 900'000'000) + ",\n";
            text += "    \"longitudeE7\": " + std::to_string(random() % 1'800'000'000) + ",\n";
            text += "    \"accuracy\": 20,\n";
            if (index % 3 == 0) {
                text +=
                    "    \"activity\": [{\n      \"activity\": [{\n        \"type\": \"STILL\",\n"
                    "        \"confidence\": 87\n      }, {\n        \"type\": \"UNKNOWN\",\n"
                    "        \"confidence\": 10\n      }],\n"
                    "      \"timestamp\": \"2021-03-14T09:30:00.123Z\"\n    }],\n";
            }
            text += "    \"source\": \"WIFI\",\n    \"deviceTag\": -1577394237,\n    \"timestamp\": \"20";
            text += std::to_string(10 + index % 89) + "-03-14T09:30:" + std::to_string(10 + index % 50) +
                    ".123Z\"\n";
            text += "  }";
        }
        return simdjson::padded_string(text + "]\n}\n");
    }();
    return history;
}

void readHistory(benchmark::State& state) {
    const auto& text = history();
    compare(
        state, [&] { benchmark::DoNotOptimize(parseLocationHistory(asBytes(std::string_view(text)))); },
        [&] {
            simdjson::ondemand::parser parser;
            simdjson::ondemand::document document;
            simdjson::ondemand::array locations;
            if (parser.iterate(text).get(document) || document["locations"].get_array().get(locations)) {
                std::abort();
            }
            std::size_t count = 0;
            for (auto element : locations) count += element.error() == simdjson::SUCCESS;
            benchmark::DoNotOptimize(count);
        });
    state.SetBytesProcessed(static_cast<std::int64_t>(text.size()) * state.iterations());
}
BENCHMARK(readHistory)->UseManualTime()->Unit(benchmark::kMillisecond);

void findAmongTenMillion(benchmark::State& state) {
    constexpr int count = 10'000'000;
    static LocationService service;
    if (service.records().empty()) {
        std::vector<LocationRecord> records;
        records.reserve(count);
        for (int index = 0; index < count; ++index) {
            records.push_back({Instant::fromSeconds(60.0 * index), index * 1e-6, index * 1e-5});
        }
        service.setRecords(std::move(records));
    }
    std::minstd_rand random(7);
    for (auto _ : state) {
        benchmark::DoNotOptimize(
            service.location(Instant::fromSeconds(static_cast<double>(random() % (60u * count)))));
    }
}
BENCHMARK(findAmongTenMillion);

}  // namespace
}  // namespace kelvaris::benchmarks

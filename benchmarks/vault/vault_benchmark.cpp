#include <yaml.h>

#include <atomic>
#include <cstdlib>
#include <filesystem>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "base/operation_queue.h"
#include "platform_fake/fake_clock.h"
#include "platform_fake/fake_language.h"
#include "platform_linux/linux_files.h"
#include "stopwatch.h"
#include "temporary_folder.h"
#include "vault/frontmatter.h"
#include "vault/vault_documents.h"
#include "vault/vault_store.h"

/// What it costs to keep a roll, beside what the bare YAML library and the disk need for the same bytes.
namespace kelvaris::benchmarks {
namespace {

namespace fs = std::filesystem;

constexpr int photosPerRoll = 36;

PhotoManifestEntry analysedPhoto(int index, std::mt19937& random) {
    const auto fraction = [&] { return static_cast<double>(random() % 100'000) / 100'000; };
    const auto confidence = [&] { return static_cast<float>(fraction()); };
    PhotoManifestEntry entry;
    entry.filename = "scan_" + std::to_string(1000 + index) + ".jpg";
    entry.sortIndex = index;
    entry.captureDate = Instant::fromSeconds(1.7e9 + 90 * index);
    entry.dateSource = MetadataSource::roll;
    entry.latitude = 35 + fraction();
    entry.longitude = 135 + fraction();
    entry.locationSource = MetadataSource::roll;
    entry.placeName = "Kyoto, Japan";
    entry.visionTags.emplace();
    for (const char* tag : {"outdoor", "structure", "street", "clip_street photography", "places365_alley",
                            "people", "building", "sky", "plant", "machine"}) {
        (*entry.visionTags)[tag] = confidence();
    }
    entry.labels = {"person", "street", "gem"};
    entry.qualityScore = fraction();
    entry.nimaScore = 10 * fraction();
    entry.peopleCount = 2;
    entry.rotation = RotationAngle::clockwise90;
    entry.rotationSource = MetadataSource::autoDetect;
    entry.orientationDecision =
        OrientationDecision{.status = OrientationDecision::Status::correction,
                            .rotation = RotationAngle::clockwise90,
                            .scores = {fraction(), fraction(), fraction(), fraction()},
                            .modelVersion = "legacy-logits",
                            .preprocessingVersion = std::string(orientationPreprocessingVersion),
                            .reason = std::string(orientation_reason::provisionalProbabilityAndMargin)};
    entry.orientationCacheVersion = 1;
    entry.dominantColors = {"#a0b0c0", "#102030", "#405060", "#708090", "#ffeedd"};
    entry.perceptualHash = "8f3c00ff12ab34cd";
    entry.placeCategories = {
        {"alley", confidence()}, {"street", confidence()}, {"market/outdoor", confidence()}};
    entry.clipLabels = {"moody", "candid"};
    entry.faceRegions.emplace();
    for (int face = 0; face < index % 3; ++face) {
        entry.faceRegions->push_back({fraction(), fraction(), fraction(), fraction(), 3, false});
    }
    entry.faceAnalysisStamp = currentFaceAnalysisStamp;
    entry.discoveryRevision = "clip1-faces3-places1-111111";
    entry.analysisVersion = VaultRollManifest::currentAnalysisVersion;
    return entry;
}

VaultRollManifest analysedRoll(unsigned seed) {
    std::mt19937 random(seed);
    VaultRollManifest manifest;
    manifest.id = RollID::random().text();
    manifest.folderPath = "/home/user/scans/roll " + std::to_string(seed);
    manifest.cameraMake = "Nikon";
    manifest.cameraModel = "FM2";
    manifest.filmName = "Portra";
    manifest.filmISO = 400;
    manifest.baseDate = Instant::fromSeconds(1.7e9);
    manifest.sortOption = "filename";
    manifest.sortAscending = true;
    for (int i = 0; i < photosPerRoll; ++i) {
        manifest.photos.push_back(analysedPhoto(i, random));
        manifest.fileFingerprint.push_back({manifest.photos.back().filename, 24'000'000 + i});
    }
    return manifest;
}

EmbeddingsByFilename vectorsOf(const VaultRollManifest& manifest) {
    EmbeddingsByFilename embeddings;
    for (const auto& photo : manifest.photos) {
        PhotoEmbeddings& vectors = embeddings[photo.filename];
        vectors.clip = std::vector<float>(512, 0.04f);
        vectors.faces.assign(photo.faceRegions->size(), std::vector<float>(512, 0.04f));
    }
    return embeddings;
}

/// A vault on the disk of temporary files.
class Vault {
public:
    Vault() { store.ensureDirectoriesExist(); }

    RollID add(const VaultRollManifest& manifest) {
        const RollID id = *RollID::parse(manifest.id);
        (void)files.writeAtomically(store.paths().rollFile(id), asBytes(*encodedRollFile(manifest, language)),
                                    Durability::cache);
        return id;
    }

private:
    const TemporaryFolder folder_;

public:
    LinuxFiles files;
    const FakeLanguage language;
    const FakeClock clock;
    VaultStore store{files, clock.wall(),
                     VaultPaths::under(Path(folder_.path().string()), Path((folder_ / "cache").string()))};
};

struct Event {
    yaml_event_type_t type;
    std::string text;
    bool isPlain;
};

std::vector<Event> eventsOf(std::string_view yaml) {
    yaml_parser_t parser;
    yaml_parser_initialize(&parser);
    yaml_parser_set_input_string(&parser, reinterpret_cast<const unsigned char*>(yaml.data()), yaml.size());
    std::vector<Event> events;
    for (bool isOver = false; !isOver;) {
        yaml_event_t event;
        if (!yaml_parser_parse(&parser, &event)) std::abort();
        isOver = event.type == YAML_STREAM_END_EVENT;
        Event& kept = events.emplace_back(Event{event.type, {}, false});
        if (event.type == YAML_SCALAR_EVENT) {
            kept.text.assign(reinterpret_cast<const char*>(event.data.scalar.value),
                             event.data.scalar.length);
            kept.isPlain = event.data.scalar.style == YAML_PLAIN_SCALAR_STYLE;
        }
        yaml_event_delete(&event);
    }
    yaml_parser_delete(&parser);
    return events;
}

/// Nothing but the library's parser.
std::size_t bareParse(std::string_view yaml) {
    yaml_parser_t parser;
    yaml_parser_initialize(&parser);
    yaml_parser_set_input_string(&parser, reinterpret_cast<const unsigned char*>(yaml.data()), yaml.size());
    std::size_t count = 0;
    for (bool isOver = false; !isOver; ++count) {
        yaml_event_t event;
        if (!yaml_parser_parse(&parser, &event)) std::abort();
        isOver = event.type == YAML_STREAM_END_EVENT;
        yaml_event_delete(&event);
    }
    yaml_parser_delete(&parser);
    return count;
}

/// Nothing but the library's emitter.
std::string bareEmit(const std::vector<Event>& events) {
    std::string text;
    yaml_emitter_t emitter;
    yaml_emitter_initialize(&emitter);
    yaml_emitter_set_output(
        &emitter,
        [](void* target, unsigned char* bytes, size_t count) {
            static_cast<std::string*>(target)->append(reinterpret_cast<const char*>(bytes), count);
            return 1;
        },
        &text);
    for (const Event& kept : events) {
        yaml_event_t event;
        switch (kept.type) {
            case YAML_STREAM_START_EVENT:
                yaml_stream_start_event_initialize(&event, YAML_UTF8_ENCODING);
                break;
            case YAML_DOCUMENT_START_EVENT:
                yaml_document_start_event_initialize(&event, nullptr, nullptr, nullptr, 1);
                break;
            case YAML_DOCUMENT_END_EVENT:
                yaml_document_end_event_initialize(&event, 1);
                break;
            case YAML_SEQUENCE_START_EVENT:
                yaml_sequence_start_event_initialize(&event, nullptr, nullptr, 1, YAML_ANY_SEQUENCE_STYLE);
                break;
            case YAML_SEQUENCE_END_EVENT:
                yaml_sequence_end_event_initialize(&event);
                break;
            case YAML_MAPPING_START_EVENT:
                yaml_mapping_start_event_initialize(&event, nullptr, nullptr, 1, YAML_ANY_MAPPING_STYLE);
                break;
            case YAML_MAPPING_END_EVENT:
                yaml_mapping_end_event_initialize(&event);
                break;
            case YAML_SCALAR_EVENT:
                yaml_scalar_event_initialize(
                    &event, nullptr, nullptr, reinterpret_cast<const yaml_char_t*>(kept.text.data()),
                    static_cast<int>(kept.text.size()), 1, 1,
                    kept.isPlain ? YAML_PLAIN_SCALAR_STYLE : YAML_SINGLE_QUOTED_SCALAR_STYLE);
                break;
            default:
                yaml_stream_end_event_initialize(&event);
        }
        if (!yaml_emitter_emit(&emitter, &event)) std::abort();
    }
    yaml_emitter_delete(&emitter);
    return text;
}

/// A save of 36 analysed photos: encoding, body, backups, file, sidecar. The floor emits the same events,
/// writes them and flushes them.
void saveRoll(benchmark::State& state) {
    Vault vault;
    const auto manifest = analysedRoll(1);
    const auto vectors = vectorsOf(manifest);
    const RollID id = vault.add(manifest);
    const std::string file = *encodedRollFile(manifest, vault.language);
    const auto events = eventsOf(*readFrontmatter(file));
    const Path bare = vault.store.paths().root / "bare.md";
    compare(
        state,
        [&] {
            const auto bytes = encodedRollFile(manifest, vault.language);
            if (!vault.store.replaceWithBackups(vault.store.paths().rollFile(id), *bytes, {}).isSaved())
                std::abort();
            if (state.range(0)) vault.store.writeEmbeddings(id, vectors);
        },
        [&] {
            if (!vault.files.writeAtomically(bare, asBytes(bareEmit(events)))) std::abort();
        });
    state.counters["bytes"] = static_cast<double>(file.size());
}
BENCHMARK(saveRoll)->ArgName("sidecar")->Arg(0)->Arg(1)->UseManualTime()->Unit(benchmark::kMillisecond);

/// The encoding alone beside the bare emitter.
void encodeRoll(benchmark::State& state) {
    const FakeLanguage language;
    const auto manifest = analysedRoll(1);
    const auto events = eventsOf(*readFrontmatter(*encodedRollFile(manifest, language)));
    compare(
        state, [&] { benchmark::DoNotOptimize(encodedRollFile(manifest, language)); },
        [&] { benchmark::DoNotOptimize(bareEmit(events)); });
}
BENCHMARK(encodeRoll)->UseManualTime()->Unit(benchmark::kMillisecond);

/// Decoding and validating beside the bare event parse.
void decodeRoll(benchmark::State& state) {
    const FakeLanguage language;
    const std::string file = *encodedRollFile(analysedRoll(1), language);
    const auto yaml = *readFrontmatter(file);
    compare(
        state,
        [&] {
            if (!decodedRollFile(file)) std::abort();
        },
        [&] { benchmark::DoNotOptimize(bareParse(yaml)); });
}
BENCHMARK(decodeRoll)->UseManualTime()->Unit(benchmark::kMillisecond);

/// Reading a whole library as values beside the bare event parse of the same files, both on all cores.
void loadLibrary(benchmark::State& state) {
    Vault vault;
    const int rolls = static_cast<int>(state.range(0));
    for (int i = 0; i < rolls; ++i) vault.add(analysedRoll(static_cast<unsigned>(i)));
    const int cores = static_cast<int>(std::max(2u, std::thread::hardware_concurrency()));
    ThreadedOperationQueue workers("reading", cores - 1);  // the caller reads too
    const auto paths = vault.store.rollFiles();
    compare(
        state,
        [&] {
            std::size_t count = 0;
            vault.store.forEachRoll(workers, [&](StoredRoll) { ++count; });
            if (count != paths.size()) std::abort();
        },
        [&] {
            std::atomic<std::size_t> next{0};
            std::vector<std::jthread> threads;
            for (int core = 0; core < cores; ++core) {
                threads.emplace_back([&] {
                    for (std::size_t i = next++; i < paths.size(); i = next++) {
                        bareParse(*readFrontmatter(asText(*vault.files.read(paths[i]))));
                    }
                });
            }
        });
}
BENCHMARK(loadLibrary)
    ->ArgName("rolls")
    ->Arg(1000)
    ->Arg(5000)
    ->Iterations(2)
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace kelvaris::benchmarks

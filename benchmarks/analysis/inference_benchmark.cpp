#include <unistd.h>

#include <cmath>
#include <filesystem>
#include <fstream>

#include "analysis/clip_service.h"
#include "analysis/nima_service.h"
#include "base/limited_waits.h"
#include "platform_fake/fake_image_codec.h"
#include "platform_fake/fake_language.h"
#include "platform_linux/icu_characters.h"
#include "platform_linux/linux_files.h"
#include "platform_linux/onnx_inference.h"
#include "platform_linux/vips_codec.h"
#include "sample_roll/writers.h"
#include "stopwatch.h"
#include "test_models/onnx_writer.h"

/// What the services add to the networks that they run: the floor is the loaded network itself on a picture
/// that already fits it.
namespace kelvaris::benchmarks {
namespace {

namespace fs = std::filesystem;
using namespace test_models;

/// A network of convolutions that takes about as long as a small one in use, and answers `count` numbers.
std::string convolutions(std::int64_t count) {
    constexpr std::int64_t width = 48;
    const auto weights = [](std::int64_t size) {
        std::vector<float> values(static_cast<std::size_t>(size));
        for (std::size_t index = 0; index < values.size(); ++index) {
            values[index] = std::sin(static_cast<float>(index)) / 32;
        }
        return values;
    };
    OnnxGraph graph;
    graph.input("image", OnnxType::float32, {1, 3, 224, 224})
        .constant("first", {width, 3, 3, 3}, weights(width * 3 * 9))
        .node("Conv", {"image", "first"}, {"layer0"});
    for (int layer = 0; layer < 2; ++layer) {
        const std::string name = "weights" + std::to_string(layer);
        graph.constant(name, {width, width, 3, 3}, weights(width * width * 9))
            .node("Conv", {"layer" + std::to_string(layer), name}, {"layer" + std::to_string(layer + 1)});
    }
    graph.node("GlobalAveragePool", {"layer2"}, {"pooled"})
        .node("Flatten", {"pooled"}, {"features"})
        .constant("mix", {width, count}, weights(width * count))
        .node("MatMul", {"features", "mix"}, {"mixed"})
        .node("Softmax", {"mixed"}, {"output"})
        .output("output", OnnxType::float32, {1, count});
    return onnxModel(graph);
}

struct Bench {
    Bench() : folder(fs::temp_directory_path() / ("kelvaris-inference-" + std::to_string(getpid()))) {
        write("clip-vit-b16-dfn/CLIPImageEncoder.mlmodelc", convolutions(512));
        write("clip-vit-b16-dfn/CLIPTextEncoder.mlmodelc", convolutions(512));
        write("nima/NIMA.mlmodelc", convolutions(10));
        sample_roll::Frame frame(
            {.scene = sample_roll::Scene::street, .seed = 3, .width = 6000, .height = 4000});
        if (sample_roll::writeJpeg(folder / "frame.jpg", frame, 92, {}) !=
            sample_roll::WriteOutcome::written) {
            std::abort();
        }
        picture = loading.coordinatedThumbnail(Path((folder / "frame.jpg").string()), wholePicturePixels,
                                               false, RotationAngle::none);
    }
    ~Bench() { fs::remove_all(folder); }
    Bench(const Bench&) = delete;
    Bench& operator=(const Bench&) = delete;

    void write(const std::string& name, const std::string& model) const {
        fs::create_directories(folder / name);
        std::ofstream(folder / name / "model.onnx", std::ios::binary) << model;
    }
    std::shared_ptr<const InferenceModel> model(const std::string& name) {
        auto loaded = runtime.load(Path((folder / name).string()));
        if (!loaded) std::abort();
        return *loaded;
    }

    const fs::path folder;
    LinuxFiles files;
    OnnxInferenceRuntime runtime{files};
    ThreadedLimitedWaits waits;
    const std::unique_ptr<VipsImageCodec> codec = VipsImageCodec::make();
    ImageLoading loading{*codec};
    FakeLanguage language;
    IcuCharacters characters;
    ModelTools tools{runtime, files, waits, Path(folder.string()), [](ModelID) { return true; }};
    CLIPService clip{tools, loading, language, characters, Path("/none")};
    NIMAService nima{tools};
    Image picture;
};

template <class Service>
void compareToNetwork(benchmark::State& state, Bench& bench, const std::string& name, Service&& service) {
    const auto network = bench.model(name);
    const std::vector<ModelInput> fitted = {
        {"image", std::make_shared<const Bitmap>(solidBitmap(224, 224, 90, 120, 60))}};
    compare(state, service, [&] { benchmark::DoNotOptimize(network->run(fitted)); });
}

void clipImage(benchmark::State& state) {
    Bench bench;
    compareToNetwork(state, bench, "clip-vit-b16-dfn/CLIPImageEncoder.mlmodelc",
                     [&] { benchmark::DoNotOptimize(bench.clip.imageEmbedding(bench.picture)); });
}
BENCHMARK(clipImage)->UseManualTime()->Unit(benchmark::kMillisecond)->Iterations(20);

void nimaScore(benchmark::State& state) {
    Bench bench;
    compareToNetwork(state, bench, "nima/NIMA.mlmodelc",
                     [&] { benchmark::DoNotOptimize(bench.nima.predictScore(bench.picture)); });
}
BENCHMARK(nimaScore)->UseManualTime()->Unit(benchmark::kMillisecond)->Iterations(20);

}  // namespace
}  // namespace kelvaris::benchmarks

// Unpacking a model archive, as a ratio of what "tar xzf" takes for the same one.

#include <benchmark/benchmark.h>
#include <stdlib.h>

#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <random>
#include <string>
#include <vector>

#include "models/gzip_reader.h"
#include "models/tar_reader.h"
#include "platform_linux/linux_files.h"
#include "platform_linux/zlib_compression.h"
#include "stopwatch.h"

namespace {

using namespace kelvaris;

constexpr std::size_t weightCount = 20'000'000;

void run(const std::string& command) {
    if (std::system(command.c_str()) != 0) std::abort();
}

/// A folder with an archive of 80 MB of numbers that compress as little as a model's weights do.
class Workshop {
public:
    Workshop() {
        std::string name = (std::filesystem::temp_directory_path() / "kelvaris-benchmark-XXXXXX").string();
        if (!mkdtemp(name.data())) std::abort();
        folder = name;
        std::filesystem::create_directories(folder + "/in/orientation/OrientationClassifier.mlmodelc");
        std::mt19937 random(1);
        std::normal_distribution<float> weights(0, 0.05f);
        std::vector<float> values(weightCount);
        for (float& value : values) value = weights(random);
        std::ofstream(folder + "/in/orientation/OrientationClassifier.mlmodelc/model.onnx", std::ios::binary)
            .write(reinterpret_cast<const char*>(values.data()), values.size() * sizeof(float));
        run("tar czf " + folder + "/model.tar.gz -C " + folder + "/in orientation");
        std::filesystem::remove_all(folder + "/in");
    }
    ~Workshop() { std::filesystem::remove_all(folder); }

    std::string emptyOutput() const {
        std::filesystem::remove_all(folder + "/out");
        std::filesystem::create_directory(folder + "/out");
        return folder + "/out";
    }

    std::string folder;
};

void unpack(benchmark::State& state, Durability durability) {
    const Workshop workshop;
    LinuxFiles files;
    const ZlibCompression compression;
    const auto ours = [&] {
        const Path output(workshop.emptyOutput());
        const auto archive = files.map(Path(workshop.folder + "/model.tar.gz"));
        auto gzip = GzipReader::open((*archive)->bytes(), compression);
        if (!gzip || !extractTar(**gzip, files, output, durability)) std::abort();
    };
    const auto tar = [&] {
        const std::string output = workshop.emptyOutput();
        run("tar xzf " + workshop.folder + "/model.tar.gz -C " + output);
    };
    benchmarks::compare(state, ours, tar);
}

BENCHMARK_CAPTURE(unpack, cached, Durability::cache)
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond)
    ->Iterations(3);
/// As an install does it: each file is flushed to the disk, which tar does not do.
BENCHMARK_CAPTURE(unpack, durable, Durability::durable)
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond)
    ->Iterations(3);

}  // namespace

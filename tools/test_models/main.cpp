#include <cstdio>
#include <filesystem>
#include <fstream>
#include <limits>

#include "test_models/sample_models.h"
#include "test_models/test_models.h"

namespace {

using namespace kelvaris::test_models;

constexpr const char* usage =
    "usage: kelvaris-test-models FOLDER\n"
    "Writes small models into FOLDER: the five that can be installed, which know colours and brightness,\n"
    "one for scenes in vision/, sound ones of other kinds in unusual/, and faulty ones in broken/.\n";

struct ModelFile {
    const char* folder;
    std::string model;
    std::string labels = {};
};

std::vector<ModelFile> modelFiles() {
    const auto nothing = std::numeric_limits<float>::quiet_NaN();
    const auto endless = std::numeric_limits<float>::infinity();
    const std::vector<float> zeros(512);
    return {
        {"clip-vit-b16-dfn/CLIPImageEncoder.mlmodelc", colorImageEncoder()},
        {"clip-vit-b16-dfn/CLIPTextEncoder.mlmodelc", colorTextEncoder()},
        {"nima/NIMA.mlmodelc", brightnessRater()},
        {"orientation/OrientationClassifier.mlmodelc",
         orientationModel({{"kelvaris.orientation.version", "test-1"}}), "0\n90\n180\n270\n"},
        {"places365/Places365.mlmodelc", colorClassifier(), colorLabels(&SampleColor::place)},
        {"facenet/MobileFaceNet.mlmodelc", faceEncoder()},
        {"vision/SceneClassifier.mlmodelc", colorClassifier(), colorLabels(&SampleColor::scene)},
        {"unusual/half/CLIPImageEncoder.mlmodelc", imageVectorModel(224, 512, "vector", {}, true)},
        {"unusual/wide-tokens/CLIPTextEncoder.mlmodelc", tokenVectorModel(OnnxType::int64)},
        {"broken/short/NIMA.mlmodelc", constantModel(std::vector<float>(9, 0.1F))},
        {"broken/short/CLIPImageEncoder.mlmodelc", imageVectorModel(224, 256)},
        {"broken/short/CLIPTextEncoder.mlmodelc", tokenVectorModel(OnnxType::int32, 76)},
        {"broken/size/OrientationClassifier.mlmodelc", orientationModel({}, 40, "image", 224)},
        {"broken/not-a-number/NIMA.mlmodelc", constantModel(std::vector<float>(10, nothing))},
        {"broken/infinity/MobileFaceNet.mlmodelc", constantModel(std::vector<float>(512, endless), 112)},
        {"broken/zeros/MobileFaceNet.mlmodelc", constantModel(zeros, 112)},
        {"broken/zeros/NIMA.mlmodelc", constantModel(std::vector<float>(10))},
        {"broken/labels/Places365.mlmodelc", colorClassifier(), "coast\nstreet\n"},
        {"broken/keys/NIMA.mlmodelc",
         constantModel(std::vector<float>(10, 0.1F), 224, "scores", {{"kelvaris.image.mean", "grey"}})},
        {"broken/endless/Places365.mlmodelc", endlessModel(), "coast\n"},
        {"broken/text/NIMA.mlmodelc", "This is no model.\n"},
    };
}

bool write(const std::filesystem::path& folder, const ModelFile& file) {
    std::filesystem::create_directories(folder);
    std::ofstream model(folder / "model.onnx", std::ios::binary);
    model << file.model;
    if (!file.labels.empty()) std::ofstream(folder / "labels.txt", std::ios::binary) << file.labels;
    return model.flush().good();
}

}  // namespace

int main(int argumentCount, char** arguments) {
    if (argumentCount != 2) {
        std::fputs(usage, stderr);
        return 2;
    }
    try {
        for (const ModelFile& file : modelFiles()) {
            if (write(std::filesystem::path(arguments[1]) / file.folder, file)) continue;
            std::fprintf(stderr, "%s/%s could not be written\n", arguments[1], file.folder);
            return 1;
        }
    } catch (const std::exception& error) {
        std::fprintf(stderr, "%s\n", error.what());
        return 1;
    }
    return 0;
}

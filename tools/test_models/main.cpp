#include <cstdio>
#include <filesystem>
#include <fstream>
#include <limits>

#include "test_models/test_models.h"

namespace {

using namespace kelvaris::test_models;

bool write(const std::filesystem::path& folder, const std::string& model, const std::string& labels = "") {
    std::filesystem::create_directories(folder);
    std::ofstream(folder / "model.onnx", std::ios::binary) << model;
    if (!labels.empty()) std::ofstream(folder / "labels.txt", std::ios::binary) << labels;
    return std::filesystem::exists(folder / "model.onnx");
}

}  // namespace

int main(int argumentCount, char** arguments) {
    if (argumentCount != 2) {
        std::fputs(
            "usage: kelvaris-test-models FOLDER\nWrites small models with known answers into FOLDER.\n",
            stderr);
        return 2;
    }
    const std::filesystem::path folder = arguments[1];
    const std::vector<float> ratings = {0, 0, 0.05F, 0.1F, 0.2F, 0.3F, 0.2F, 0.1F, 0.05F, 0};
    const bool whole =
        write(folder / "orientation/OrientationClassifier.mlmodelc",
              orientationModel({{"kelvaris.orientation.version", "test-1"}}), "0\n90\n180\n270\n") &&
        write(folder / "clipVitB16/CLIPImageEncoder.mlmodelc", imageVectorModel()) &&
        write(folder / "clipVitB16/CLIPTextEncoder.mlmodelc", tokenVectorModel()) &&
        write(folder / "faceNet/MobileFaceNet.mlmodelc", imageVectorModel(112)) &&
        write(folder / "nima/NIMA.mlmodelc", constantModel(ratings)) &&
        write(folder / "places365/Places365.mlmodelc", constantModel({0.6F, 0.25F, 0.1F, 0.05F}),
              "coast\nbeach\nstreet\nvalley\n") &&
        write(folder / "vision/SceneClassifier.mlmodelc", constantModel({0.7F, 0.2F, 0.1F}),
              "beach\nsky\ndog\n") &&
        write(folder / "broken/Nan.mlmodelc", constantModel({std::numeric_limits<float>::quiet_NaN()})) &&
        write(folder / "broken/Endless.mlmodelc", endlessModel());
    return whole ? 0 : 1;
}

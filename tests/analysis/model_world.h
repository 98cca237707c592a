#pragma once

#include <map>
#include <memory>
#include <nlohmann/json.hpp>
#include <set>
#include <string>
#include <vector>

#include "analysis/model_services.h"
#include "library_world.h"
#include "platform_fake/fake_inference.h"
#include "platform_fake/fake_limited_waits.h"
#include "platform_fake/fake_vision.h"
#include "platform_linux/icu_characters.h"

namespace kelvaris::testing {

/// 512 floats, of which the named ones are not 0.
inline std::vector<float> sparse(const std::map<std::size_t, float>& values, std::size_t count = 512) {
    std::vector<float> result(count, 0);
    for (const auto& [index, value] : values) result[index] = value;
    return result;
}

/// A vocabulary in which each letter has an id of its own: its code, and 1000 more at the end of a word.
inline std::string lettersVocabulary() {
    nlohmann::json encoder{{"<|startoftext|>", 49406}, {"<|endoftext|>", 49407}};
    for (char letter = 'a'; letter <= 'z'; ++letter) {
        encoder[std::string(1, letter)] = int{letter};
        encoder[std::string(1, letter) + "</w>"] = 1000 + letter;
    }
    return nlohmann::json{{"encoder", encoder}, {"merges", nlohmann::json::array()}}.dump();
}

/// The model services over a machine in memory, with models that a test installs.
struct ModelWorld : LibraryWorld {
    FakeInferenceRuntime runtime;
    FakeLimitedWaits waits;
    IcuCharacters characters;
    std::set<ModelID> switchedOff;
    ImageLoading loading{machine.images};
    std::shared_ptr<FakeVision> vision = std::make_shared<FakeVision>();
    ModelTools tools{runtime, machine.files, waits, Path("/models"),
                     [this](ModelID id) { return !switchedOff.contains(id); }};
    CLIPService clip{tools, loading, machine.language, characters, machine.places.resources};
    NIMAService nima{tools};
    PlacesService places{tools};
    FaceEmbeddingService faces{tools, loading, vision};
    ModelServices services{clip, nima, places, faces};

    Path folderOf(ModelID id, std::string_view part) const { return tools.folder(id) / part; }

    void install(ModelID id, std::string_view part, std::shared_ptr<const InferenceModel> model) {
        machine.files.addFolder(folderOf(id, part));
        runtime.install(folderOf(id, part), std::move(model));
    }
    /// Pictures as their mean colour, words as the number of their letters.
    void installClip() {
        install(ModelID::clipVitB16, "CLIPImageEncoder.mlmodelc",
                FakeModel::ofPicture(224, [](const Bitmap& bitmap) {
                    return sparse({{0, float(bitmap.pixels[0])},
                                   {1, float(bitmap.pixels[1])},
                                   {2, float(bitmap.pixels[2])}});
                }));
        installTextEncoder();
        machine.files.addFile(machine.places.resources / CLIPTokenizer::fileName, lettersVocabulary());
    }
    void installTextEncoder() {
        install(ModelID::clipVitB16, "CLIPTextEncoder.mlmodelc",
                FakeModel::ofTokens(77, [this](const std::vector<std::int32_t>& tokens) {
                    ++textRuns;
                    std::size_t letters = 0;
                    while (letters + 1 < tokens.size() && tokens[letters + 1] != CLIPTokenizer::endOfText) {
                        ++letters;
                    }
                    return sparse({{letters, 1.0F}, {0, 0.5F}});
                }));
    }
    void installNima(std::vector<float> ratings) {
        install(ModelID::nima, "NIMA.mlmodelc",
                FakeModel::ofPicture(224, [ratings = std::move(ratings)](const Bitmap&) { return ratings; }));
    }
    void installPlaces(std::vector<std::string> names, std::vector<float> scores) {
        install(
            ModelID::places365, "Places365.mlmodelc",
            FakeModel::ofPicture(
                224, [scores = std::move(scores)](const Bitmap&) { return scores; }, {}, std::move(names)));
    }
    /// A face is its mean colour in the middle.
    void installFaceNet() {
        install(ModelID::faceNet, "MobileFaceNet.mlmodelc",
                FakeModel::ofPicture(112, [](const Bitmap& bitmap) {
                    const std::size_t middle = (std::size_t{56} * 112 + 56) * 3;
                    return sparse({{0, bitmap.pixels[middle] + 1.0F}, {1, bitmap.pixels[middle + 1] + 1.0F}});
                }));
    }

    int textRuns = 0;
};

}  // namespace kelvaris::testing

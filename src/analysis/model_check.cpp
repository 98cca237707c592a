#include "analysis/model_check.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <cmath>

#include "analysis/clip_tokenizer.h"
#include "analysis/model_check_answers.h"
#include "models/model_id.h"

namespace kelvaris {

namespace {

constexpr int largestSide = 4096;
constexpr std::string_view visionFolder = "vision";
constexpr std::array<std::string_view, 3> imageKeys = {"kelvaris.image.mean", "kelvaris.image.deviation",
                                                       "kelvaris.image.order"};
constexpr std::array<std::string_view, 3> orientationKeys = {
    "kelvaris.orientation.version", "kelvaris.orientation.output", "kelvaris.orientation.preprocessing"};
constexpr std::string_view thresholdKey = "kelvaris.vision.threshold";

/// What sizes of picture make sense for a model.
enum class Sides : std::uint8_t {
    any,
    upToFed,  ///< larger ones hold nothing more
    onlyFed,  ///< the program hands over that size and no other
};

/// A model by the name of its folder.
struct ExpectedModel {
    std::string_view name;
    AnswerKind answer;
    int fedSide;  ///< of the picture that the program makes for it; 0 for models that take no picture
    Sides sides;
};

constexpr std::array<ExpectedModel, 9> expectedModels{{
    {"CLIPImageEncoder.mlmodelc", AnswerKind::vector, 224, Sides::upToFed},
    {"CLIPTextEncoder.mlmodelc", AnswerKind::textVector, 0, Sides::any},
    {"OrientationClassifier.mlmodelc", AnswerKind::turns, 384, Sides::onlyFed},
    {"NIMA.mlmodelc", AnswerKind::ratings, 224, Sides::upToFed},
    {"Places365.mlmodelc", AnswerKind::places, 224, Sides::upToFed},
    {"MobileFaceNet.mlmodelc", AnswerKind::vector, 112, Sides::upToFed},
    {"HumanDetector.mlmodelc", AnswerKind::boxes, 640, Sides::any},
    {"BodyPoseDetector.mlmodelc", AnswerKind::boxes, 640, Sides::any},
    {"SceneClassifier.mlmodelc", AnswerKind::scenes, 640, Sides::any},
}};

const ExpectedModel* expectedModel(std::string_view name) {
    const auto found = std::ranges::find(expectedModels, name, &ExpectedModel::name);
    return found == expectedModels.end() ? nullptr : &*found;
}

std::string_view typeName(ElementType type) {
    switch (type) {
        case ElementType::float32:
            return "float32";
        case ElementType::float16:
            return "float16";
        case ElementType::float64:
            return "float64";
        case ElementType::int32:
            return "int32";
        case ElementType::int64:
            return "int64";
        case ElementType::uint8:
            return "bytes";
        case ElementType::other:
            break;
    }
    return "another type";
}

std::string shapeText(const std::vector<std::int64_t>& shape) {
    std::vector<std::string> sides;
    for (const std::int64_t side : shape) sides.push_back(side < 0 ? "free" : std::to_string(side));
    return fmt::format("[{}]", fmt::join(sides, ", "));
}

Image evenGrey(int width, int height) {
    const auto size = static_cast<std::size_t>(width) * static_cast<std::size_t>(height) * 3;
    return std::make_shared<Bitmap>(Bitmap{width, height, 3, std::vector<std::uint8_t>(size, 128)});
}

/// Noise that is the same on every machine.
Image noise(int width, int height) {
    auto bitmap = std::make_shared<Bitmap>(*evenGrey(width, height));
    std::uint32_t state = 2463534242;
    for (std::uint8_t& sample : bitmap->pixels) {
        state ^= state << 13U;
        state ^= state >> 17U;
        state ^= state << 5U;
        sample = static_cast<std::uint8_t>(state >> 24U);
    }
    return bitmap;
}

/// Token rows of a short and a longer text.
std::array<std::vector<std::int32_t>, 2> tokenRows() {
    std::array<std::vector<std::int32_t>, 2> rows{
        {{CLIPTokenizer::startOfText, 1746, CLIPTokenizer::endOfText},
         {CLIPTokenizer::startOfText, 320, 1125, 539, 320, 4167, CLIPTokenizer::endOfText}}};
    for (auto& row : rows) row.resize(CLIPTokenizer::contextLength, CLIPTokenizer::padding);
    return rows;
}

/// The examination of one model.
class Examination {
public:
    Examination(std::string subject, const ExpectedModel& expected, ModelCheckReport& report)
        : subject_(std::move(subject)), expected_(expected), report_(report) {}

    void examine(InferenceRuntime& runtime, const Path& folder, const MonotonicClock& clock,
                 std::chrono::nanoseconds limit) {
        const auto model = runtime.load(folder);
        if (!model) return say(CheckVerdict::fails, "does not load: " + model.error().message);
        checkKeys((*model)->metadata());
        const auto inputs = expected_.fedSide == 0 ? textInputs(**model) : pictureInputs(**model);
        if (!inputs) return;
        std::array<JudgedAnswer, 2> answers;
        std::array<double, 2> milliseconds{};
        for (std::size_t round = 0; round < 2; ++round) {
            const MonotonicTime start = clock.now();
            const std::vector<ModelInput> values = {(*inputs)[round]};
            const auto outputs = (*model)->run(values, limit);
            if (!outputs) return sayRunFailed(outputs.error(), limit);
            milliseconds[round] = std::chrono::duration<double, std::milli>(clock.now() - start).count();
            if (round == 0) sayOutputs(*outputs);
            answers[round] = judgedAnswer(expected_.answer, **model, *outputs);
        }
        sayAnswers(answers);
        say(CheckVerdict::fits,
            fmt::format("a run takes {:.1f} ms, the first took {:.1f} ms", milliseconds[1], milliseconds[0]));
    }

private:
    using Inputs = std::optional<std::array<ModelInput, 2>>;

    void say(CheckVerdict verdict, std::string text) {
        report_.rows.push_back({subject_, verdict, std::move(text)});
    }
    Inputs sayUnfit(std::string text) {
        say(CheckVerdict::fails, std::move(text));
        return std::nullopt;
    }
    void sayRunFailed(const InferenceError& error, std::chrono::nanoseconds limit) {
        say(CheckVerdict::fails, error.code == InferenceError::Code::terminated
                                     ? fmt::format("a run was stopped after {:.3g} s",
                                                   std::chrono::duration<double>(limit).count())
                                     : "does not run: " + error.message);
    }

    void checkKeys(const ModelMetadata& metadata) {
        const auto isKnown = [this](std::string_view key) {
            if (key.starts_with("kelvaris.image.")) {
                return expected_.fedSide > 0 && std::ranges::find(imageKeys, key) != imageKeys.end();
            }
            if (key.starts_with("kelvaris.orientation.")) {
                return expected_.answer == AnswerKind::turns &&
                       std::ranges::find(orientationKeys, key) != orientationKeys.end();
            }
            return expected_.answer == AnswerKind::boxes && key == thresholdKey;
        };
        for (const auto& [key, value] : metadata) {
            if (!key.starts_with("kelvaris.") || isKnown(key)) continue;
            say(CheckVerdict::warns, fmt::format("the key {} means nothing for this model", key));
        }
    }

    void sayPixels(const ModelMetadata& metadata, ElementType type) {
        const auto normalization = pictureNormalization(metadata);
        if (!normalization) return say(CheckVerdict::fails, normalization.error().message);
        const std::string_view order = normalization->blueFirst ? "BGR" : "RGB";
        if (type == ElementType::uint8) {
            if (normalization->isScaled) {
                say(CheckVerdict::warns, "mean and deviation are not applied to an input of bytes");
            }
            return say(CheckVerdict::fits, fmt::format("pixels are bytes, {}", order));
        }
        if (!normalization->isScaled) {
            return say(
                CheckVerdict::fits,
                fmt::format("pixels are 0 to 255, {}: the model has no keys of mean and deviation", order));
        }
        say(CheckVerdict::fits,
            fmt::format("pixels are (byte / 255 - mean) / deviation, {}, with mean {:.6g} "
                        "and deviation {:.6g}",
                        order, fmt::join(normalization->mean, ", "),
                        fmt::join(normalization->deviation, ", ")));
    }

    Inputs pictureInputs(const InferenceModel& model) {
        const auto picture = imageInput(model);
        if (!picture || model.inputs().size() != 1) {
            return sayUnfit(
                "has other inputs than one picture, [1, 3, height, width] or [1, height, width, 3]");
        }
        const ValueDeclaration& input = model.inputs().front();
        const bool isPixels = input.type == ElementType::float32 || input.type == ElementType::float16 ||
                              input.type == ElementType::float64 || input.type == ElementType::uint8;
        if (!isPixels || input.shape.front() > 1) {
            return sayUnfit(fmt::format("input {} {} of {} takes no single picture of floats or bytes",
                                        input.name, shapeText(input.shape), typeName(input.type)));
        }
        const int fed = expected_.fedSide;
        const int width = picture->width > 0 ? picture->width : fed;
        const int height = picture->height > 0 ? picture->height : fed;
        if (width > largestSide || height > largestSide) {
            return sayUnfit(fmt::format("input {} takes pictures of more than {} pixels a side", input.name,
                                        largestSide));
        }
        if (expected_.sides == Sides::onlyFed && (width != fed || height != fed || input.name != "image")) {
            return sayUnfit(fmt::format("input {} {} is not \"image\" of {} by {} pixels", input.name,
                                        shapeText(input.shape), fed, fed));
        }
        say(CheckVerdict::fits,
            fmt::format("input {} takes pictures of {} by {}, {}, {} first", input.name, width, height,
                        typeName(input.type), input.shape[1] == 3 ? "planes" : "pixels"));
        if (picture->width == 0 || picture->height == 0) {
            say(CheckVerdict::warns, fmt::format("the size of its picture is free; {} is taken", fed));
        } else if (expected_.sides == Sides::upToFed && std::max(width, height) > fed) {
            say(CheckVerdict::warns,
                fmt::format("its pictures are larger than the {} pixels that they are made from", fed));
        }
        sayPixels(model.metadata(), input.type);
        return std::array{ModelInput{input.name, evenGrey(width, height)},
                          ModelInput{input.name, noise(width, height)}};
    }

    Inputs textInputs(const InferenceModel& model) {
        const std::vector<ValueDeclaration>& inputs = model.inputs();
        const auto fits = [](std::int64_t side, std::size_t wanted) {
            return side < 0 || side == static_cast<std::int64_t>(wanted);
        };
        if (inputs.size() != 1 || inputs[0].name != "input_ids" || inputs[0].shape.size() != 2 ||
            !fits(inputs[0].shape[0], 1) || !fits(inputs[0].shape[1], CLIPTokenizer::contextLength) ||
            (inputs[0].type != ElementType::int32 && inputs[0].type != ElementType::int64)) {
            return sayUnfit("has other inputs than input_ids [1, 77] of int32 or int64");
        }
        say(CheckVerdict::fits, fmt::format("input input_ids takes {} of {}", shapeText(inputs[0].shape),
                                            typeName(inputs[0].type)));
        const auto rows = tokenRows();
        return std::array{ModelInput{inputs[0].name, rows[0]}, ModelInput{inputs[0].name, rows[1]}};
    }

    void sayOutputs(const std::vector<OutputTensor>& outputs) {
        std::vector<std::string> names;
        for (const OutputTensor& output : outputs)
            names.push_back(output.name + " " + shapeText(output.shape));
        if (!names.empty()) say(CheckVerdict::fits, fmt::format("answers {}", fmt::join(names, ", ")));
    }

    /// Each finding once, though both answers may have it.
    void sayAnswers(const std::array<JudgedAnswer, 2>& answers) {
        std::vector<CheckRow> said;
        for (const JudgedAnswer& answer : answers) {
            for (const CheckRow& row : answer.rows) {
                if (std::ranges::find(said, row) != said.end()) continue;
                said.push_back(row);
                say(row.verdict, row.text);
            }
        }
        if (!answers[0].values.empty() && answers[0].values == answers[1].values) {
            say(CheckVerdict::warns, expected_.fedSide == 0
                                         ? "answers the same to both texts"
                                         : "answers the same to an even grey picture and to noise");
        }
    }

    const std::string subject_;
    const ExpectedModel& expected_;
    ModelCheckReport& report_;
};

/// Checks the models that stand in the folder, of those named, and adds their rows.
class FolderCheck {
public:
    FolderCheck(InferenceRuntime& runtime, const MonotonicClock& clock, std::chrono::nanoseconds limit)
        : runtime_(runtime), clock_(clock), limit_(limit) {}

    void examine(const Path& folder, std::string subject, const ExpectedModel& expected) {
        Examination(std::move(subject), expected, report_).examine(runtime_, folder, clock_, limit_);
    }

    /// The parts of the models in the folder. When some of an installable model's parts are there, all
    /// must be.
    /// @param prefix of the subjects
    void examineParts(const Path& folder, const std::string& prefix) {
        for (const auto& [id, raw] : RawValues<ModelID>::rows) {
            const auto& names = modelFacts(id).requiredFiles;
            const auto isHere = [&](std::string_view name) { return isThere(folder / name); };
            if (std::ranges::none_of(names, isHere)) continue;
            for (const std::string_view name : names) {
                if (isHere(name)) {
                    examine(folder / name, prefix + std::string(name), *expectedModel(name));
                } else {
                    report_.rows.push_back({prefix + std::string(name), CheckVerdict::fails,
                                            fmt::format("is missing; {} needs it", raw)});
                }
            }
        }
        for (const ExpectedModel& expected : expectedModels) {
            if (isInstallable(expected.name) || !isThere(folder / expected.name)) continue;
            examine(folder / expected.name, prefix + std::string(expected.name), expected);
        }
    }

    ModelCheckReport take() { return std::move(report_); }

private:
    bool isThere(const Path& folder) {
        const auto metadata = runtime_.readMetadata(folder);
        return metadata || metadata.error().code != InferenceError::Code::notAModel;
    }
    static bool isInstallable(std::string_view name) {
        return std::ranges::any_of(RawValues<ModelID>::rows, [name](const auto& row) {
            const auto& names = modelFacts(row.first).requiredFiles;
            return std::ranges::find(names, name) != names.end();
        });
    }

    InferenceRuntime& runtime_;
    const MonotonicClock& clock_;
    const std::chrono::nanoseconds limit_;
    ModelCheckReport report_;
};

}  // namespace

std::size_t ModelCheckReport::count(CheckVerdict verdict) const {
    return static_cast<std::size_t>(std::ranges::count(rows, verdict, &CheckRow::verdict));
}

ModelCheckReport checkModelFolder(InferenceRuntime& runtime, const Path& folder, const MonotonicClock& clock,
                                  std::chrono::nanoseconds limit) {
    FolderCheck check(runtime, clock, limit);
    if (const ExpectedModel* expected = expectedModel(folder.filename())) {
        check.examine(folder, std::string(expected->name), *expected);
        return check.take();
    }
    check.examineParts(folder, "");
    for (const auto& [id, raw] : RawValues<ModelID>::rows) {
        check.examineParts(folder / raw, std::string(raw) + "/");
    }
    check.examineParts(folder / visionFolder, std::string(visionFolder) + "/");
    ModelCheckReport report = check.take();
    if (report.rows.empty()) {
        std::vector<std::string_view> names;
        for (const ExpectedModel& expected : expectedModels) names.push_back(expected.name);
        report.rows.push_back({std::string(folder.filename()), CheckVerdict::fails,
                               fmt::format("holds no model.onnx in a folder that is called one of {}",
                                           fmt::join(names, ", "))});
    }
    return report;
}

}  // namespace kelvaris

// Diagnosis of single files, without touching a library.

#include <fmt/format.h>

#include "analysis/clip_tokenizer.h"
#include "analysis/grey_image.h"
#include "analysis/image_statistics.h"
#include "base/text.h"
#include "command.h"
#include "metadata/location_service.h"
#include "metadata/takeout_service.h"
#include "platform_linux/icu_characters.h"
#include "platform_linux/icu_language.h"
#include "references.h"
#include "session.h"
#include "vault/embedding_sidecar.h"
#include "vault/vault_documents.h"
#include "vocabulary/json_record.h"

namespace kelvaris::cli {

namespace {

struct FileArguments {
    std::string file;
};

Bytes contentOf(Session& session, const std::string& file) {
    const auto bytes = session.system().files().read(session.system().absolutePath(Path(file)));
    if (!bytes) throw CommandFailure(fmt::format("{}: {}", file, bytes.error().message));
    return *bytes;
}

void answerJson(Session& session, const Json& json) { session.answer(json, json.dump(2)); }

void inspectVault(Session& session, const FileArguments& arguments) {
    const Bytes bytes = contentOf(session, arguments.file);
    const auto roll = decodedRollFile(asText(bytes));
    if (roll) return answerJson(session, encodedJson(*roll));
    const auto preferences = decodedPreferencesFile(asText(bytes));
    // A file of preferences decodes as no roll for want of keys; its own reason is the better one then.
    const bool isPreferences = Path(arguments.file).filename().starts_with("preferences");
    if (preferences && isPreferences) return answerJson(session, encodedJson(*preferences));
    throw CommandFailure(fmt::format("{}: {}", arguments.file,
                                     isPreferences ? preferences.error().reason : roll.error().reason));
}

void inspectSidecar(Session& session, const FileArguments& arguments) {
    const Bytes bytes = contentOf(session, arguments.file);
    const auto sidecar = EmbeddingSidecar::decode(bytes);
    if (!sidecar) throw CommandFailure(fmt::format("{}: no usable sidecar", arguments.file));
    Json json = Json::object();
    for (const auto& [filename, embeddings] : *sidecar) {
        Json& photo = json[filename];
        photo = Json::object();
        if (embeddings.clip) photo["clip"] = *embeddings.clip;
        photo["faces"] = embeddings.faces;
    }
    answerJson(session, json);
}

struct TimelineArguments {
    std::string file;
    std::string at;
};

void inspectTimeline(Session& session, const TimelineArguments& arguments) {
    const TakeoutService takeout(session.system().files());
    auto records = takeout.parse(session.system().absolutePath(Path(arguments.file)));
    if (!records) throw CommandFailure(fmt::format("{}: {}", arguments.file, records.error().message));
    Json json{{"records", records->size()},
              {"first", timestampText(records->front().timestamp)},
              {"last", timestampText(records->back().timestamp)}};
    if (!arguments.at.empty()) {
        const auto reading = parseCivilTime(arguments.at);
        const auto at = reading ? session.system().language().fromLocalTime(*reading) : std::nullopt;
        if (!at) throw CommandFailure(fmt::format("\"{}\" is no date like 2026-03-14T09:30", arguments.at));
        LocationService service;
        service.setRecords(std::move(*records));
        service.setMaxGap(session.system().preferences().locationMaxGapHours() * 3600.0);
        json["at"] = timestampText(*at);
        if (const auto place = service.location(*at)) {
            json["latitude"] = place->latitude;
            json["longitude"] = place->longitude;
        }
    }
    answerJson(session, json);
}

struct TokensArguments {
    std::string text;
    std::string vocabulary;
};

void inspectTokens(Session& session, const TokensArguments& arguments) {
    const IcuLanguage language;
    const IcuCharacters characters;
    const auto tokenizer =
        CLIPTokenizer::load(session.system().files(),
                            session.system().absolutePath(Path(arguments.vocabulary)), language, characters);
    if (!tokenizer)
        throw CommandFailure(fmt::format("{}: no vocabulary of the tokenizer", arguments.vocabulary));
    answerJson(session, Json(tokenizer->tokenize(arguments.text)));
}

Json statisticsJson(const ImageStatistics& statistics) {
    return Json{{"mean", statistics.mean},
                {"variance", statistics.variance},
                {"p5", statistics.p5},
                {"p95", statistics.p95},
                {"dynamicRange", statistics.dynamicRange},
                {"laplacianVariance", statistics.laplacianVariance}};
}

void inspectPhoto(Session& session, const FileArguments& arguments) {
    const Path path = session.system().absolutePath(Path(arguments.file));
    const auto source = session.system().images().open(path);
    if (!source) throw CommandFailure(fmt::format("{}: {}", arguments.file, source.error().message));
    const AnalysisSwitches switches = AnalysisSwitches::of(session.system().preferences());
    const auto image = (*source)->decode(switches.deepAnalysisEnabled ? 1200 : 800);
    if (!image) throw CommandFailure(fmt::format("{}: {}", arguments.file, image.error().message));
    const AnalysisResult result =
        session.system().analysis().analyze(*image, std::nullopt, switches, RotationAngle::none, false);
    Json json{{"pixelWidth", (*source)->properties().pixelWidth},
              {"pixelHeight", (*source)->properties().pixelHeight},
              {"analyzedWidth", (*image)->width},
              {"analyzedHeight", (*image)->height}};
    if (const auto statistics = computeImageStatistics(greyCopy(**image))) {
        json["statistics"] = statisticsJson(*statistics);
    }
    json["labels"] = Json::array();
    for (const PhotoLabel label : result.labels) json["labels"].push_back(rawValue(label));
    json["qualityScore"] = result.qualityScore;
    json["peopleCount"] = result.peopleCount;
    json["visionTags"] = encodedJson(result.visionTags);
    if (result.orientationDecision) json["orientationDecision"] = encodedJson(*result.orientationDecision);
    if (result.suggestedRotation) json["suggestedRotation"] = rawValue(*result.suggestedRotation);
    if (result.detectedTimestamp) json["detectedTimestamp"] = timestampText(*result.detectedTimestamp);
    if (result.dominantColors) json["dominantColors"] = *result.dominantColors;
    if (result.perceptualHash) json["perceptualHash"] = *result.perceptualHash;
    answerJson(session, json);
}

}  // namespace

void addInspectCommands(CommandTable& table) {
    CLI::App* inspect = table.app.add_subcommand("inspect", "Look into one file without touching a library");
    inspect->require_subcommand(1);
    const auto needsNothing = [](const FileArguments&) { return Access::none; };
    const auto declareFile = [](CLI::App& command, FileArguments& arguments) {
        command.add_option("FILE", arguments.file)->required();
    };
    table.add<FileArguments>(inspect, "photo", "Every number that the analysis of a picture gives",
                             needsNothing, declareFile, inspectPhoto);
    table.add<TimelineArguments>(
        inspect, "timeline", "Read a location history", [](const TimelineArguments&) { return Access::none; },
        [](CLI::App& command, TimelineArguments& arguments) {
            command.add_option("FILE", arguments.file)->required();
            command.add_option("--at", arguments.at, "Where the user was then, as 2026-03-14T09:30");
        },
        inspectTimeline);
    table.add<TokensArguments>(
        inspect, "tokens", "The ids that a text becomes", [](const TokensArguments&) { return Access::none; },
        [](CLI::App& command, TokensArguments& arguments) {
            command.add_option("TEXT", arguments.text)->required();
            command.add_option("--vocabulary", arguments.vocabulary, "clip_tokenizer.json")->required();
        },
        inspectTokens);
    table.add<FileArguments>(inspect, "vault", "Decode a roll's file or preferences.md", needsNothing,
                             declareFile, inspectVault);
    table.add<FileArguments>(inspect, "sidecar", "Decode a file of vectors", needsNothing, declareFile,
                             inspectSidecar);
    addArchiveInspection(table, inspect);
}

}  // namespace kelvaris::cli

// The machine-learning models: which are there, and how they come and go.

#include <fmt/format.h>

#include "analysis/model_check.h"
#include "command.h"
#include "models/archive_report.h"
#include "platform_linux/onnx_inference.h"
#include "session.h"
#include "texts.h"
#include "vocabulary/json_record.h"

namespace kelvaris::cli {

namespace {

struct NoArguments {};
struct ModelArguments {
    std::string model;
};
struct ArchiveArguments {
    std::string archive;
};
struct FolderArguments {
    std::string folder;
};

ModelID modelNamed(const std::string& word) {
    if (const auto id = fromRawValue<ModelID>(word)) return *id;
    std::vector<std::string> words;
    for (const auto& [id, raw] : RawValues<ModelID>::rows) words.emplace_back(raw);
    throw CommandFailure(fmt::format("\"{}\" is not one of {}", word, fmt::join(words, ", ")));
}

void listModels(Session& session, const NoArguments&) {
    ModelParts& models = session.system().models();
    Json json = Json::array();
    std::vector<std::vector<std::string>> rows = {{"ID", "NAME", "INSTALLED", "SIZE", "ENABLED", "PURPOSE"}};
    for (const auto& [id, raw] : RawValues<ModelID>::rows) {
        const ModelFacts& facts = modelFacts(id);
        const bool isThere = models.registry.isAvailable(id);
        const bool isEnabled = session.system().preferences().isModelEnabled(raw);
        const auto version = models.registry.installedVersion(id);
        const std::int64_t size = models.registry.sizeOnDisk(id);
        Json model{{"id", raw},
                   {"name", facts.name},
                   {"availability", isThere ? "downloaded" : "notDownloaded"},
                   {"enabled", isEnabled},
                   {"sizeOnDisk", size},
                   {"downloadSize", facts.downloadSize},
                   {"credit", facts.credit},
                   {"description", facts.description}};
        if (version) model["installedVersion"] = *version;
        json.push_back(std::move(model));
        std::string installed = isThere ? "yes" : "no";
        if (isThere && version) installed = fmt::format("version {}", *version);
        rows.push_back({std::string(raw), std::string(facts.name), installed,
                        isThere ? byteCountText(size) : "(" + byteCountText(facts.downloadSize) + ")",
                        isEnabled ? "yes" : "no", std::string(facts.description)});
    }
    session.answer(json, table(rows));
}

void installArchive(Session& session, const ArchiveArguments& arguments) {
    std::optional<DownloadResult<std::vector<ModelID>>> outcome;
    session.system().models().downloads.installArchive(
        session.system().absolutePath(Path(arguments.archive)),
        [&outcome](DownloadResult<std::vector<ModelID>> result) { outcome = std::move(result); });
    session.waitUntil([&outcome] { return outcome.has_value(); });
    if (!*outcome)
        throw CommandFailure(fmt::format("{}: {}", arguments.archive, outcome->error().errorDescription()));
    Json json = Json::array();
    std::string text;
    for (const ModelID id : **outcome) {
        json.push_back(rawValue(id));
        text += fmt::format("Installed {} ({})\n", modelFacts(id).name, rawValue(id));
    }
    session.answer(json, text);
}

/// Runs one download to its end, with its progress on the terminal.
void waitForDownload(Session& session, ModelID id, const std::optional<DownloadResult<void>>& outcome) {
    session.waitUntil([&] {
        const auto& active = session.system().models().downloads.activeDownloads();
        if (const auto found = active.find(id); found != active.end()) {
            session.progress(
                fmt::format("Downloading {} {:.0f}%", rawValue(id), found->second.progress * 100));
        }
        return outcome.has_value();
    });
    if (!*outcome)
        throw CommandFailure(fmt::format("{}: {}", rawValue(id), outcome->error().errorDescription()));
}

void download(Session& session, const ModelArguments& arguments) {
    const ModelID id = modelNamed(arguments.model);
    std::optional<DownloadResult<void>> outcome;
    session.system().models().downloads.download(
        id, {}, [&outcome](DownloadResult<void> result) { outcome = std::move(result); });
    waitForDownload(session, id, outcome);
    session.answer(Json{{"installed", rawValue(id)}}, fmt::format("Installed {}", modelFacts(id).name));
}

void updateModels(Session& session, const NoArguments&) {
    ModelParts& models = session.system().models();
    bool isChecked = false;
    models.updates.checkForUpdates([&isChecked] { isChecked = true; });
    session.waitUntil([&isChecked] { return isChecked; });
    if (models.updates.checkError()) throw CommandFailure(*models.updates.checkError());
    Json json = Json::array();
    std::string text;
    for (const auto& [id, raw] : RawValues<ModelID>::rows) {
        if (!models.updates.hasUpdate(id)) continue;
        std::optional<DownloadResult<void>> outcome;
        models.downloads.update(id, [&outcome](DownloadResult<void> result) { outcome = std::move(result); });
        waitForDownload(session, id, outcome);
        json.push_back(raw);
        text += fmt::format("Updated {}\n", modelFacts(id).name);
    }
    session.answer(json, text.empty() ? "All models are up to date" : text);
}

void removeModel(Session& session, const ModelArguments& arguments) {
    const ModelID id = modelNamed(arguments.model);
    if (!session.system().models().registry.offload(id)) {
        throw CommandFailure(fmt::format("{} could not be removed; it may not be installed", rawValue(id)));
    }
    session.answer(Json{{"removed", rawValue(id)}}, fmt::format("Removed {}", modelFacts(id).name));
}

void enableModel(Session& session, const ModelArguments& arguments, bool isEnabled) {
    const ModelID id = modelNamed(arguments.model);
    session.system().preferences().setModelEnabled(rawValue(id), isEnabled);
    session.answer(Json{{"id", rawValue(id)}, {"enabled", isEnabled}},
                   fmt::format("{} is {}", modelFacts(id).name, isEnabled ? "on" : "off"));
}

void checkModels(Session& session, const FolderArguments& arguments) {
    const Path folder = session.system().absolutePath(Path(arguments.folder));
    OnnxInferenceRuntime runtime(session.system().files());
    if (const auto reason = runtime.missingReason()) throw CommandFailure("No model can run: " + *reason);
    const ModelCheckReport report = checkModelFolder(runtime, folder, session.system().main().clock());
    const std::size_t failures = report.count(CheckVerdict::fails);
    const std::size_t warnings = report.count(CheckVerdict::warns);
    Json findings = Json::array();
    std::vector<std::vector<std::string>> rows = {{"MODEL", "", "FINDING"}};
    for (const CheckRow& row : report.rows) {
        const std::string_view verdict = rawValue(row.verdict);
        findings.push_back(Json{{"model", row.subject}, {"verdict", verdict}, {"text", row.text}});
        rows.push_back({row.subject, std::string(verdict), row.text});
    }
    const std::string summary = fmt::format("{} findings fit, {} warn, {} fail",
                                            report.count(CheckVerdict::fits), warnings, failures);
    session.answer(
        Json{{"fits", report.fits()}, {"warnings", warnings}, {"failures", failures}, {"findings", findings}},
        table(rows) + summary);
    if (!report.fits()) throw CommandFailure(fmt::format("{}: {}", arguments.folder, summary));
}

void inspectModelArchive(Session& session, const ArchiveArguments& arguments) {
    const auto mapped = session.system().files().map(session.system().absolutePath(Path(arguments.archive)));
    if (!mapped) throw CommandFailure(fmt::format("{}: {}", arguments.archive, mapped.error().message));
    const ArchiveReport report = inspectArchive((*mapped)->bytes(), session.system().models().compression);
    const Json json = encodedJson(report);
    session.answer(json, json.dump(2));
    if (report.error) throw CommandFailure(fmt::format("{}: {}", arguments.archive, *report.error));
}

}  // namespace

void addModelCommands(CommandTable& table) {
    CLI::App* models =
        table.app.add_subcommand("models", "Machine-learning models: optional, on this machine");
    models->require_subcommand(1);
    const auto declareModel = [](CLI::App& command, ModelArguments& arguments) {
        command.add_option("ID", arguments.model, "As models list shows it")->required();
    };
    const auto declareArchive = [](CLI::App& command, ArchiveArguments& arguments) {
        command.add_option("ARCHIVE", arguments.archive)->required();
    };
    const auto declareNothing = [](CLI::App&, NoArguments&) {};
    const auto reads = [](const auto&) { return Access::read; };
    const auto writes = [](const auto&) { return Access::write; };
    table.add<NoArguments>(models, "list", "Which models there are", reads, declareNothing, listModels);
    table.add<ArchiveArguments>(models, "install", "Install a local archive (.tar.gz)", writes,
                                declareArchive, installArchive);
    table.add<FolderArguments>(
        models, "check", "Try exported models: one, a model's folder, or a folder of those",
        [](const FolderArguments&) { return Access::none; },
        [](CLI::App& command, FolderArguments& arguments) {
            command.add_option("FOLDER", arguments.folder)->required();
        },
        checkModels);
    table.add<ModelArguments>(models, "download", "Fetch and install a model", writes, declareModel,
                              download);
    table.add<NoArguments>(models, "update", "Fetch newer versions", writes, declareNothing, updateModels);
    table.add<ModelArguments>(models, "remove", "Take a model off the disk", writes, declareModel,
                              removeModel);
    table.add<ModelArguments>(
        models, "enable", "Let a model be used", writes, declareModel,
        [](Session& session, const ModelArguments& arguments) { enableModel(session, arguments, true); });
    table.add<ModelArguments>(
        models, "disable", "Let a model rest", writes, declareModel,
        [](Session& session, const ModelArguments& arguments) { enableModel(session, arguments, false); });
}

void addArchiveInspection(CommandTable& table, CLI::App* inspect) {
    table.add<ArchiveArguments>(
        inspect, "archive", "What a model archive holds",
        [](const ArchiveArguments&) { return Access::none; },
        [](CLI::App& command, ArchiveArguments& arguments) {
            command.add_option("FILE", arguments.archive)->required();
        },
        inspectModelArchive);
}

}  // namespace kelvaris::cli

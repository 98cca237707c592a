// Diagnosis of single files, without touching a library.

#include <fmt/format.h>

#include "base/text.h"
#include "command.h"
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

}  // namespace

void addInspectCommands(CommandTable& table) {
    CLI::App* inspect = table.app.add_subcommand("inspect", "Look into one file without touching a library");
    inspect->require_subcommand(1);
    const auto needsNothing = [](const FileArguments&) { return Access::none; };
    const auto declareFile = [](CLI::App& command, FileArguments& arguments) {
        command.add_option("FILE", arguments.file)->required();
    };
    table.add<FileArguments>(inspect, "vault", "Decode a roll's file or preferences.md", needsNothing,
                             declareFile, inspectVault);
    table.add<FileArguments>(inspect, "sidecar", "Decode a file of vectors", needsNothing, declareFile,
                             inspectSidecar);
}

}  // namespace kelvaris::cli

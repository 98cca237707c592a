// Preferences, backup and reset.

#include <fmt/format.h>

#include "command.h"
#include "session.h"
#include "texts.h"

namespace kelvaris::cli {

namespace {

struct PrefsArguments {
    std::string key;
    std::optional<std::string> value;
};

void preferences(Session& session, const PrefsArguments& arguments) {
    UserPreferences& preferences = session.system().preferences();
    if (arguments.value && !preferences.setText(arguments.key, *arguments.value)) {
        throw CommandFailure(
            fmt::format("\"{}\" is no value of the preference \"{}\"", *arguments.value, arguments.key));
    }
    Json json = Json::object();
    std::vector<std::vector<std::string>> rows;
    for (const auto& [key, value] : preferences.texts()) {
        if (!arguments.key.empty() && key != arguments.key) continue;
        json[key] = value;
        rows.push_back({key, value});
    }
    if (rows.empty()) throw CommandFailure(fmt::format("there is no preference \"{}\"", arguments.key));
    session.answer(json, table(rows));
}

Json mirrorJson(Session& session) {
    Json json;
    json["enabled"] = session.system().preferences().isMirrorEnabled();
    if (const auto folder = session.system().preferences().mirrorFolderPath()) json["folder"] = *folder;
    if (const auto error = session.system().mirrorState().lastError()) json["lastError"] = *error;
    return json;
}

struct NoArguments {};
struct FolderArguments {
    std::string folder;
};

void backUp(Session& session) {
    std::optional<int> count;
    session.app().backUpNow([&count](int rolls) { count = rolls; });
    session.waitUntil([&count] { return count.has_value(); });
    if (const auto error = session.system().mirrorState().lastError()) {
        throw CommandFailure("Backup failed: " + *error);
    }
    Json json = mirrorJson(session);
    json["rolls"] = *count;
    session.answer(json, fmt::format("{} backed up", *count));
}

void mirrorOn(Session& session, const FolderArguments& arguments) {
    const Path folder = session.system().absolutePath(Path(arguments.folder));
    if (!session.system().files().isDirectory(folder) || !session.app().startMirroring(folder)) {
        throw CommandFailure(fmt::format("no such folder: {}", arguments.folder));
    }
    backUp(session);
}

void mirrorNow(Session& session, const NoArguments&) {
    if (!session.system().preferences().isMirrorEnabled()) {
        throw CommandFailure("no mirror is on; start one with \"mirror on FOLDER\"");
    }
    backUp(session);
}

void mirrorOff(Session& session, const NoArguments&) {
    session.system().preferences().stopMirroring();
    session.answer(mirrorJson(session), "Stop mirroring. Existing backup files are left in place.");
}

void mirrorRestore(Session& session, const FolderArguments& arguments) {
    bool answered = false;
    std::optional<int> count;
    session.app().restoreFromMirror(session.system().absolutePath(Path(arguments.folder)),
                                    [&](std::optional<int> rolls) {
                                        answered = true;
                                        count = rolls;
                                    });
    session.waitUntil([&answered] { return answered; });
    if (!count) throw CommandFailure(fmt::format("{} holds no backup of rolls", arguments.folder));
    session.answer(Json{{"restored", *count}}, fmt::format("Restored {} rolls from backup folder", *count));
}

struct ResetArguments {
    bool yes = false;
};

void reset(Session& session, const ResetArguments& arguments) {
    if (!arguments.yes) {
        throw CommandFailure(
            "this deletes all rolls, preferences and caches (not the scans, not the mirror); say --yes to do "
            "it");
    }
    session.app().resetAllData();
    session.answer(Json{{"reset", true}}, "All persistent data deleted");
}

}  // namespace

void addUpkeepCommands(CommandTable& table) {
    table.add<PrefsArguments>(
        nullptr, "prefs", "Show or set preferences",
        [](const PrefsArguments& arguments) { return arguments.value ? Access::write : Access::read; },
        [](CLI::App& command, PrefsArguments& arguments) {
            command.add_option("KEY", arguments.key);
            command.add_option("VALUE", arguments.value);
        },
        preferences);

    CLI::App* mirror =
        table.app.add_subcommand("mirror", "A second copy of the vault in a folder of your choice");
    mirror->require_subcommand(1);
    const auto writes = [](const auto&) { return Access::write; };
    const auto declareFolder = [](CLI::App& command, FolderArguments& arguments) {
        command.add_option("FOLDER", arguments.folder)->required();
    };
    const auto declareNothing = [](CLI::App&, NoArguments&) {};
    table.add<FolderArguments>(mirror, "on", "Mirror every save into the folder", writes, declareFolder,
                               mirrorOn);
    table.add<NoArguments>(mirror, "off", "Stop mirroring; the copies stay", writes, declareNothing,
                           mirrorOff);
    table.add<NoArguments>(mirror, "now", "Write the whole vault to the mirror", writes, declareNothing,
                           mirrorNow);
    table.add<FolderArguments>(mirror, "restore", "Bring a library back from a mirror", writes, declareFolder,
                               mirrorRestore);

    table.add<ResetArguments>(
        "reset", "Delete all rolls, preferences and caches", Access::write,
        [](CLI::App& command, ResetArguments& arguments) {
            command.add_flag("--yes", arguments.yes, "Really do it");
        },
        reset);
}

}  // namespace kelvaris::cli

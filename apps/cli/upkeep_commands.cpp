// Preferences, backup and reset.

#include <fmt/format.h>

#include "base/text.h"
#include "command.h"
#include "questions.h"
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

// --- Mirror --------------------------------------------------------------------------------------------

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
    std::optional<MirrorReport> report;
    session.app().backUpNow([&report](const MirrorReport& made) { report = made; });
    session.waitUntil([&report] { return report.has_value(); });
    if (report->hasFailed()) throw CommandFailure("Backup failed: " + failureText(report->failures));
    Json json = mirrorJson(session);
    json["rolls"] = report->rolls;
    json["written"] = report->written;
    session.answer(json, fmt::format("{} backed up", report->rolls));
}

void mirrorOn(Session& session, const FolderArguments& arguments) {
    const Path folder = session.system().absolutePath(Path(arguments.folder));
    if (const auto refusal = session.app().startMirroring(folder)) throw CommandFailure(*refusal);
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

void mirrorStatus(Session& session, const NoArguments&) {
    const MirrorStatus status = session.system().vault().mirror().status();
    const int upToDate = status.rolls - static_cast<int>(status.behind.size());
    Json json = mirrorJson(session);
    json["reachable"] = status.folder.has_value();
    if (status.lastCopy) json["lastCopy"] = encodedJson(*status.lastCopy);
    json["rolls"] = status.rolls;
    if (status.folder) {
        json["upToDate"] = upToDate;
        json["behind"] = status.behind;
    }
    std::vector<std::vector<std::string>> rows{{"State", status.isOn ? "on" : "off"}};
    if (json.contains("folder")) {
        const std::string where = json["folder"].get<std::string>();
        rows.push_back({"Folder", status.isOn && !status.folder ? where + " (cannot be found)" : where});
    }
    if (status.lastCopy) {
        rows.push_back({"Last copy", session.system().language().mediumDateShortTime(*status.lastCopy)});
    }
    if (status.folder) {
        rows.push_back({"Rolls", fmt::format("{} of {} up to date", upToDate, status.rolls)});
        if (!status.behind.empty()) rows.push_back({"Behind", namesText(status.behind)});
    }
    if (json.contains("lastError")) rows.push_back({"Failure", json["lastError"].get<std::string>()});
    session.answer(json, table(rows));
}

// --- Restore -------------------------------------------------------------------------------------------

struct RestoreArguments {
    std::string folder;
    bool replacesNewer = false;
};

Json notesJson(const std::vector<RestoreNote>& notes) {
    Json json = Json::array();
    for (const RestoreNote& note : notes) {
        Json each{{"name", note.name}};
        if (!note.reason.empty()) each["reason"] = note.reason;
        json.push_back(std::move(each));
    }
    return json;
}

std::string_view word(RestoreDecision::Act act) {
    switch (act) {
        case RestoreDecision::Act::take:
            return "restored";
        case RestoreDecision::Act::replace:
            return "replaced";
        default:
            return "unchanged";
    }
}

void mirrorRestore(Session& session, const RestoreArguments& arguments) {
    std::optional<RestoreReport> report;
    session.app().restoreFromMirror(session.system().absolutePath(Path(arguments.folder)),
                                    arguments.replacesNewer,
                                    [&report](const RestoreReport& made) { report = made; });
    session.waitUntil([&report] { return report.has_value(); });
    if (report->hasFailed()) throw CommandFailure(restoreText(*report));
    Json json{{"restored", report->restored}, {"replaced", report->replaced}};
    json["unchanged"] = report->unchanged;
    json["kept"] = notesJson(report->kept);
    json["skipped"] = notesJson(report->skipped);
    if (report->preferences) json["preferences"] = word(*report->preferences);
    session.answer(json, restoreText(*report));
}

// --- Reset ---------------------------------------------------------------------------------------------

struct ResetArguments {
    bool yes = false;
};

void reset(Session& session, const ResetArguments& arguments) {
    confirm(session, "This deletes all rolls, preferences and caches (not the scans, not the mirror).",
            arguments.yes);
    const ResetReport report = session.app().resetAllData();
    if (!report.refusals.empty()) throw CommandFailure(joined(report.refusals, "\n"));
    if (report.hasFailed()) throw CommandFailure("could not be deleted: " + joined(report.failures, "\n"));
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
    table.add<NoArguments>(
        mirror, "status", "Tell where the mirror stands and what it lacks",
        [](const auto&) { return Access::read; }, declareNothing, mirrorStatus);
    table.add<RestoreArguments>(
        mirror, "restore", "Bring a library back from a mirror", [](const auto&) { return Access::write; },
        [](CLI::App& command, RestoreArguments& arguments) {
            command.add_option("FOLDER", arguments.folder)->required();
            command.add_flag("--replace", arguments.replacesNewer,
                             "Take the mirror's also where it is older");
        },
        mirrorRestore);

    table.add<ResetArguments>(
        "reset", "Delete all rolls, preferences and caches", Access::write,
        [](CLI::App& command, ResetArguments& arguments) {
            command.add_flag("--yes", arguments.yes, "Really do it");
        },
        reset);
}

}  // namespace kelvaris::cli

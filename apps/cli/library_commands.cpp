// Which rolls there are, where they lie, and their backup.

#include <fmt/format.h>

#include <algorithm>

#include "base/text.h"
#include "command.h"
#include "library/roll_analysis.h"
#include "live_json.h"
#include "questions.h"
#include "session.h"
#include "texts.h"

namespace kelvaris::cli {

namespace {

struct NoArguments {};
const auto declaresNothing = [](CLI::App&, NoArguments&) {};

struct OpenArguments {
    std::vector<std::string> folders;
    bool noAnalysis = false;
};

Path absolutePath(const std::string& text, Session& session) {
    return session.system().absolutePath(Path(text));
}

void waitForAnalysis(Session& session) {
    session.waitUntil([&session] {
        std::size_t done = 0;
        std::size_t all = 0;
        for (const RollPointer& roll : session.app().rolls()) {
            if (!roll->isAnalyzing()) continue;
            all += roll->photos().size();
            done += static_cast<std::size_t>(
                std::count_if(roll->photos().begin(), roll->photos().end(),
                              [](const PhotoPointer& photo) { return photo->labelsAnalyzed(); }));
        }
        if (all != 0) session.progress(fmt::format("Analyzing {}/{}", done, all));
        return !session.app().isAnalysisPending();
    });
}

/// @param remark a line below the rolls, for a person; may be empty.
void answerRolls(Session& session, const std::vector<RollPointer>& rolls, const std::string& remark = "") {
    Json json = Json::array();
    std::vector<std::vector<std::string>> rows = {rollHead()};
    for (const RollPointer& roll : rolls) {
        json.push_back(liveJson(*roll, false));
        rows.push_back(rollRow(*roll));
    }
    std::string text;
    if (!rolls.empty()) text = table(rows);
    if (rolls.empty() && remark.empty()) text = "No rolls yet. Open a folder of scans with \"open FOLDER\".";
    session.answer(json, text + remark);
}

void listRolls(Session& session, const NoArguments&) {
    const VaultService& vault = session.system().vault();
    int unreadable = 0;
    for (const VaultProblem& problem : vault.problems()) {
        if (problem.kind == VaultProblem::Kind::library)
            throw CommandFailure("the rolls cannot be read; this is no empty library");
        const bool isRoll = problem.file.parent() == vault.paths().rolls;
        if (isRoll && problem.kind == VaultProblem::Kind::unreadable) ++unreadable;
    }
    const std::string remark =
        fmt::format("{} could not be read; see verify", countOf(unreadable, "roll file"));
    answerRolls(session, session.app().rolls(), unreadable == 0 ? "" : remark);
}

void open(Session& session, const OpenArguments& arguments) {
    std::vector<Path> paths;
    for (const std::string& folder : arguments.folders) {
        const Path path = absolutePath(folder, session);
        if (!session.system().files().exists(path))
            throw CommandFailure(fmt::format("no such folder: {}", folder));
        if (session.system().files().isDirectory(path) && !session.system().files().list(path)) {
            throw CommandFailure(fmt::format("could not read folder: {}", folder));
        }
        paths.push_back(path);
    }
    const std::vector<RollPointer> opened = session.app().openedRolls(paths, !arguments.noAnalysis);
    if (opened.empty()) {
        throw CommandFailure("no folder with pictures there (JPEG, PNG, TIFF or HEIC)");
    }
    waitForAnalysis(session);
    for (const RollPointer& roll : opened) session.app().scheduleSave(roll);
    answerRolls(session, opened);
}

struct RollArguments {
    std::string roll;
};
const auto declareRoll = [](CLI::App& command, RollArguments& arguments) {
    command.add_option("ROLL", arguments.roll, "Name, id, or the beginning of either")->required();
};

void show(Session& session, const RollArguments& arguments) {
    const RollPointer roll = session.roll(arguments.roll);
    session.answer(liveJson(*roll, true), rollText(*roll, session.system().language()));
}

struct DropArguments : RollArguments {
    bool yes = false;
};

void drop(Session& session, const DropArguments& arguments) {
    const RollPointer roll = session.roll(arguments.roll);
    if (const auto warning = roll->removalWarning()) confirm(session, *warning, arguments.yes);
    if (const auto removed = session.app().removeRoll(roll); !removed) {
        throw CommandFailure(fmt::format("could not remove {}: {}", roll->name(), removed.error()));
    }
    session.answer(Json{{"removed", roll->id().text()}},
                   fmt::format("Removed {} from the library. The scans are where they were.", roll->name()));
}

/// Photos that models or switches have left behind.
void waitForRefresh(Session& session, const std::vector<RollPointer>& rolls) {
    DiscoveryRefresh& refresh = session.system().discoveryRefresh();
    refresh.start(rolls, nullptr);
    session.waitUntil([&] {
        if (refresh.progress().total > 0) {
            session.progress(fmt::format("Bringing photos up to date: {} of {}", refresh.progress().processed,
                                         refresh.progress().total));
        }
        return !refresh.isRunning();
    });
    session.progress("");
}

struct AnalyzeArguments {
    std::string roll;
};

void analyze(Session& session, const AnalyzeArguments& arguments) {
    std::vector<RollPointer> rolls;
    if (arguments.roll.empty()) {
        rolls = session.app().rolls();
        session.app().enqueueBackgroundAnalysis(rolls);
    } else {
        rolls = {session.roll(arguments.roll)};
        if (rolls.front()->isDisconnected()) throw CommandFailure("the roll's folder cannot be reached");
        reanalyzeAllPhotos(*rolls.front());
    }
    waitForAnalysis(session);
    if (arguments.roll.empty()) waitForRefresh(session, rolls);
    for (const RollPointer& roll : rolls) {
        if (!roll->isDisconnected()) session.app().scheduleSave(roll);
    }
    answerRolls(session, rolls);
}

struct LocateArguments {
    std::string roll;
    std::string folder;
    bool force = false;
};

void search(Session& session, const RollPointer& roll) {
    if (!roll->isDisconnected()) throw CommandFailure("the roll's folder is where it was");
    session.app().searchFolder(roll);
    session.waitUntil([&] { return !session.app().isSearchingFolders(); });
    if (roll->isDisconnected()) throw CommandFailure("no folder with the roll's files was found");
}

void moveOnto(Session& session, const RollPointer& roll, const std::string& named, bool force) {
    const Path folder = absolutePath(named, session);
    if (!session.system().files().isDirectory(folder))
        throw CommandFailure(fmt::format("no such folder: {}", named));
    roll->setStatusNotification(std::nullopt);  // what is told from here on is about this folder
    session.system().shell().addChoice({folder});
    session.system().shell().setAgrees(force);
    session.app().locateRoll(roll);
    session.system().settle();
    if (roll->sourceFolder() == folder && !roll->isDisconnected()) return;
    const auto& status = roll->statusNotification();
    if (status && status->kind() == StatusNotification::Kind::error) throw CommandFailure(status->message());
    throw CommandFailure("the folder holds other files than the roll; --force takes it all the same");
}

void locate(Session& session, const LocateArguments& arguments) {
    const RollPointer roll = session.roll(arguments.roll);
    if (arguments.folder.empty()) {
        search(session, roll);
    } else {
        moveOnto(session, roll, arguments.folder, arguments.force);
    }
    waitForAnalysis(session);
    session.app().scheduleSave(roll);
    session.answer(liveJson(*roll, false),
                   fmt::format("{} is at {}", roll->name(), roll->sourceFolder().string()));
}

}  // namespace

void addLibraryCommands(CommandTable& table) {
    table.add<OpenArguments>(
        "open", "Open folders of scans", Access::write,
        [](CLI::App& command, OpenArguments& arguments) {
            command.add_option("FOLDER", arguments.folders, "Folders or picture files")->required();
            command.add_flag("--no-analysis", arguments.noAnalysis, "Do not look at the pictures now");
        },
        open);
    table.add<NoArguments>("rolls", "List the rolls", Access::read, declaresNothing, listRolls);
    table.add<RollArguments>("show", "Show one roll with its photos", Access::read, declareRoll, show);
    table.add<DropArguments>(
        "drop", "Remove a roll from the library; the scans stay", Access::write,
        [](CLI::App& command, DropArguments& arguments) {
            declareRoll(command, arguments);
            command.add_flag("--yes", arguments.yes, "Do not ask");
        },
        drop);
    table.add<AnalyzeArguments>(
        "analyze", "Analyze what needs it, or one roll anew", Access::write,
        [](CLI::App& command, AnalyzeArguments& arguments) {
            command.add_option("ROLL", arguments.roll, "Name, id, or the beginning of either");
        },
        analyze);
    table.add<LocateArguments>(
        "locate", "Tell where a roll's folder is now, or look for it", Access::write,
        [](CLI::App& command, LocateArguments& arguments) {
            command.add_option("ROLL", arguments.roll, "Name, id, or the beginning of either")->required();
            command.add_option("FOLDER", arguments.folder, "Left out: the local volumes are searched");
            command.add_flag("--force", arguments.force, "Take the folder although it holds other files");
        },
        locate);
}

}  // namespace kelvaris::cli

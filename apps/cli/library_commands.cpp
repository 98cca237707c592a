// Which rolls there are, where they lie, and their backup.

#include <fmt/format.h>

#include <algorithm>

#include "base/text.h"
#include "command.h"
#include "library/roll_analysis.h"
#include "live_json.h"
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

void answerRolls(Session& session, const std::vector<RollPointer>& rolls) {
    Json json = Json::array();
    std::vector<std::vector<std::string>> rows = {rollHead()};
    for (const RollPointer& roll : rolls) {
        json.push_back(liveJson(*roll, false));
        rows.push_back(rollRow(*roll));
    }
    session.answer(
        json, rolls.empty() ? "No rolls yet. Open a folder of scans with \"open FOLDER\"." : table(rows));
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

void drop(Session& session, const RollArguments& arguments) {
    const RollPointer roll = session.roll(arguments.roll);
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

void locate(Session& session, const LocateArguments& arguments) {
    const RollPointer roll = session.roll(arguments.roll);
    if (arguments.folder.empty()) {
        if (!roll->isDisconnected()) throw CommandFailure("the roll's folder is where it was");
        session.app().searchFolder(roll);
        session.waitUntil([&] { return !session.app().isSearchingFolders(); });
        if (roll->isDisconnected()) throw CommandFailure("no folder with the roll's files was found");
    } else {
        const Path folder = absolutePath(arguments.folder, session);
        if (!session.system().files().isDirectory(folder)) {
            throw CommandFailure(fmt::format("no such folder: {}", arguments.folder));
        }
        session.system().shell().addChoice({folder});
        session.system().shell().setAgrees(arguments.force);
        session.app().locateRoll(roll);
        session.system().settle();
        if (roll->sourceFolder() != folder || roll->isDisconnected()) {
            throw CommandFailure("the folder holds other files than the roll; --force takes it all the same");
        }
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
    table.add<NoArguments>(
        "rolls", "List the rolls", Access::read, declaresNothing,
        [](Session& session, const NoArguments&) { answerRolls(session, session.app().rolls()); });
    table.add<RollArguments>("show", "Show one roll with its photos", Access::read, declareRoll, show);
    table.add<RollArguments>("drop", "Remove a roll from the library; the scans stay", Access::write,
                             declareRoll, drop);
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

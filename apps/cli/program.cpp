#include "program.h"

#include <algorithm>
#include <ostream>
#include <string>

#include "arguments.h"
#include "command.h"
#include "discovery_commands.h"
#include "session.h"

namespace kelvaris::cli {

namespace {

constexpr int done = 0;
constexpr int failed = 1;
constexpr int wrongUsage = 2;

struct ParsedLine {
    int status = done;
    std::optional<ChosenCommand> command;
    SessionOptions options;
};

/// Keeps "-blur" behind the command "label" from being read as an option.
void protectLabels(std::vector<std::string>& words) {
    const auto label = std::find(words.begin(), words.end(), "label");
    const bool takesOff = std::any_of(label, words.end(), [](const std::string& word) {
        return word.size() > 2 && word[0] == '-' && word[1] != '-';
    });
    if (takesOff) words.insert(label + 1, "--");
}

/// Reads one line of words. Help goes to `output`, complaints to `errors`.
ParsedLine parsedLine(const LineWords& given, bool isWithinSession, std::ostream& output,
                      std::ostream& errors) {
    CLI::App app("A photo library for people who shoot film.", "kelvaris-cli");
    app.require_subcommand(1);
    ParsedLine line;
    std::optional<std::string> root;
    if (!isWithinSession) {
        app.add_option("--root", root, "The folder that holds vault/ and embeddings/");
        app.add_flag("--json", line.options.json, "Print one JSON value and nothing else");
    }
    CommandTable table{app, std::nullopt};
    addAllCommands(table);
    if (!isWithinSession) addSessionCommand(table);
    std::vector<std::string> words = given.words();
    protectLabels(words);
    std::reverse(words.begin(), words.end());  // the parser takes its words from the back
    try {
        app.parse(std::move(words));
    } catch (const CLI::ParseError& error) {
        line.status = app.exit(error, output, errors) == 0 ? done : wrongUsage;
        return line;
    }
    auto complaint = given.complaint(app);
    if (root && root->empty()) complaint = "--root names no folder";
    if (complaint) {
        errors << "kelvaris-cli: " << *complaint << '\n';
        line.status = wrongUsage;
        return line;
    }
    if (root) line.options.root = Path(*root);
    line.command = std::move(table.chosen);
    return line;
}

/// Runs the lines of the input against one running system.
int runLines(Session& session, std::ostream& output, std::ostream& errors) {
    int status = done;
    session.takesCommands = true;
    while (!session.isEnding) {
        const auto text = session.nextLine();
        if (!text) break;
        if (text->find_first_not_of(" \t\r") == std::string::npos || text->front() == '#') continue;
        const ParsedLine line = parsedLine(LineWords(CLI::detail::split_up(*text)), true, output, errors);
        if (!line.command) {
            status = std::max(status, line.status);
        } else if (!session.run(*line.command, Access::write)) {
            status = std::max(status, failed);
        }
    }
    return status;
}

}  // namespace

int runProgram(const std::vector<std::string>& words, Console& console, std::ostream& output,
               std::ostream& errors) {
    const ParsedLine line = parsedLine(LineWords(words), false, output, errors);
    int status = line.status;
    if (line.command) {
        Session session(line.options, console, output, errors);
        if (!line.command->run) {
            status = runLines(session, output, errors);
        } else if (!session.run(*line.command, line.command->access)) {
            status = failed;
        }
        if (!session.finish()) status = std::max(status, failed);
    }
    output.flush();
    if (!output) {
        errors << "kelvaris-cli: the answer could not be printed\n";
        status = std::max(status, failed);
    }
    if (const auto signal = console.endingSignal()) return 128 + *signal;
    return status;
}

void addAllCommands(CommandTable& table) {
    addLibraryCommands(table);
    addEditingCommands(table);
    addUpkeepCommands(table);
    addModelCommands(table);
    addVerifyCommand(table);
    addInspectCommands(table);
    addAdviceCommands(table);
    addDiscoveryCommands(table);
    addPeopleCommands(table);
}

void addSessionCommand(CommandTable& table) {
    CLI::App* command = table.app.add_subcommand(
        "session", "Read commands from standard input, one a line, so that undo and redo reach back");
    command->callback([&table] { table.chosen = ChosenCommand{Access::write, nullptr}; });
}

}  // namespace kelvaris::cli

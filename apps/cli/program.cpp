#include "program.h"

#include <algorithm>
#include <iostream>
#include <string>

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
ParsedLine parsedLine(std::vector<std::string> words, bool isWithinSession, std::ostream& output,
                      std::ostream& errors) {
    CLI::App app("A photo library for people who shoot film.", "kelvaris-cli");
    app.require_subcommand(1);
    ParsedLine line;
    std::string root;
    if (!isWithinSession) {
        app.add_option("--root", root, "The folder that holds vault/ and embeddings/");
        app.add_flag("--json", line.options.json, "Print one JSON value and nothing else");
    }
    CommandTable table{app, std::nullopt};
    addAllCommands(table);
    if (!isWithinSession) addSessionCommand(table);
    protectLabels(words);
    std::reverse(words.begin(), words.end());  // the parser takes its words from the back
    try {
        app.parse(std::move(words));
    } catch (const CLI::ParseError& error) {
        line.status = app.exit(error, output, errors) == 0 ? done : wrongUsage;
        return line;
    }
    if (!root.empty()) line.options.root = Path(root);
    line.command = std::move(table.chosen);
    return line;
}

/// @return the exit status of the command.
int runCommand(Session& session, const ChosenCommand& command, std::ostream& errors) {
    try {
        session.run(command);
        return done;
    } catch (const CommandFailure& failure) {
        session.progress("");
        errors << "kelvaris-cli: " << failure.what() << '\n';
        return failed;
    }
}

/// Runs the lines of the input against one running system.
int runLines(Session& session, std::istream& input, std::ostream& output, std::ostream& errors) {
    int status = done;
    for (std::string text; !session.isEnding && std::getline(input, text);) {
        if (text.find_first_not_of(" \t\r") == std::string::npos || text.front() == '#') continue;
        ParsedLine line = parsedLine(CLI::detail::split_up(text), true, output, errors);
        if (!line.command) {
            status = std::max(status, line.status);
            continue;
        }
        line.command->access = Access::write;
        status = std::max(status, runCommand(session, *line.command, errors));
    }
    return status;
}

}  // namespace

int runProgram(const std::vector<std::string>& words, std::istream& input, std::ostream& output,
               std::ostream& errors) {
    ParsedLine line = parsedLine(words, false, output, errors);
    if (!line.command) return line.status;
    Session session(line.options, output, errors);
    int status = done;
    if (line.command->run) {
        status = runCommand(session, *line.command, errors);
    } else {
        status = runLines(session, input, output, errors);
    }
    session.finish();
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

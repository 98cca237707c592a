#pragma once

#include <CLI/CLI.hpp>
#include <functional>
#include <optional>
#include <stdexcept>
#include <string>

namespace kelvaris::cli {

class Session;

/// What a command needs of the library.
enum class Access {
    none,   ///< works on files alone
    read,   ///< works beside another program that writes
    keep,   ///< likewise, and keeps what it learns on the way when no other program writes
    write,  ///< is the one writer
};

/// Ends a command with exit status 1 and this one line.
class CommandFailure : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// The command that the words on the line chose.
struct ChosenCommand {
    Access access = Access::none;
    std::function<void(Session&)> run;
};

/// Where the commands of one line register themselves; the chosen one is left in `chosen`.
struct CommandTable {
    CLI::App& app;
    std::optional<ChosenCommand> chosen;

    /// Adds a command below `parent` (the program itself when null); its arguments are made anew for each
    /// line. The access may depend on the arguments.
    template <class Arguments>
    CLI::App* add(CLI::App* parent, const std::string& name, const std::string& description,
                  std::function<Access(const Arguments&)> access,
                  std::function<void(CLI::App&, Arguments&)> declare,
                  std::function<void(Session&, const Arguments&)> run) {
        auto arguments = std::make_shared<Arguments>();
        CLI::App* command = (parent != nullptr ? *parent : app).add_subcommand(name, description);
        declare(*command, *arguments);
        command->callback([this, command, arguments, access = std::move(access), run = std::move(run)] {
            if (!command->get_subcommands().empty()) return;  // one below it was chosen
            chosen = ChosenCommand{access(*arguments),
                                   [arguments, run](Session& session) { run(session, *arguments); }};
        });
        return command;
    }

    /// Adds a command of the program itself.
    template <class Arguments>
    CLI::App* add(const std::string& name, const std::string& description, Access access,
                  std::function<void(CLI::App&, Arguments&)> declare,
                  std::function<void(Session&, const Arguments&)> run) {
        return add<Arguments>(
            nullptr, name, description, [access](const Arguments&) { return access; }, std::move(declare),
            std::move(run));
    }
};

// One function for each file of commands.
void addLibraryCommands(CommandTable& table);
void addEditingCommands(CommandTable& table);
void addUpkeepCommands(CommandTable& table);
void addInspectCommands(CommandTable& table);
void addModelCommands(CommandTable& table);
void addArchiveInspection(CommandTable& table, CLI::App* inspect);
void addVerifyCommand(CommandTable& table);
void addAdviceCommands(CommandTable& table);
void addSessionCommand(CommandTable& table);

/// Every command.
void addAllCommands(CommandTable& table);

}  // namespace kelvaris::cli

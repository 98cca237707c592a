#pragma once

#include <functional>
#include <iosfwd>
#include <memory>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "assembly/kelvaris_system.h"
#include "base/run_loop.h"
#include "command.h"
#include "platform/console.h"

namespace kelvaris::cli {

using Json = nlohmann::ordered_json;

/// What the words before the command set.
struct SessionOptions {
    std::optional<Path> root;
    bool json = false;
};

/// One run of the program: the system, put together when a command first needs it, and the answers. What a
/// command answers is printed when everything that it changed is on the disk. Main thread.
class Session {
public:
    /// The console and both streams outlive the session.
    Session(SessionOptions options, Console& console, std::ostream& output, std::ostream& errors);
    ~Session();

    const SessionOptions& options() const { return options_; }

    /// Runs one command, saves what it changed, and prints its answer. Failures are told, a line each.
    /// @param granted what the system is opened for: at least what the command needs.
    /// @return whether all went well. A command that a signal cut short is saved as far as it came.
    bool run(const ChosenCommand& command, Access granted);

    /// The next line of the input. What is due on the main queue runs meanwhile.
    /// @return nothing when the input is over or a signal asks the program to end.
    std::optional<std::string> nextLine();

    /// Writes what waits, as at the end of the program, and lets the mirror catch up.
    /// @return false when something could not be written, which is told.
    bool finish();

    KelvarisSystem& system();
    AppViewModel& app() { return system().app(); }

    /// @throws CommandFailure when the reference means nothing or more than one thing.
    RollPointer roll(const std::string& reference);
    /// By file name, a beginning of it, or the number shown in the list.
    PhotoPointer photo(const FilmRoll& roll, const std::string& reference);
    /// By file name or a beginning of it, among the photos that were taken out of the roll.
    PhotoPointer removedPhoto(const FilmRoll& roll, const std::string& reference);

    /// Runs the main queue until the condition holds. When a signal asks the program to end, saves what
    /// waits and leaves the command by an exception that run() takes.
    void waitUntil(const std::function<bool()>& condition);

    /// Prints a line on standard error at once.
    void tell(const std::string& text);
    /// Asks the user for a yes.
    /// @return the answer; nothing when nobody can be asked, as in a script.
    std::optional<bool> ask(const std::string& question);

    /// Keeps one JSON value or the text, as the user asked, to be printed at the end of the command.
    void answer(const Json& json, const std::string& text);
    /// A line that the next one replaces; only on a terminal.
    void progress(const std::string& text);

    /// Ends the reading of further commands.
    bool isEnding = false;
    /// The lines of the input are commands, so that none may be taken for an answer.
    bool takesCommands = false;

private:
    void openSystem();
    bool canWrite() const { return system_ && system_->vault().canWrite(); }
    /// Which failures to tell: at the end of the program, those that the last command did not tell.
    enum class Telling { all, news };
    bool save(Telling telling);
    void catchUpMirror();
    bool waitForMirror();
    std::string backlogText(MirrorBacklog backlog);

    SessionOptions options_;
    Console& console_;
    std::ostream& output_;
    std::ostream& errors_;
    Access access_ = Access::none;
    bool hasCaughtUp_ = false;
    bool showsProgress_;
    std::size_t progressWidth_ = 0;
    std::string answer_;
    std::vector<std::string> toldFailures_;
    std::unique_ptr<KelvarisSystem> system_;
    std::unique_ptr<RunLoop> loop_;
};

}  // namespace kelvaris::cli

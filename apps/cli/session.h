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

namespace kelvaris::cli {

using Json = nlohmann::ordered_json;

/// What the words before the command set.
struct SessionOptions {
    std::optional<Path> root;
    bool json = false;
};

/// One run of the program: the system, put together when a command first needs it, and the answers.
class Session {
public:
    Session(SessionOptions options, std::ostream& output, std::ostream& errors);
    ~Session();

    const SessionOptions& options() const { return options_; }

    /// Runs one command with what it needs. @throws CommandFailure
    void run(const ChosenCommand& command);

    /// Writes what waits, as at the end of the program.
    void finish();

    KelvarisSystem& system();
    AppViewModel& app() { return system().app(); }

    /// @throws CommandFailure when the reference means nothing or more than one thing.
    RollPointer roll(const std::string& reference);
    /// By file name, a beginning of it, or the number shown in the list.
    PhotoPointer photo(const FilmRoll& roll, const std::string& reference);

    /// Runs the main queue until the condition holds.
    void waitUntil(const std::function<bool()>& condition);

    /// Prints one JSON value or the text, as the user asked.
    void answer(const Json& json, const std::string& text);
    /// A line that the next one replaces; only on a terminal.
    void progress(const std::string& text);

    /// Ends the reading of further commands.
    bool isEnding = false;

private:
    SessionOptions options_;
    std::ostream& output_;
    std::ostream& errors_;
    Access access_ = Access::none;
    bool showsProgress_;
    std::size_t progressWidth_ = 0;
    std::unique_ptr<KelvarisSystem> system_;
    std::unique_ptr<RunLoop> loop_;
};

}  // namespace kelvaris::cli

#pragma once

#include <deque>
#include <functional>
#include <vector>

#include "base/main_queue.h"
#include "platform/shell.h"

namespace kelvaris {

/// The answers that a command line gave beforehand. Main thread.
struct ConsoleAnswers {
    std::deque<std::vector<Path>> choices;  ///< for the pickers in turn; then they are cancelled
    bool agrees = false;                    ///< presses the first button of every question, else the last
    std::function<void()> terminate;        ///< ends the program
};

/// A shell without windows: nothing is revealed, nothing sounds, nothing moves.
class ConsoleShell final : public Shell {
public:
    ConsoleShell(MainQueue& main, ConsoleAnswers answers) : main_(main), answers_(std::move(answers)) {}

    void addChoice(std::vector<Path> paths) { answers_.choices.push_back(std::move(paths)); }
    void setAgrees(bool agrees) { answers_.agrees = agrees; }

    void choose(const PickerRequest& request, std::function<void(std::vector<Path>)> completion) override;
    void ask(const AlertRequest& request, std::function<void(std::size_t)> completion) override;
    void reveal(const Path&) override {}
    void play(Sound) override {}
    bool reducesMotion() const override { return true; }
    void terminate() override {
        if (answers_.terminate) answers_.terminate();
    }

private:
    MainQueue& main_;
    ConsoleAnswers answers_;
};

}  // namespace kelvaris

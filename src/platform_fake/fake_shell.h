#pragma once

#include <deque>
#include <functional>
#include <vector>

#include "base/main_queue.h"
#include "platform/shell.h"

namespace kelvaris {

/// A user who answers what the test says, in order; without an answer, pickers are cancelled and
/// questions get the last button. Answers arrive through the main queue.
class FakeShell final : public Shell {
public:
    explicit FakeShell(MainQueue& main) : main_(main) {}

    void choose(const PickerRequest& request, std::function<void(std::vector<Path>)> completion) override {
        pickers.push_back(request);
        std::vector<Path> answer;
        if (!choices.empty()) {
            answer = std::move(choices.front());
            choices.pop_front();
        }
        main_.post([answer = std::move(answer), completion = std::move(completion)] { completion(answer); });
    }
    void ask(const AlertRequest& request, std::function<void(std::size_t)> completion) override {
        alerts.push_back(request);
        std::size_t answer = request.buttons.empty() ? 0 : request.buttons.size() - 1;
        if (!buttons.empty()) {
            answer = buttons.front();
            buttons.pop_front();
        }
        main_.post([answer, completion = std::move(completion)] { completion(answer); });
    }
    void reveal(const Path& folder) override { revealed.push_back(folder); }
    void play(Sound sound) override { sounds.push_back(sound); }
    bool reducesMotion() const override { return motionIsReduced; }
    void terminate() override { ++terminations; }

    std::deque<std::vector<Path>> choices;  ///< answers to come
    std::deque<std::size_t> buttons;        ///< answers to come
    bool motionIsReduced = false;

    std::vector<PickerRequest> pickers;
    std::vector<AlertRequest> alerts;
    std::vector<Path> revealed;
    std::vector<Sound> sounds;
    int terminations = 0;

private:
    MainQueue& main_;
};

}  // namespace kelvaris

#include "platform_linux/console_shell.h"

#include "base/log.h"

namespace kelvaris {

void ConsoleShell::choose(const PickerRequest& request, std::function<void(std::vector<Path>)> completion) {
    std::vector<Path> chosen;
    if (!answers_.choices.empty()) {
        chosen = std::move(answers_.choices.front());
        answers_.choices.pop_front();
        if (!request.allowsMultiple && chosen.size() > 1) chosen.resize(1);
    }
    main_.post([chosen = std::move(chosen), completion = std::move(completion)] { completion(chosen); });
}

void ConsoleShell::ask(const AlertRequest& request, std::function<void(std::size_t)> completion) {
    const std::size_t last = request.buttons.empty() ? 0 : request.buttons.size() - 1;
    const std::size_t pressed = answers_.agrees ? 0 : last;
    log::info("Shell", "{} {} [{}]", request.message, request.text,
              request.buttons.empty() ? std::string() : request.buttons[pressed]);
    main_.post([pressed, completion = std::move(completion)] { completion(pressed); });
}

}  // namespace kelvaris

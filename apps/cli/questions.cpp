#include "questions.h"

#include <fmt/format.h>

#include "command.h"
#include "session.h"

namespace kelvaris::cli {

void confirm(Session& session, const std::string& text, bool yes) {
    if (yes) return session.tell(text);
    const auto answer = session.ask(text + " Go on?");
    if (!answer) throw CommandFailure(fmt::format("{} (say --yes to do it)", text));
    if (!*answer) throw CommandFailure("nothing was changed");
}

}  // namespace kelvaris::cli

#include "unsaved.h"

#include <fmt/format.h>

namespace kelvaris::cli {

std::vector<std::string> flushedWithFailures(AppViewModel& app) {
    if (app.flushPendingSaves()) return {};
    std::vector<std::string> failures;
    for (const UnsavedRoll& each : app.unsavedRolls()) {
        failures.push_back(fmt::format("{} could not be saved: {}", each.roll->name(), each.reason));
    }
    if (app.preferences().isUnsaved()) failures.emplace_back("the preferences could not be saved");
    return failures;
}

}  // namespace kelvaris::cli

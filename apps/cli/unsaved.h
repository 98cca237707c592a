#pragma once

#include <string>
#include <vector>

#include "application/app_view_model.h"

namespace kelvaris::cli {

/// Writes everything that waits for its save. What fails goes on waiting.
/// @return a sentence for each roll, and for the preferences, that could not be written: which, and why.
std::vector<std::string> flushedWithFailures(AppViewModel& app);

}  // namespace kelvaris::cli

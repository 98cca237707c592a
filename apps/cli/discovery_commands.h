#pragma once

#include "command.h"

namespace kelvaris::cli {

/// Searches: words, near-duplicates, scenes, faces, people.
void addDiscoveryCommands(CommandTable& table);

}  // namespace kelvaris::cli

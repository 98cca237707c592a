#pragma once

#include "command.h"

namespace kelvaris::cli {

/// Searches: words, near-duplicates, scenes, faces.
void addDiscoveryCommands(CommandTable& table);
/// The groups of faces and their corrections.
void addPeopleCommands(CommandTable& table);

}  // namespace kelvaris::cli

#pragma once

#include <string>

#include "base/instant.h"
#include "platform/language.h"
#include "preferences/vault_preferences.h"
#include "vault/roll_manifest.h"

namespace kelvaris {

/// The Markdown below the frontmatter, for people; never read back. Lines joined by line feeds, without
/// one at the end. Dates follow the user's locale. Any thread.

/// A heading, a summary, notes, the status, and a table of the photos. Cells are not escaped.
std::string generateMarkdownBody(const VaultRollManifest& manifest, const Language& language);

/// A heading, the day, export and workflow settings, favourite cameras and film stocks.
std::string generatePreferencesBody(const VaultPreferences& preferences, const Language& language,
                                    Instant now);

/// "Nikon FM2": the parts that are not empty, joined by a blank.
std::string cameraDescription(const std::string& make, const std::string& model);

/// "Portra 400 (ISO 400)": the name, and the speed when it is known.
std::string filmDescription(const std::string& name, std::optional<int> iso);

/// The text of SCHEMA.md, which explains the vault to whoever finds the folder without the program. Its
/// tables of keys are made from the records' own declarations.
const std::string& schemaText();

}  // namespace kelvaris

#pragma once

#include <string>
#include <string_view>

#include "platform/files.h"
#include "preferences/vault_preferences.h"
#include "vault/roll_manifest.h"

namespace kelvaris {

/// What a mirror holds of the vault, and where. Values alone, except where files are named.

/// Where a mirror's files stand below the folder that the user chose.
struct MirrorPaths {
    Path base;  ///< "Kelvaris"
    Path rolls;
    Path preferencesFile;
    Path schemaFile;

    static MirrorPaths under(const Path& folder);

    /// The copy of a roll's file. @param id the text of its "id".
    Path rollFile(std::string_view id) const { return rolls / (std::string(id) + ".md"); }
};

/// The record without what only this machine can use.
VaultRollManifest asMirrored(VaultRollManifest manifest);
VaultPreferences asMirrored(VaultPreferences preferences);

/// The record of the mirror with what the machine's own record knows of this machine.
VaultPreferences withMachineOf(VaultPreferences mirrored, const VaultPreferences& local);

/// A roll file with another folder reference and every other byte as it was, keys that are not known here
/// included; the file itself when its line of the reference does not look as the program writes it.
/// @param bookmark Base64, or empty.
std::string withFolderBookmark(std::string_view file, std::string_view bookmark);

/// Whether the copy is what the mirror should hold of the roll file: equal bytes but for the reference to
/// the folder, or the same record.
bool agreesWithMirror(std::string_view rollFile, std::string_view copy);

/// The name that the user knows a roll by.
std::string rollName(const VaultRollManifest& manifest);

/// Reads a frontmatter file; one that is longer than any such file may be is an error.
FileResult<std::string> readVaultFile(const Files& files, const Path& file);

}  // namespace kelvaris

#include "vault/mirror_documents.h"

#include <utility>

#include "vault/vault_documents.h"
#include "vault/yaml_limits.h"

namespace kelvaris {

namespace {

constexpr std::string_view bookmarkKey = "\nfolderBookmark: ";

}  // namespace

MirrorPaths MirrorPaths::under(const Path& folder) {
    const Path base = folder / "Kelvaris";
    return {.base = base,
            .rolls = base / "rolls",
            .preferencesFile = base / "preferences.md",
            .schemaFile = base / "SCHEMA.md"};
}

VaultRollManifest asMirrored(VaultRollManifest manifest) {
    manifest.folderBookmark.clear();
    return manifest;
}

VaultPreferences asMirrored(VaultPreferences preferences) {
    return withMachineOf(std::move(preferences), VaultPreferences());
}

VaultPreferences withMachineOf(VaultPreferences mirrored, const VaultPreferences& local) {
    mirrored.mirrorEnabled = local.mirrorEnabled;
    mirrored.mirrorFolderBookmark = local.mirrorFolderBookmark;
    mirrored.mirrorFolderPath = local.mirrorFolderPath;
    return mirrored;
}

std::string withFolderBookmark(std::string_view file, std::string_view bookmark) {
    // A value in column 0 behind a line feed is the key of the document itself: continued lines are indented.
    const auto key = file.find(bookmarkKey);
    if (key == std::string_view::npos || file.find("\n---") < key) return std::string(file);
    const auto value = key + bookmarkKey.size();
    const auto end = file.find('\n', value);
    if (end == std::string_view::npos) return std::string(file);
    std::string changed(file.substr(0, value));
    changed.append("'").append(bookmark).append("'").append(file.substr(end));
    return changed;
}

bool agreesWithMirror(std::string_view rollFile, std::string_view copy) {
    // Most copies agree byte for byte, and decoding a library takes seconds.
    if (withFolderBookmark(rollFile, "") == copy) return true;
    auto local = decodedRollFile(rollFile);
    const auto mirrored = decodedRollFile(copy);
    return local && mirrored && asMirrored(std::move(*local)) == *mirrored;
}

std::string rollName(const VaultRollManifest& manifest) { return Path(manifest.folderPath).filename(); }

FileResult<std::string> readVaultFile(const Files& files, const Path& file) {
    const auto bytes = files.read(file, static_cast<std::int64_t>(YamlLimits().bytes));
    if (!bytes) return Unexpected(bytes.error());
    return std::string(asText(*bytes));
}

}  // namespace kelvaris

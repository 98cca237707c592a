#include "vault/restore_decision.h"

#include <utility>

#include "base/text.h"
#include "vault/mirror_documents.h"
#include "vault/vault_documents.h"

namespace kelvaris {

namespace {

using Act = RestoreDecision::Act;

/// @param isSame whether a record that stands here says what the mirror's says; nothing without a record.
Act actFor(std::optional<bool> isSame, const FileVersion& mirrored, const std::optional<FileVersion>& local,
           bool replacesNewer) {
    if (!isSame) return Act::take;
    if (*isSame) return Act::leave;
    // Without both times nobody knows which is the later work, and what stands here is not given away.
    const bool isOlder = local->modified && mirrored.modified && *local->modified <= *mirrored.modified;
    return isOlder || replacesNewer ? Act::replace : Act::keepNewer;
}

/// The mirror's file with the reference to the folder that this machine has, as long as it is one folder.
std::string withLocalBookmark(const std::string& mirrored, const VaultRollManifest& record,
                              const std::optional<VaultRollManifest>& local) {
    if (!local || local->folderBookmark.empty() || local->folderPath != record.folderPath) return mirrored;
    std::string bytes = withFolderBookmark(mirrored, local->folderBookmark);
    const auto changed = decodedRollFile(bytes);
    const bool isSound = changed && asMirrored(*changed) == asMirrored(record);
    return isSound ? std::move(bytes) : mirrored;
}

}  // namespace

RestoreDecision decidedRoll(const std::string& stem, const FileVersion& mirrored,
                            const std::optional<FileVersion>& local, bool replacesNewer) {
    RestoreDecision decision;
    const auto record = decodedRollFile(mirrored.bytes);
    if (!record) {
        decision.reason = record.error().reason;
        return decision;
    }
    decision.name = rollName(*record);
    decision.id = record->id;
    if (asciiLowercased(stem) != asciiLowercased(record->id)) {
        decision.reason = "Its name is not the id that it holds";
        return decision;
    }
    const auto here = local ? decodedRollFile(local->bytes).toOptional() : std::nullopt;
    const auto isSame = here ? std::optional(asMirrored(*here) == asMirrored(*record)) : std::nullopt;
    decision.act = actFor(isSame, mirrored, local, replacesNewer);
    if (decision.act == Act::take || decision.act == Act::replace) {
        decision.bytes = withLocalBookmark(mirrored.bytes, *record, here);
    }
    return decision;
}

RestoreDecision decidedPreferences(const FileVersion& mirrored, const std::optional<FileVersion>& local,
                                   bool replacesNewer, const Language& language, const Clock& clock) {
    RestoreDecision decision;
    const auto record = decodedPreferencesFile(mirrored.bytes);
    if (!record) {
        decision.reason = record.error().reason;
        return decision;
    }
    const auto here = local ? decodedPreferencesFile(local->bytes).toOptional() : std::nullopt;
    const auto isSame = here ? std::optional(asMirrored(*here) == asMirrored(*record)) : std::nullopt;
    decision.act = actFor(isSame, mirrored, local, replacesNewer);
    if (decision.act == Act::take) decision.bytes = mirrored.bytes;
    if (decision.act != Act::replace) return decision;
    auto bytes = encodedPreferencesFile(withMachineOf(*record, *here), language, clock);
    decision.bytes = bytes ? std::move(*bytes) : mirrored.bytes;
    return decision;
}

}  // namespace kelvaris

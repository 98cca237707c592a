#pragma once

#include <optional>
#include <vector>

#include "library/film_roll.h"
#include "vault/roll_manifest.h"
#include "vocabulary/photo_embeddings.h"

namespace kelvaris {

// Between the live roll and its stored form. Main thread, where a roll is named; no file is touched.

/// What the roll's file holds of it now.
/// @param fingerprint of the folder's image files.
VaultRollManifest buildManifest(const FilmRoll& roll, std::vector<FileFingerprint> fingerprint);

/// What the roll's sidecar holds of it now: photos without any vector have no record, faces without a
/// vector no slot.
EmbeddingsByFilename buildEmbeddings(const FilmRoll& roll);

/// Puts the stored form onto a roll. An absent text leaves the live value, an absent state clears it. Entries
/// join photos by file name, the first of two entries wins; photos without an entry stay as they are, and an
/// entry without a photo becomes a missing one. What analysis of another version found is left out, so that
/// the photo is analysed again; what the user decided always counts. Afterwards no two photos share a
/// sortIndex, and the photos stand in the roll's order.
/// @param embeddings the sidecar; empty when there is none.
/// @return false, with nothing touched, when the manifest is not valid.
bool applyManifest(const VaultRollManifest& manifest, EmbeddingsByFilename embeddings, FilmRoll& roll);

/// Puts what somebody else wrote into the roll's file onto the live roll: an absent text is an empty one, and
/// vectors stay. Photos that the manifest does not name stay as they are. @pre the manifest is valid
void takeInManifest(const VaultRollManifest& manifest, FilmRoll& roll);

/// Joins face boxes with their vectors, by position. Vectors count only when there are as many as boxes;
/// otherwise every region has an empty one, to be made anew.
/// @param entries none: faces were not looked for.
std::optional<std::vector<FaceRegion>> restoreFaceRegions(
    const std::optional<std::vector<FaceRegionEntry>>& entries, std::vector<std::vector<float>> vectors);

}  // namespace kelvaris

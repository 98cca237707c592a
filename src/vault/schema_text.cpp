#include <fmt/format.h>

#include <concepts>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "base/describe.h"
#include "vault/bodies.h"

namespace kelvaris {

namespace {

template <class T>
struct TypeName {
    static std::string text() {
        if constexpr (std::same_as<T, bool>) {
            return "true or false";
        } else if constexpr (std::integral<T>) {
            return "integer";
        } else if constexpr (std::floating_point<T>) {
            return "number";
        } else if constexpr (std::same_as<T, std::string>) {
            return "text";
        } else if constexpr (std::same_as<T, Instant>) {
            return "date";
        } else if constexpr (HasRawValues<T>) {
            return std::integral<RawValueOf<T>> ? "integer" : "word";
        } else {
            return "record";
        }
    }
};
template <class Tag>
struct TypeName<Identifier<Tag>> {
    static std::string text() { return "UUID"; }
};
template <class T>
struct TypeName<std::vector<T>> {
    static std::string text() { return "list of " + TypeName<T>::text(); }
};
template <class T>
struct TypeName<std::map<std::string, T>> {
    static std::string text() { return "map of text to " + TypeName<T>::text(); }
};

/// The visitor that writes one row a key.
class TableWriter {
public:
    template <class T>
    void required(const char* key, T&, const char* meaning) {
        addRow(key, TypeName<T>::text(), "yes", meaning);
    }
    template <class T>
    void optional(const char* key, std::optional<T>&, const char* meaning) {
        addRow(key, TypeName<T>::text(), "no", meaning);
    }
    std::string take() { return std::move(table_); }

private:
    void addRow(const char* key, const std::string& type, const char* isRequired, const char* meaning) {
        table_ += fmt::format("| `{}` | {} | {} | {} |\n", key, type, isRequired, meaning);
    }
    std::string table_ = "| Key | Type | Required | Meaning |\n|---|---|---|---|\n";
};

template <class Record>
std::string table() {
    Record record;
    TableWriter writer;
    describe(writer, record);
    return writer.take();
}

std::string makeSchemaText() {
    constexpr std::string_view text = R"(# Kelvaris Vault Schema

This folder is your photo library without the photos: what you and the analysis know about each roll of
film, in plain files that any text editor opens. Your scans stay where they are and are never changed.

## Directory layout

```
vault/
  SCHEMA.md                     this text
  preferences.md                your settings, favorites and corrections
  preferences.md.bak1 … .bak3   earlier versions, .bak1 the latest
  rolls/
    <roll id>.md                one file a roll
    <roll id>.md.bak1 … .bak3   earlier versions, .bak1 the latest
  removed/<day>/                files of rolls that were removed on that day
embeddings/
  <roll id>.bin                 vectors of the roll's photos, beside the vault
```

A roll id is a UUID in upper case; a file in lower case is the same roll. Other files are left alone.

Beside a file may lie what a save would have lost: `.damaged-<time>` is a version that could not be read,
`.theirs-<time>` one that another program wrote, `.refused-<time>` a save that was not let through. They may
be deleted.

## File format

Each `.md` file is UTF-8. It begins with YAML between two lines of `---`, the frontmatter. Below stands a
Markdown body for reading. Only the frontmatter is authoritative: the body is made anew at each save, and
editing it changes nothing. Dates are in UTC. Keys that have no value are left out.

A file is read strictly: a required key that is missing, a value of the wrong type, an unknown word where
the words are fixed, or a key given twice makes the whole file damaged. The program then goes on with all
values that can be read, as long as the YAML is whole, and else with the newest backup. A damaged file is left
as it is until the roll is saved again; it is then set aside.

## Durable vs. derived (the core split)

What you decided and what is worth keeping stands in the `.md` files: dates, places, labels, rotations,
notes, camera and film, scores and face boxes. The long vectors behind similarity and face search stand in
`embeddings/`; they can always be computed again, so that folder may be deleted at the cost of time.
Thumbnails live in the cache folder and are made anew as well. `folderBookmark` is a reference that means
something on this machine only; a mirror holds it empty.

## The `source` rule — manual decisions are durable

Date, location and rotation each carry a source: `autoDetect` (the analysis), `exif` (the image file),
`photo` (you, on one photo) or `roll` (you, over the whole roll). Only a value whose source is `autoDetect`
may be discarded and computed again. A rotation that you set, 0 degrees included, always stays, and so does
a rotation once accepted when the version of the analysis changes.

## Roll frontmatter fields

{roll}
Each entry of `fileFingerprint`:

{fingerprint}
## Per-photo entry

Each entry of `photos`. Entries of files that are no longer in the folder are dropped at the next save, and
files without an entry join the roll as new photos.

{photo}
Each entry of `faceRegions`. Boxes are in the coordinates of the unrotated picture; their vectors stand in
the sidecar, in the same order.

{face}
`faceAnalysisStamp`:

{stamp}
`orientationDecision`:

{orientation}
Labels, scores, colors, hash, place categories and style labels are taken only when `analysisVersion` is
{analysisVersion}; otherwise the photo is analyzed again. Face boxes and their stamps survive a change of
that version.

A rotated photo whose `orientationCacheVersion` is absent or other than {cacheVersion} was measured before
its rotation was taken into account: its scene vector, its hash and the vectors of its faces are discarded
and made again. The rotation stays. The version in the file rises once they were made.

## Preferences

`preferences.md` is valid when `exportQuality` lies within 0 and 1, `locationMaxGapHours` within 1 and 168,
and `dateIntervalSeconds` is at least 0. An invalid file is ignored whole, and the settings of this machine
stay in force. The three keys of the mirror are not in the mirror's copy.

{preferences}
Each entry of `favoriteCameras`:

{camera}
Each entry of `favoriteFilmStocks`:

{stock}
## Embeddings sidecar

`embeddings/<roll id>.bin` holds, in little-endian 32-bit words: the letters `KVEM`, the format version 1,
the number of photos; then for each photo, by ascending bytes of its file name: the length of the name in
bytes, the name in UTF-8, the number of floats of the scene vector (0 for none) and the floats, the number
of faces, and for each face the number of floats and the floats. File names join it to the roll's file. A
damaged sidecar counts as none.

## Durability guarantee

This format only changes by additions. Unknown keys are ignored, and dropped when the file is written
again. Missing keys are optional and take their default. Saving a file again upgrades it in place, to
version {rollVersion}. Each file is replaced as a whole, so a crash leaves the old one or the new one.

## Alternative we did not take

A sidecar file beside each image would travel with the scans. It would also write into folders that may be
read-only, synced or shared, scatter a roll over dozens of files, and tear a roll apart when a save is cut
short. One vault that can be mirrored as a folder keeps the scans untouched and a roll in one piece.

## Face group corrections

`faceGroupingEdits` in `preferences.md` holds what you corrected in the groups of faces. Faces are named by
their box in a photo of a roll, not by a number, so corrections hold when faces are detected again.

{edits}
Each entry of `groups`:

{group}
Each member of a group, and each entry of `separated`:

{anchor})";
    return fmt::format(
        text, fmt::arg("roll", table<VaultRollManifest>()), fmt::arg("fingerprint", table<FileFingerprint>()),
        fmt::arg("photo", table<PhotoManifestEntry>()), fmt::arg("face", table<FaceRegionEntry>()),
        fmt::arg("stamp", table<FaceAnalysisStamp>()), fmt::arg("orientation", table<OrientationDecision>()),
        fmt::arg("analysisVersion", VaultRollManifest::currentAnalysisVersion),
        fmt::arg("cacheVersion", VaultRollManifest::currentOrientationCacheVersion),
        fmt::arg("rollVersion", VaultRollManifest::currentVersion),
        fmt::arg("preferences", table<VaultPreferences>()), fmt::arg("camera", table<FavoriteCamera>()),
        fmt::arg("stock", table<FavoriteFilmStock>()), fmt::arg("edits", table<FaceGroupingEdits>()),
        fmt::arg("group", table<ManualFaceGroup>()), fmt::arg("anchor", table<FaceAnchor>()));
}

}  // namespace

const std::string& schemaText() {
    static const std::string text = makeSchemaText();
    return text;
}

}  // namespace kelvaris

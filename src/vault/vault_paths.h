#pragma once

#include "base/path.h"
#include "base/uuid.h"

namespace kelvaris {

/// Where everything of a vault stands.
struct VaultPaths {
    Path root;
    Path vault;       ///< everything durable
    Path rolls;       ///< "<roll id>.md" with ".bak1" to ".bak3" behind
    Path removed;     ///< rolls that were put aside, in a folder a day
    Path embeddings;  ///< beside the vault: "<roll id>.bin"
    Path preferencesFile;
    Path schemaFile;
    Path lockFile;            ///< held by the one program that may write
    Path thumbnailCacheBase;  ///< a folder a roll; can be made anew

    static VaultPaths under(const Path& root, const Path& thumbnailCacheBase);

    /// Where a new roll's file goes. One that was read stays where it was found.
    Path rollFile(RollID id) const { return rolls / (id.text() + ".md"); }
    Path embeddingsFile(RollID id) const { return embeddings / (id.text() + ".bin"); }
    Path thumbnailFolder(RollID id) const { return thumbnailCacheBase / id.text(); }
};

/// A file's backups: 1 is the version before the last save, backupCount the oldest.
inline constexpr int backupCount = 3;
Path backupPath(const Path& file, int number);

}  // namespace kelvaris

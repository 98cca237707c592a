#include "vault/vault_store.h"

#include <fmt/format.h>

#include "base/log.h"
#include "vault/bodies.h"

namespace kelvaris {

VaultPaths VaultPaths::under(const Path& root, const Path& thumbnailCacheBase) {
    const Path vault = root / "vault";
    return {.root = root,
            .vault = vault,
            .rolls = vault / "rolls",
            .removed = vault / "removed",
            .embeddings = root / "embeddings",
            .preferencesFile = vault / "preferences.md",
            .schemaFile = vault / "SCHEMA.md",
            .lockFile = root / "vault.lock",
            .thumbnailCacheBase = thumbnailCacheBase};
}

Path backupPath(const Path& file, int number) { return Path(fmt::format("{}.bak{}", file.string(), number)); }

/// What programs that were killed had begun to write. The caller holds the lock, so nobody writes now.
void VaultStore::removeAbandonedFiles() {
    for (const Path& folder : {paths_.vault, paths_.rolls, paths_.embeddings}) {
        const auto entries = files_.list(folder, false);
        if (!entries) continue;
        for (const FolderEntry& entry : *entries) {
            if (isPendingFileName(entry.path.filename())) (void)files_.removeFile(entry.path);
        }
    }
}

void VaultStore::ensureDirectoriesExist() {
    for (const Path& folder : {paths_.vault, paths_.rolls, paths_.embeddings, paths_.thumbnailCacheBase}) {
        (void)files_.createDirectories(folder);
    }
    removeAbandonedFiles();
    const auto bytes = files_.read(paths_.schemaFile, static_cast<std::int64_t>(schemaText().size()));
    if (!bytes || asText(*bytes) != schemaText()) {
        const auto written = files_.writeAtomically(paths_.schemaFile, asBytes(schemaText()));
        if (!written) log::info("Vault", "SCHEMA.md was not written: {}", written.error().message);
    }
}

void VaultStore::removeRoll(RollID id) {
    const Path file = paths_.rollFile(id);
    (void)files_.removeFile(file);
    for (int number = 1; number <= backupCount; ++number) (void)files_.removeFile(backupPath(file, number));
    (void)files_.removeFile(paths_.embeddingsFile(id));
    (void)files_.removeTree(paths_.thumbnailFolder(id));
}

}  // namespace kelvaris

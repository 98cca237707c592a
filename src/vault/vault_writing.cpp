// The half of the store that writes: nothing that it replaces is ever without a copy.

#include <fmt/format.h>

#include <utility>

#include "base/log.h"
#include "vault/embedding_sidecar.h"
#include "vault/vault_documents.h"
#include "vault/vault_store.h"
#include "vault/yaml_limits.h"

namespace kelvaris {

namespace {

using Kind = Replacement::Kind;
using Code = FileError::Code;

constexpr std::string_view damagedWord = "damaged";
constexpr std::string_view theirsWord = "theirs";

/// "20261123T125930Z"
std::string compactTime(Instant instant) {
    const CivilTime time = utcCivilTime(instant);
    return fmt::format("{:04}{:02}{:02}T{:02}{:02}{:02}Z", time.year, time.month, time.day, time.hour,
                       time.minute, time.second);
}

/// What the bytes in a file's place are to the program that replaces them.
struct OldBytes {
    std::string damage;      ///< why they do not decode
    bool isAnother = false;  ///< they decode as another roll
};

OldBytes judged(std::string_view bytes, const Path& file, const Path& preferencesFile) {
    if (file == preferencesFile) {
        const auto record = decodedPreferencesFile(bytes);
        return {.damage = record ? "" : record.error().reason};
    }
    const auto record = decodedRollFile(bytes);
    if (!record) return {.damage = record.error().reason};
    return {.isAnother = RollID::parse(record->id) != RollID::parse(file.stem())};
}

VaultProblem damagedProblem(const Path& file, std::string_view reason, const Path& kept) {
    return {VaultProblem::Kind::damaged, file,
            fmt::format("{}: did not decode ({}); it is kept as {}", file.string(), reason, kept.filename())};
}

VaultProblem theirsProblem(const Path& file, const Path& kept) {
    return {VaultProblem::Kind::theirs, file,
            fmt::format("{}: another program changed it; that version is kept as {}", file.string(),
                        kept.filename())};
}

Replacement failedWriting(const Path& file, const FileError& error) {
    log::error("Vault", "Failed to write vault file {}: {}", file.filename(), error.message);
    return {.kind = Kind::failed, .stamp = {}, .error = error.message, .problems = {}};
}

Replacement saved(Kind kind, std::string_view bytes, std::vector<VaultProblem> problems = {}) {
    for (const VaultProblem& problem : problems) log::error("Vault", "{}", problem.text);
    return {.kind = kind, .stamp = FileStamp::of(bytes), .error = {}, .problems = std::move(problems)};
}

}  // namespace

Replacement VaultStore::replaceWithBackups(const Path& file, std::string_view bytes,
                                           const std::optional<FileStamp>& lastKnown) {
    const auto present = files_.read(file, static_cast<std::int64_t>(YamlLimits().bytes));
    const bool isAbsent = !present && present.error().code == Code::notFound;
    if (!present && !isAbsent) {
        const auto kept = swapAside(file, asBytes(bytes), Durability::durable);
        if (!kept) return failedWriting(file, kept.error());
        return saved(Kind::written, bytes, {damagedProblem(file, present.error().message, *kept)});
    }
    const std::string_view old = isAbsent ? std::string_view() : asText(*present);
    if (!isAbsent && old == bytes) return saved(Kind::unchanged, bytes);

    // The new bytes lie beside the file before anything else moves: saves onto a full disk fail here, and
    // must not push good backups out one by one.
    auto pending = files_.beginWrite(file);
    if (!pending) return failedWriting(file, pending.error());
    if (const auto written = (*pending)->write(asBytes(bytes)); !written)
        return failedWriting(file, written.error());

    std::vector<VaultProblem> problems;
    const OldBytes judgement = isAbsent ? OldBytes() : judged(old, file, paths_.preferencesFile);
    const bool isDamaged = !judgement.damage.empty();
    const bool isTheirs = judgement.isAnother || (lastKnown && *lastKnown != FileStamp::of(old));
    if (!isAbsent && (isDamaged || isTheirs)) {
        const auto kept = keepBeside(file, isDamaged ? damagedWord : theirsWord, old);
        if (!kept) return failedWriting(file, kept.error());
        problems.push_back(isDamaged ? damagedProblem(file, judgement.damage, *kept)
                                     : theirsProblem(file, *kept));
    } else if (!isAbsent) {
        turnBackups(file, old);
    }
    if (const auto committed = (*pending)->commit(); !committed)
        return failedWriting(file, committed.error());
    return saved(Kind::written, bytes, std::move(problems));
}

void VaultStore::turnBackups(const Path& file, std::string_view current) {
    const Path newest = backupPath(file, 1);
    // A save that ended before its commit has left this copy already.
    if (const auto copy = files_.read(newest, static_cast<std::int64_t>(current.size()));
        copy && asText(*copy) == current) {
        return;
    }
    int last = 1;  // an empty place takes what would push the oldest one out
    while (last < backupCount && files_.exists(backupPath(file, last))) ++last;
    for (int number = last - 1; number >= 1; --number) {
        if (!files_.replace(backupPath(file, number), backupPath(file, number + 1))) break;
    }
    // A copy, so that the file is never absent. It need not reach the disk before the file's own new
    // version does: until then the file itself is what the copy would save.
    if (const auto kept = files_.writeAtomically(newest, asBytes(current), Durability::cache); !kept) {
        log::error("Vault", "Could not keep {}: {}", newest.filename(), kept.error().message);
    }
}

Path VaultStore::freePlaceBeside(const Path& file, std::string_view word) const {
    const std::string name = fmt::format("{}.{}-{}", file.filename(), word, compactTime(clock_.now()));
    Path place = file.parent() / name;
    for (int number = 2; files_.exists(place); ++number) {
        place = file.parent() / fmt::format("{}-{}", name, number);
    }
    return place;
}

FileResult<Path> VaultStore::keepBeside(const Path& file, std::string_view word, std::string_view bytes) {
    const std::string prefix = fmt::format("{}.{}-", file.filename(), word);
    if (const auto entries = files_.list(file.parent())) {
        for (const FolderEntry& entry : *entries) {  // a save that is tried again keeps nothing twice
            if (!entry.path.filename().starts_with(prefix)) continue;
            const auto kept = files_.read(entry.path, static_cast<std::int64_t>(bytes.size()));
            if (kept && asText(*kept) == bytes) return entry.path;
        }
    }
    const Path place = freePlaceBeside(file, word);
    if (auto written = files_.writeAtomically(place, asBytes(bytes)); !written)
        return Unexpected(written.error());
    return place;
}

/// Puts the bytes in the place of a file that cannot be read or copied, and keeps that one beside. The
/// names are exchanged, so that no moment sees either file missing.
FileResult<Path> VaultStore::swapAside(const Path& file, ByteView bytes, Durability durability) {
    const Path place = freePlaceBeside(file, damagedWord);
    if (auto written = files_.writeAtomically(place, bytes, durability); !written)
        return Unexpected(written.error());
    if (auto exchanged = files_.exchange(file, place); !exchanged) {
        (void)files_.removeFile(place);
        return Unexpected(exchanged.error());
    }
    if (durability == Durability::cache) return place;
    // Once more, since only a whole write flushes the folder and with it the new names.
    if (auto flushed = files_.writeAtomically(file, bytes, durability); !flushed)
        return Unexpected(flushed.error());
    return place;
}

Replacement VaultStore::writeEmbeddings(RollID id, const EmbeddingsByFilename& embeddings, bool mayReplace) {
    const Path file = paths_.embeddingsFile(id);
    const auto failed = [&](const FileError& error) {
        log::error("Vault", "Failed to write embeddings sidecar for {}: {}", id.text(), error.message);
        return Replacement{.kind = Kind::failed, .stamp = {}, .error = error.message, .problems = {}};
    };
    const auto present = files_.map(file);
    const bool isAbsent = !present && present.error().code == Code::notFound;
    const std::string_view old = present ? asText((*present)->bytes()) : std::string_view();
    if (isAbsent && embeddings.empty()) return saved(Kind::unchanged, {});
    const Bytes bytes = embeddings.empty() ? Bytes() : EmbeddingSidecar::encode(embeddings);
    if (present && !embeddings.empty() && old == asText(bytes)) return saved(Kind::unchanged, asText(bytes));

    // An empty file is what a power cut leaves of a write that was not flushed; there is nothing to keep.
    const bool isUsable =
        present && (old.empty() || (mayReplace && EmbeddingSidecar::decode((*present)->bytes())));
    if (embeddings.empty()) {
        if (!isUsable) return saved(Kind::unchanged, old);
        if (const auto removed = files_.removeFile(file); !removed) return failed(removed.error());
        return saved(Kind::written, {});
    }
    if (isAbsent || isUsable) {
        const auto written = files_.writeAtomically(file, bytes, Durability::cache);
        return written ? saved(Kind::written, asText(bytes)) : failed(written.error());
    }
    const auto kept = swapAside(file, bytes, Durability::cache);
    if (!kept) return failed(kept.error());
    return saved(Kind::written, asText(bytes),
                 {{VaultProblem::Kind::unusableVectors, file,
                   fmt::format("{}: its vectors could not be read; they are kept as {}", file.string(),
                               kept->filename())}});
}

}  // namespace kelvaris

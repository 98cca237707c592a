#pragma once

#include <optional>
#include <string>
#include <vector>

#include "models/gzip_reader.h"
#include "platform/files.h"

namespace kelvaris {

/// What stands in an archive under one name.
struct TarEntry {
    enum class Kind { file, folder, other };  ///< other: links, devices, and all that belongs to them
    std::string name;                         ///< as it stands there, valid UTF-8
    std::int64_t size = 0;                    ///< as it claims, not negative
    Kind kind = Kind::other;
};

/// Walks a ustar archive (IEEE 1003.1) from entry to entry. One thread at a time.
class TarReader {
public:
    explicit TarReader(ByteStream& archive);

    /// Steps over what was not read of the last entry, to the next one.
    /// @return nothing at the end; extractionFailed for damage, also behind the last entry.
    DownloadResult<std::optional<TarEntry>> next();
    /// The entry's data, piece by piece. @return how much; 0 at its end.
    DownloadResult<std::size_t> read(std::span<std::uint8_t> target);

private:
    DownloadResult<std::size_t> fill(std::span<std::uint8_t> target);

    ByteStream& archive_;
    Bytes piece_;
    std::int64_t left_ = 0;    ///< of the entry's data
    std::size_t filling_ = 0;  ///< behind it, to the end of its last block
};

/// The steps of the path below the destination that an entry's name leads to, with "." and ".." worked
/// out; nothing when it leads out. The destination is absolute.
std::optional<std::vector<std::string>> stepsBelow(const Path& destination, const std::string& name);

/// Unpacks a ustar archive below the destination, which must exist: files and folders alone; links and
/// entries of every other kind are skipped, and no permissions or times are applied.
/// A name that leads out of the destination ends the unpacking before anything of it is written; what
/// was written before stays. Data is written as it comes, whatever size an entry claims.
DownloadResult<void> extractTar(ByteStream& archive, Files& files, const Path& destination,
                                Durability durability);

}  // namespace kelvaris

#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "base/bytes.h"
#include "base/instant.h"
#include "base/path.h"
#include "base/result.h"

namespace kelvaris {

/// Why a file operation failed, with the words that a user is shown.
struct FileError {
    enum class Code {
        notFound,
        permissionDenied,
        noSpace,
        alreadyExists,
        notADirectory,
        isADirectory,
        crossesDevices,
        readOnly,
        tooLarge,
        inUse,
        other,
    };
    Code code = Code::other;
    std::string message;  ///< the system's own description, for example "No space left on device"
};

template <class T>
using FileResult = Result<T, FileError>;

struct FileInfo {
    bool isRegularFile = false;
    bool isDirectory = false;
    std::int64_t size = 0;
    std::optional<Instant> created;
    std::optional<Instant> modified;
    std::uint64_t device = 0;
    std::uint64_t inode = 0;
};

struct FolderEntry {
    Path path;
    std::optional<FileInfo> info;  ///< of what a link leads to; absent when it cannot be read
};

/// The whole of a file's bytes, kept readable for as long as this lives. What another program cuts off
/// meanwhile, or a disk that was pulled out no longer gives, reads as zeros.
class MappedFile {
public:
    virtual ~MappedFile() = default;
    virtual ByteView bytes() const = 0;
};

/// A file being written beside its target. Without commit(), nothing of it stays.
class PendingFile {
public:
    virtual ~PendingFile() = default;
    virtual FileResult<void> write(ByteView bytes) = 0;
    /// Flushes the bytes to the disk, moves the file over its target, and flushes the folder.
    /// After an error the target is what it was, and the pending file is gone.
    virtual FileResult<void> commit() = 0;
};

/// Whether the name is that of a file that was being written beside its target. One that outlived its
/// program, which was killed, is of no use.
bool isPendingFileName(std::string_view name);

/// Held while a process may write; released with the object.
class FileLock {
public:
    virtual ~FileLock() = default;
};

/// How much a write must outlive.
enum class Durability {
    durable,  ///< a crash or a power cut leaves the old file or the new one
    cache,    ///< as atomic, but not flushed: what can be made anew
};

/// The file system. Any thread. Paths are UTF-8; a name on disk that is not UTF-8 is seen under an
/// escaped form (each foreign byte b as U+10FE00 + b) that leads back to the same file. A write to a path
/// that is a link takes the link's place.
class Files {
public:
    virtual ~Files() = default;

    /// @param limit a longer file is Code::tooLarge.
    virtual FileResult<Bytes> read(const Path& path, std::int64_t limit = INT64_MAX) const = 0;
    virtual FileResult<std::unique_ptr<MappedFile>> map(const Path& path) const = 0;
    /// Follows links.
    virtual FileResult<FileInfo> info(const Path& path) const = 0;
    /// The one path of an existing file or folder that leads over no link.
    virtual FileResult<Path> canonical(const Path& path) const = 0;
    /// The immediate contents in the system's own order. Entries that vanish meanwhile are left out.
    virtual FileResult<std::vector<FolderEntry>> list(const Path& folder, bool skipHidden = true) const = 0;
    virtual FileResult<std::int64_t> freeSpace(const Path& folder) const = 0;

    /// Begins a file that will stand at the path; the folder must exist.
    virtual FileResult<std::unique_ptr<PendingFile>> beginWrite(
        const Path& path, Durability durability = Durability::durable) = 0;
    /// With every missing folder above it; an existing folder is no error.
    virtual FileResult<void> createDirectories(const Path& path) = 0;
    virtual FileResult<void> removeFile(const Path& path) = 0;
    /// A folder with all that is in it; links are removed, not followed.
    virtual FileResult<void> removeTree(const Path& path) = 0;
    /// Renames within one file system; an existing target is Code::alreadyExists.
    virtual FileResult<void> move(const Path& from, const Path& to) = 0;
    /// Renames over an existing file.
    virtual FileResult<void> replace(const Path& from, const Path& to) = 0;
    /// Swaps two existing files or folders of one file system, so that no moment sees either missing.
    virtual FileResult<void> exchange(const Path& a, const Path& b) = 0;
    /// Copies a file's bytes over the target, atomically.
    virtual FileResult<void> copyFile(const Path& from, const Path& to) = 0;
    /// Takes the lock file for this process; Code::inUse when another process holds it.
    virtual FileResult<std::unique_ptr<FileLock>> lock(const Path& path) = 0;

    /// Writes the bytes as one atomic, durable file.
    FileResult<void> writeAtomically(const Path& path, ByteView bytes,
                                     Durability durability = Durability::durable);
    bool exists(const Path& path) const { return info(path).has_value(); }
    bool isDirectory(const Path& path) const;
};

}  // namespace kelvaris

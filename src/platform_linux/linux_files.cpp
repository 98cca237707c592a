#include "platform_linux/linux_files.h"

#include <dirent.h>
#include <fcntl.h>
#include <stdio.h>
#include <stdlib.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <filesystem>

#include "platform_linux/file_errors.h"
#include "platform_linux/mapped_memory.h"
#include "platform_linux/native_path.h"
#include "platform_linux/pending_linux_file.h"

namespace kelvaris {

namespace {

constexpr std::size_t copyChunk = 1 << 20;

Instant instantOf(const statx_timestamp& time) {
    return Instant(std::chrono::duration_cast<Ticks>(std::chrono::seconds(time.tv_sec) +
                                                     std::chrono::nanoseconds(time.tv_nsec)));
}

/// @return 0 or the error number.
int readInfo(int folder, const char* name, int flags, FileInfo& info) {
    struct statx found {};
    if (statx(folder, name, flags, STATX_BASIC_STATS | STATX_BTIME, &found) != 0) return errno;
    info.isRegularFile = S_ISREG(found.stx_mode);
    info.isDirectory = S_ISDIR(found.stx_mode);
    info.size = static_cast<std::int64_t>(found.stx_size);
    info.modified = instantOf(found.stx_mtime);
    if ((found.stx_mask & STATX_BTIME) != 0) info.created = instantOf(found.stx_btime);
    info.device = (static_cast<std::uint64_t>(found.stx_dev_major) << 32) | found.stx_dev_minor;
    info.inode = found.stx_ino;
    return 0;
}

struct OpenedFile {
    Descriptor descriptor;
    std::size_t size = 0;
};

/// Opens a regular file for reading; nothing else (a pipe would block for ever).
FileResult<OpenedFile> openRegular(const Path& path) {
    Descriptor descriptor(open(nativePath(path).c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
    if (!descriptor) return systemFailure(errno);
    struct stat found {};
    if (fstat(descriptor.get(), &found) != 0) return systemFailure(errno);
    if (S_ISDIR(found.st_mode)) return systemFailure(EISDIR);
    if (!S_ISREG(found.st_mode)) return systemFailure(EINVAL);
    return OpenedFile{std::move(descriptor), static_cast<std::size_t>(found.st_size)};
}

/// @return the bytes read, fewer than asked only at the end of the file; -1 with errno on an error.
ssize_t readFully(int descriptor, std::uint8_t* into, std::size_t size) {
    std::size_t filled = 0;
    while (filled < size) {
        const ssize_t count = ::read(descriptor, into + filled, size - filled);
        if (count < 0 && errno == EINTR) continue;
        if (count < 0) return -1;
        if (count == 0) break;
        filled += static_cast<std::size_t>(count);
    }
    return static_cast<ssize_t>(filled);
}

FileResult<void> resultOf(int returned) {
    if (returned != 0) return systemFailure(errno);
    return {};
}

class HeldLock final : public FileLock {
public:
    explicit HeldLock(Descriptor descriptor) : descriptor_(std::move(descriptor)) {}

private:
    Descriptor descriptor_;  // closing it lets the lock go
};

}  // namespace

FileResult<Bytes> LinuxFiles::read(const Path& path, std::int64_t limit) const {
    const auto file = openRegular(path);
    if (!file) return Unexpected(file.error());
    if (limit >= 0 && file->size > static_cast<std::uint64_t>(limit)) return systemFailure(EFBIG);
    Bytes bytes(file->size);
    const ssize_t count = readFully(file->descriptor.get(), bytes.data(), bytes.size());
    if (count < 0) return systemFailure(errno);
    bytes.resize(static_cast<std::size_t>(count));
    return bytes;
}

FileResult<std::unique_ptr<MappedFile>> LinuxFiles::map(const Path& path) const {
    const auto file = openRegular(path);
    if (!file) return Unexpected(file.error());
    return mapDescriptor(file->descriptor.get(), file->size);
}

FileResult<FileInfo> LinuxFiles::info(const Path& path) const {
    FileInfo info;
    if (const int reason = readInfo(AT_FDCWD, nativePath(path).c_str(), 0, info))
        return systemFailure(reason);
    return info;
}

FileResult<Path> LinuxFiles::canonical(const Path& path) const {
    const std::unique_ptr<char, decltype(&free)> found(realpath(nativePath(path).c_str(), nullptr), free);
    if (!found) return systemFailure(errno);
    return Path(pathTextFromNative(found.get()));
}

FileResult<std::vector<FolderEntry>> LinuxFiles::list(const Path& folder, bool skipHidden) const {
    Descriptor opened(open(nativePath(folder).c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (!opened) return systemFailure(errno);
    const std::unique_ptr<DIR, int (*)(DIR*)> stream(fdopendir(dup(opened.get())), closedir);
    if (!stream) return systemFailure(errno);
    std::vector<FolderEntry> entries;
    for (;;) {
        errno = 0;
        const dirent* const entry = readdir(stream.get());
        if (!entry && errno != 0) return systemFailure(errno);
        if (!entry) break;
        const std::string_view name = entry->d_name;
        if (name == "." || name == ".." || (skipHidden && name.starts_with('.'))) continue;
        FileInfo info;
        const bool isReadable = readInfo(opened.get(), entry->d_name, 0, info) == 0;
        FileInfo ofLink;
        if (!isReadable && readInfo(opened.get(), entry->d_name, AT_SYMLINK_NOFOLLOW, ofLink) == ENOENT)
            continue;
        entries.push_back(
            {folder / pathTextFromNative(name), isReadable ? std::optional(info) : std::nullopt});
    }
    return entries;
}

FileResult<std::int64_t> LinuxFiles::freeSpace(const Path& folder) const {
    struct statvfs found {};
    if (statvfs(nativePath(folder).c_str(), &found) != 0) return systemFailure(errno);
    return static_cast<std::int64_t>(found.f_bavail) * static_cast<std::int64_t>(found.f_frsize);
}

FileResult<std::unique_ptr<PendingFile>> LinuxFiles::beginWrite(const Path& path, Durability durability) {
    return beginPendingFile(path, durability);
}

FileResult<void> LinuxFiles::createDirectories(const Path& path) {
    if (const auto found = info(path)) {
        return found->isDirectory ? FileResult<void>() : FileResult<void>(systemFailure(ENOTDIR));
    }
    const Path parent = path.parent();
    if (!parent.empty() && parent != path) {
        if (auto made = createDirectories(parent); !made) return made;
    }
    if (mkdir(nativePath(path).c_str(), 0777) != 0) {
        const int reason = errno;
        if (reason == EEXIST && isDirectory(path)) return {};  // another program was faster
        return systemFailure(reason);
    }
    const Descriptor above(
        open(parent.empty() ? "." : nativePath(parent).c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    return above ? flushFolder(above.get()) : FileResult<void>();
}

FileResult<void> LinuxFiles::removeFile(const Path& path) {
    return resultOf(unlink(nativePath(path).c_str()));
}

FileResult<void> LinuxFiles::removeTree(const Path& path) {
    FileInfo info;
    const std::string native = nativePath(path);
    if (const int reason = readInfo(AT_FDCWD, native.c_str(), AT_SYMLINK_NOFOLLOW, info)) {
        return systemFailure(reason);
    }
    std::error_code failed;
    std::filesystem::remove_all(native, failed);
    if (failed) return systemFailure(failed.value());
    return {};
}

FileResult<void> LinuxFiles::move(const Path& from, const Path& to) {
    const std::string source = nativePath(from);
    const std::string target = nativePath(to);
    if (renameat2(AT_FDCWD, source.c_str(), AT_FDCWD, target.c_str(), RENAME_NOREPLACE) == 0) return {};
    if (errno != EINVAL && errno != ENOSYS) return systemFailure(errno);
    FileInfo there;  // a file system that can not promise it is asked beforehand
    if (readInfo(AT_FDCWD, target.c_str(), AT_SYMLINK_NOFOLLOW, there) == 0) return systemFailure(EEXIST);
    return resultOf(rename(source.c_str(), target.c_str()));
}

FileResult<void> LinuxFiles::replace(const Path& from, const Path& to) {
    return resultOf(rename(nativePath(from).c_str(), nativePath(to).c_str()));
}

FileResult<void> LinuxFiles::exchange(const Path& a, const Path& b) {
    const std::string first = nativePath(a);
    const std::string second = nativePath(b);
    if (renameat2(AT_FDCWD, first.c_str(), AT_FDCWD, second.c_str(), RENAME_EXCHANGE) == 0) return {};
    if (errno != EINVAL && errno != ENOSYS) return systemFailure(errno);
    // In three moves where the file system knows no exchange, taken back as far as one fails.
    const Path aside = b.parent() / ("." + b.filename() + ".exchange");
    if (auto moved = move(b, aside); !moved) return moved;
    if (auto moved = move(a, b); !moved) {
        static_cast<void>(move(aside, b));
        return moved;
    }
    if (auto moved = move(aside, a); !moved) {
        static_cast<void>(move(b, a));
        static_cast<void>(move(aside, b));
        return moved;
    }
    return {};
}

FileResult<void> LinuxFiles::copyFile(const Path& from, const Path& to) {
    const auto source = openRegular(from);
    if (!source) return Unexpected(source.error());
    auto target = beginWrite(to);
    if (!target) return Unexpected(target.error());
    Bytes chunk(std::clamp<std::size_t>(source->size, 1, copyChunk));
    for (;;) {
        const ssize_t count = readFully(source->descriptor.get(), chunk.data(), chunk.size());
        if (count < 0) return systemFailure(errno);
        if (count == 0) break;
        if (auto written = (*target)->write(ByteView(chunk).first(static_cast<std::size_t>(count)));
            !written) {
            return written;
        }
    }
    return (*target)->commit();
}

FileResult<std::unique_ptr<FileLock>> LinuxFiles::lock(const Path& path) {
    Descriptor descriptor(open(nativePath(path).c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0666));
    if (!descriptor) return systemFailure(errno);
    if (flock(descriptor.get(), LOCK_EX | LOCK_NB) != 0) return systemFailure(errno);
    return std::unique_ptr<FileLock>(std::make_unique<HeldLock>(std::move(descriptor)));
}

}  // namespace kelvaris

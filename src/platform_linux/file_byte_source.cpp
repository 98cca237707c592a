#include "platform_linux/file_byte_source.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

#include "platform_linux/native_path.h"

namespace kelvaris {

FileResult<std::unique_ptr<FileByteSource>> FileByteSource::open(const Path& path) {
    Descriptor descriptor(::open(nativePath(path).c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
    if (!descriptor) return systemFailure(errno);
    struct stat status {};
    if (::fstat(descriptor.get(), &status) != 0) return systemFailure(errno);
    if (S_ISDIR(status.st_mode)) return systemFailure(EISDIR);
    if (!S_ISREG(status.st_mode)) {
        return Unexpected(FileError{FileError::Code::other, "Not a regular file"});
    }
    return std::unique_ptr<FileByteSource>(
        new FileByteSource(std::move(descriptor), static_cast<std::uint64_t>(status.st_size)));
}

bool FileByteSource::readAt(std::uint64_t offset, std::span<std::uint8_t> target) const {
    if (offset > size_ || target.size() > size_ - offset) return false;
    while (!target.empty()) {
        const ssize_t count = ::pread(descriptor(), target.data(), target.size(), static_cast<off_t>(offset));
        if (count < 0 && errno == EINTR) continue;
        if (count <= 0) return false;
        offset += static_cast<std::uint64_t>(count);
        target = target.subspan(static_cast<std::size_t>(count));
    }
    return true;
}

}  // namespace kelvaris

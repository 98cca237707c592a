#pragma once

#include <memory>

#include "base/byte_source.h"
#include "base/path.h"
#include "platform/files.h"
#include "platform_linux/file_errors.h"

namespace kelvaris {

/// A regular file held open: its bytes stay reachable when the name goes. Any thread.
class FileByteSource final : public ByteSource {
public:
    /// Follows links; anything but a regular file is an error, and a pipe is not waited for.
    static FileResult<std::unique_ptr<FileByteSource>> open(const Path& path);

    std::uint64_t size() const override { return size_; }
    bool readAt(std::uint64_t offset, std::span<std::uint8_t> target) const override;

    /// The open file, which stays this object's.
    int descriptor() const { return descriptor_.get(); }

private:
    FileByteSource(Descriptor descriptor, std::uint64_t size)
        : descriptor_(std::move(descriptor)), size_(size) {}

    Descriptor descriptor_;
    std::uint64_t size_;
};

}  // namespace kelvaris

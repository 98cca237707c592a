#pragma once

#include <algorithm>
#include <cstdint>
#include <span>

#include "base/bytes.h"

namespace kelvaris {

/// A file's bytes, read at any place. Nothing is kept in memory, so that the header of a picture of
/// hundreds of megabytes costs a few kilobytes, and a file that shrinks meanwhile is a short read.
class ByteSource {
public:
    virtual ~ByteSource() = default;
    virtual std::uint64_t size() const = 0;
    /// Fills the whole target from that offset on.
    /// @return false when the file ends before, or cannot be read; the target is then undefined.
    virtual bool readAt(std::uint64_t offset, std::span<std::uint8_t> target) const = 0;
};

/// Bytes that are in memory already. Borrows them.
class ViewByteSource final : public ByteSource {
public:
    explicit ViewByteSource(ByteView bytes) : bytes_(bytes) {}

    std::uint64_t size() const override { return bytes_.size(); }
    bool readAt(std::uint64_t offset, std::span<std::uint8_t> target) const override {
        if (offset > bytes_.size() || target.size() > bytes_.size() - offset) return false;
        std::copy_n(bytes_.begin() + static_cast<std::ptrdiff_t>(offset), target.size(), target.begin());
        return true;
    }

private:
    ByteView bytes_;
};

}  // namespace kelvaris

#pragma once

#include "platform/compression.h"

namespace kelvaris {

/// Reads DEFLATE streams of stored blocks, which a test writes by hand; every other block fails.
class FakeCompression final : public Compression {
public:
    std::unique_ptr<InflateStream> makeInflateStream() const override;
    bool makesStreams = true;
};

/// The bytes as a DEFLATE stream of stored blocks.
Bytes storedDeflate(ByteView bytes);

}  // namespace kelvaris

#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>

#include "base/bytes.h"

namespace kelvaris {

/// One raw DEFLATE stream (no gzip or zlib wrapping) on its way through. One thread at a time.
class InflateStream {
public:
    enum class Status {
        goesOn,    ///< consumed or produced something; call again with more input or more room
        finished,  ///< the stream's own end was reached; what is left of the input is not part of it
        failed,    ///< the bytes are no DEFLATE stream
    };
    struct Step {
        Status status = Status::failed;
        std::size_t consumed = 0;
        std::size_t produced = 0;
    };

    virtual ~InflateStream() = default;
    /// Decodes from the input into the output, as far as both reach.
    virtual Step process(ByteView input, std::span<std::uint8_t> output) = 0;
};

/// Any thread.
class Compression {
public:
    virtual ~Compression() = default;
    /// @return nullptr when there is no memory for it.
    virtual std::unique_ptr<InflateStream> makeInflateStream() const = 0;
};

}  // namespace kelvaris

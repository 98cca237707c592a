#pragma once

#include <memory>
#include <string>

#include "base/bytes.h"

namespace kelvaris {

/// A hash over bytes that arrive piece by piece. One thread at a time.
class Digest {
public:
    virtual ~Digest() = default;
    virtual void update(ByteView bytes) = 0;
    /// The hash in lower-case hexadecimal digits. Called once, at the end.
    virtual std::string finish() = 0;
};

/// Any thread.
class Digests {
public:
    virtual ~Digests() = default;
    /// SHA-256, 64 digits.
    virtual std::unique_ptr<Digest> makeSha256() const = 0;
};

}  // namespace kelvaris

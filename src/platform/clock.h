#pragma once

#include "base/instant.h"

namespace kelvaris {

/// The time of day. Any thread.
class Clock {
public:
    virtual ~Clock() = default;
    virtual Instant now() const = 0;
};

}  // namespace kelvaris

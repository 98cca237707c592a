#pragma once

#include "base/monotonic_clock.h"
#include "platform/clock.h"

namespace kelvaris {

class SystemClock final : public Clock {
public:
    Instant now() const override;
};

class SystemMonotonicClock final : public MonotonicClock {
public:
    MonotonicTime now() const override;
};

}  // namespace kelvaris

#include "platform_linux/system_clock.h"

namespace kelvaris {

Instant SystemClock::now() const {
    return Instant(std::chrono::duration_cast<Ticks>(std::chrono::system_clock::now().time_since_epoch()));
}

MonotonicTime SystemMonotonicClock::now() const {
    return std::chrono::duration_cast<MonotonicTime>(std::chrono::steady_clock::now().time_since_epoch());
}

}  // namespace kelvaris

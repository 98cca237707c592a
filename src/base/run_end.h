#pragma once

#include <cstdint>
#include <functional>
#include <memory>

#include "base/lifetime.h"
#include "base/main_queue.h"

namespace kelvaris {

/// How a run of work ended.
enum class RunEnd : std::uint8_t {
    completed,
    cancelled,    ///< called off, taken over by a later run, or dropped by whoever worked on it
    subjectGone,  ///< what the run was for does not exist any more
    failed,       ///< nothing of its work could be done
};

/// Tells the end of one run of work, exactly once, on the main thread. Whoever works on the run holds a
/// copy; the copies are one. When the last of them goes and nobody told, the end is told as cancelled, by
/// a task of the main queue, since the last holder may be a worker. So no run ends in silence.
class RunEnding {
public:
    using Heard = std::function<void(RunEnd)>;

    /// Tells nobody.
    RunEnding() = default;
    /// @param main outlives all copies.
    /// @param subject what the run is for. Once it has gone, every end is told as subjectGone.
    RunEnding(MainQueue& main, WeakToken subject, Heard heard);

    /// The first call is heard, the later ones are not. Main thread.
    void tell(RunEnd end) const;
    /// Whether work on the run has become pointless. Any thread.
    bool isSubjectGone() const;

private:
    struct Shared;
    std::shared_ptr<Shared> shared_;
};

}  // namespace kelvaris

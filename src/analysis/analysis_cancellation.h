#pragma once

#include <atomic>
#include <memory>

namespace kelvaris {

/// Calls off a run of work. A run that is handed one stops at its next check; nothing else is undone.
/// Any thread.
class AnalysisCancellation {
public:
    void cancel() { cancelled_ = true; }
    bool isCancelled() const { return cancelled_; }

private:
    std::atomic<bool> cancelled_{false};
};

using AnalysisCancellationPointer = std::shared_ptr<AnalysisCancellation>;

}  // namespace kelvaris

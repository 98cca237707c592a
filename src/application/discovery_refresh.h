#pragma once

#include <deque>
#include <functional>

#include "analysis/analysis_orchestrator.h"
#include "application/app_view_model.h"
#include "discovery/discovery_progress.h"

namespace kelvaris {

/// Brings the photos of rolls up to the present models and switches, roll by roll. Main thread; the work
/// runs on the orchestrator's queues.
class DiscoveryRefresh {
public:
    /// Both must outlive the object.
    DiscoveryRefresh(AppViewModel& app, AnalysisOrchestrator& orchestrator)
        : app_(app), orchestrator_(orchestrator) {}
    ~DiscoveryRefresh() { cancel(); }

    /// Takes those of the rolls that are connected and at rest; their gems are chosen anew and they are
    /// saved as each one ends.
    /// @param onComplete after the last roll; may be empty.
    /// @return false when a refresh is running; then nothing is called.
    bool start(const std::vector<RollPointer>& rolls, std::function<void()> onComplete);
    /// Ends a running refresh at its next photo. What was found stays, and is saved.
    void cancel();

    bool isRunning() const { return isRunning_; }
    /// Photos that were behind, in the rolls that were begun so far.
    const DiscoveryProgress& progress() const { return progress_; }

private:
    struct Call;

    void next();
    void finish(FilmRoll& roll);

    AppViewModel& app_;
    AnalysisOrchestrator& orchestrator_;
    AnalysisCancellationPointer cancellation_;
    std::deque<std::weak_ptr<FilmRoll>> waiting_;
    std::weak_ptr<FilmRoll> current_;
    std::function<void()> onComplete_;
    DiscoveryProgress progress_;
    DiscoveryProgress before_;  ///< of the rolls that are done
    bool isRunning_ = false;
};

}  // namespace kelvaris

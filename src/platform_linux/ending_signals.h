#pragma once

#include <signal.h>

#include <array>
#include <chrono>
#include <optional>

namespace kelvaris {

/// Takes the signals that ask a program to end (hang-up, interrupt, termination) for as long as it lives,
/// and passes over broken pipes, so that a reader who went away cannot stop a save. A signal that the
/// program was started to ignore stays ignored.
///
/// The first signal is noted, and leaves the program `grace` to save and end by itself; then, or at a second
/// signal, the process ends at once with 128 + the signal's number. Terminals and time limits send one
/// signal several times in a row; what comes within `oneBurst` counts as the first.
///
/// Signals belong to the process: one object at a time.
class EndingSignals {
public:
    static constexpr std::chrono::seconds grace{5};
    static constexpr std::chrono::milliseconds oneBurst{250};

    /// @param wakeDescriptor an event descriptor that is written to when a signal arrives.
    explicit EndingSignals(int wakeDescriptor);
    ~EndingSignals();
    EndingSignals(const EndingSignals&) = delete;
    EndingSignals& operator=(const EndingSignals&) = delete;

    std::optional<int> received() const;

private:
    static constexpr int taken[] = {SIGHUP, SIGINT, SIGTERM, SIGALRM, SIGPIPE};
    std::array<struct sigaction, std::size(taken)> before_{};
};

}  // namespace kelvaris

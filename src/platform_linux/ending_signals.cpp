#include "platform_linux/ending_signals.h"

#include <time.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdint>
#include <string_view>

namespace kelvaris {

namespace {

// A handler sees nothing but these. They are free of locks, which a handler must not take.
std::atomic<int> wakeTarget{-1};
std::atomic<int> firstSignal{0};
std::atomic<std::int64_t> firstTime{0};
static_assert(std::atomic<int>::is_always_lock_free && std::atomic<std::int64_t>::is_always_lock_free);

std::int64_t milliseconds() {
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<std::int64_t>(now.tv_sec) * 1000 + now.tv_nsec / 1'000'000;
}

void noteSignal(int number) {
    const int errorBefore = errno;
    int none = 0;
    if (firstSignal.compare_exchange_strong(none, number)) {
        firstTime = milliseconds();
        alarm(EndingSignals::grace.count());
        const std::uint64_t one = 1;
        [[maybe_unused]] const auto written = write(wakeTarget, &one, sizeof one);
    } else if (milliseconds() - firstTime >= EndingSignals::oneBurst.count()) {
        _exit(128 + number);
    }
    errno = errorBefore;
}

void endAfterGrace(int) {
    if (firstSignal == 0) return;
    constexpr std::string_view text = "Stopped while work was under way.\n";
    [[maybe_unused]] const auto written = write(STDERR_FILENO, text.data(), text.size());
    _exit(128 + firstSignal);
}

}  // namespace

EndingSignals::EndingSignals(int wakeDescriptor) {
    wakeTarget = wakeDescriptor;
    firstSignal = 0;
    for (std::size_t i = 0; i < std::size(taken); ++i) {
        sigaction(taken[i], nullptr, &before_[i]);
        struct sigaction action {};
        sigemptyset(&action.sa_mask);
        action.sa_flags = SA_RESTART;
        action.sa_handler = taken[i] == SIGPIPE ? SIG_IGN : taken[i] == SIGALRM ? endAfterGrace : noteSignal;
        if (before_[i].sa_handler != SIG_IGN || taken[i] == SIGALRM) sigaction(taken[i], &action, nullptr);
    }
}

EndingSignals::~EndingSignals() {
    alarm(0);
    for (std::size_t i = 0; i < std::size(taken); ++i) sigaction(taken[i], &before_[i], nullptr);
    wakeTarget = -1;
}

std::optional<int> EndingSignals::received() const {
    const int number = firstSignal;
    return number == 0 ? std::nullopt : std::optional(number);
}

}  // namespace kelvaris

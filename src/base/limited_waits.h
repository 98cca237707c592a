#pragma once

#include <chrono>
#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <utility>

namespace kelvaris {

/// Waits of a worker for another one that may be stuck. The waiter gives up in the end; the stuck
/// worker is left behind, so everything that it touches must be owned by what it runs. Any thread.
class LimitedWaits {
public:
    virtual ~LimitedWaits() = default;

    /// Waits until `done()` holds, at most `limit`. `lock` must be held; `done` is asked under it, and
    /// whoever makes it true notifies `changed`.
    /// @return whether `done()` holds.
    virtual bool wait(std::unique_lock<std::mutex>& lock, std::condition_variable& changed,
                      std::chrono::nanoseconds limit, const std::function<bool()>& done) = 0;

    /// Runs the operation on a thread that nobody waits for at the end. It must not throw.
    virtual void launch(std::function<void()> operation) = 0;
};

/// The real form: threads and the machine's own clock.
class ThreadedLimitedWaits final : public LimitedWaits {
public:
    bool wait(std::unique_lock<std::mutex>& lock, std::condition_variable& changed,
              std::chrono::nanoseconds limit, const std::function<bool()>& done) override;
    void launch(std::function<void()> operation) override;
};

/// Runs the operation on another thread and waits for its value, at most `limit`.
/// @return nothing when the limit passed; the operation then goes on and its value is dropped.
template <class T>
std::optional<T> runLimited(LimitedWaits& waits, std::chrono::nanoseconds limit,
                            std::function<T()> operation) {
    struct Box {
        std::mutex mutex;
        std::condition_variable changed;
        std::optional<T> value;
    };
    const auto box = std::make_shared<Box>();
    waits.launch([box, operation = std::move(operation)]() mutable {
        T value = operation();
        // What the operation captured ends before anyone hears that it is done.
        operation = nullptr;
        const std::scoped_lock lock(box->mutex);
        box->value = std::move(value);
        box->changed.notify_all();
    });
    std::unique_lock lock(box->mutex);
    if (!waits.wait(lock, box->changed, limit, [&] { return box->value.has_value(); })) return std::nullopt;
    return std::move(box->value);
}

}  // namespace kelvaris

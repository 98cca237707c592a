#pragma once

#include <condition_variable>
#include <cstddef>
#include <functional>
#include <map>
#include <mutex>
#include <utility>

namespace kelvaris {

/// A row of values that several threads make and one thread takes, in order. No more than `window` of
/// them are made ahead, so that a long row never stands in memory at once.
///
/// The taker makes values too while the next one is not ready: it needs no helper to come, and a helper
/// that comes late finds nothing left and touches nothing but this object, which it must keep alive.
template <class Value>
class OrderedProduction {
public:
    OrderedProduction(std::size_t count, std::size_t window, std::function<Value(std::size_t)> make)
        : count_(count), window_(window), make_(std::move(make)) {}

    /// Makes values until none is left to begin. Any thread.
    void help() {
        std::unique_lock lock(mutex_);
        for (;;) {
            changed_.wait(lock, [this] { return next_ == count_ || mayBegin(); });
            if (next_ == count_) return;
            makeNext(lock);
        }
    }

    /// Takes all values, in order. One thread, once.
    template <class Take>
    void takeAll(Take&& take) {
        std::unique_lock lock(mutex_);
        while (taken_ < count_) {
            auto ready = ready_.extract(taken_);
            if (ready) {
                ++taken_;
                changed_.notify_all();
                lock.unlock();
                take(std::move(ready.mapped()));
                lock.lock();
            } else if (mayBegin()) {
                makeNext(lock);
            } else {
                changed_.wait(lock);
            }
        }
    }

private:
    bool mayBegin() const { return next_ < count_ && next_ < taken_ + window_; }

    void makeNext(std::unique_lock<std::mutex>& lock) {
        const std::size_t index = next_++;
        lock.unlock();
        Value value = make_(index);
        lock.lock();
        ready_.emplace(index, std::move(value));
        changed_.notify_all();
    }

    const std::size_t count_;
    const std::size_t window_;
    const std::function<Value(std::size_t)> make_;
    std::mutex mutex_;
    std::condition_variable changed_;
    std::map<std::size_t, Value> ready_;
    std::size_t next_ = 0;   ///< the first value that nobody has begun
    std::size_t taken_ = 0;  ///< values that were taken
};

}  // namespace kelvaris

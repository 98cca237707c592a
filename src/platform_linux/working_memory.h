#pragma once

#include <condition_variable>
#include <cstdint>
#include <mutex>

namespace kelvaris {

/// Memory that decoders may hold at once beyond a few rows each. Formats that must be held whole to give any
/// pixel (progressive JPEG, HEIC, interlaced PNG) would otherwise take hundreds of megabytes on every thread
/// of a wide queue. Any thread.
class WorkingMemory {
public:
    explicit WorkingMemory(std::int64_t bytes) : capacity_(bytes) {}

    /// A part of the memory, taken for as long as this lives. Waits until it is free; what is larger than
    /// all of it waits until it is alone.
    class Share {
    public:
        Share(WorkingMemory& memory, std::int64_t bytes) : memory_(memory), bytes_(bytes) {
            if (bytes_ <= 0) return;
            std::unique_lock lock(memory_.mutex_);
            memory_.freed_.wait(
                lock, [this] { return memory_.used_ == 0 || memory_.used_ + bytes_ <= memory_.capacity_; });
            memory_.used_ += bytes_;
        }
        ~Share() {
            if (bytes_ <= 0) return;
            const std::scoped_lock lock(memory_.mutex_);
            memory_.used_ -= bytes_;
            memory_.freed_.notify_all();
        }
        Share(const Share&) = delete;
        Share& operator=(const Share&) = delete;

    private:
        WorkingMemory& memory_;
        const std::int64_t bytes_;
    };

private:
    const std::int64_t capacity_;
    std::mutex mutex_;
    std::condition_variable freed_;
    std::int64_t used_ = 0;
};

}  // namespace kelvaris

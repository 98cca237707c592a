#pragma once

#include <condition_variable>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace kelvaris {

/// Which waiting operation goes first; equal ones go in the order of adding.
enum class OperationPriority : int { veryLow = -8, low = -4, normal = 0, high = 4, veryHigh = 8 };

/// Work that leaves the main thread, at most `width` operations at a time.
/// Operations receive values, and answer through the main queue.
class OperationQueue {
public:
    using Operation = std::function<void()>;

    virtual ~OperationQueue() = default;
    /// Any thread. The operation must not throw.
    virtual void add(Operation operation, OperationPriority priority = OperationPriority::normal) = 0;
    virtual const std::string& name() const = 0;
    virtual int width() const = 0;
};

/// Makes the queues of a running system, so that the same objects run on threads or under a test's hand.
class OperationQueueFactory {
public:
    virtual ~OperationQueueFactory() = default;
    virtual std::unique_ptr<OperationQueue> makeQueue(std::string name, int width) = 0;
};

/// Operations on threads of its own, started as they are first needed.
class ThreadedOperationQueue final : public OperationQueue {
public:
    /// @param atThreadEnd runs on each thread before it ends (a library's per-thread clean-up).
    ThreadedOperationQueue(std::string name, int width, std::function<void()> atThreadEnd = nullptr);
    /// Drops what still waits, and waits for what runs.
    ~ThreadedOperationQueue() override;

    void add(Operation operation, OperationPriority priority = OperationPriority::normal) override;
    const std::string& name() const override { return name_; }
    int width() const override { return width_; }

    /// Blocks until nothing waits and nothing runs.
    void waitUntilIdle();

private:
    void work();

    const std::string name_;
    const int width_;
    const std::function<void()> atThreadEnd_;
    std::mutex mutex_;
    std::condition_variable changed_;
    std::map<std::pair<int, std::uint64_t>, Operation> waiting_;  // keyed by (-priority, sequence)
    std::uint64_t nextSequence_ = 0;
    int idle_ = 0;
    int running_ = 0;
    bool stopping_ = false;
    std::vector<std::thread> threads_;
};

/// Queues on threads of their own, all with the same clean-up at a thread's end.
class ThreadedOperationQueueFactory final : public OperationQueueFactory {
public:
    explicit ThreadedOperationQueueFactory(std::function<void()> atThreadEnd = nullptr)
        : atThreadEnd_(std::move(atThreadEnd)) {}

    std::unique_ptr<OperationQueue> makeQueue(std::string name, int width) override {
        return std::make_unique<ThreadedOperationQueue>(std::move(name), width, atThreadEnd_);
    }

private:
    std::function<void()> atThreadEnd_;
};

}  // namespace kelvaris

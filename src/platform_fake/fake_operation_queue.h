#pragma once

#include <map>
#include <memory>
#include <vector>

#include "base/operation_queue.h"

namespace kelvaris {

/// A queue that works only when told to, on the caller's thread: a test decides how late work is.
class FakeOperationQueue final : public OperationQueue {
public:
    FakeOperationQueue(std::string name, int width) : name_(std::move(name)), width_(width) {}

    void add(Operation operation, OperationPriority priority = OperationPriority::normal) override;
    const std::string& name() const override { return name_; }
    int width() const override { return width_; }

    std::size_t waitingCount() const { return waiting_.size(); }
    /// Runs the first waiting operation. @return false when none waits.
    bool runNext();
    /// Runs until none waits, with those that are added meanwhile.
    void runAll();

private:
    std::string name_;
    int width_;
    std::map<std::pair<int, std::uint64_t>, Operation> waiting_;
    std::uint64_t nextSequence_ = 0;
};

/// Makes fake queues and keeps an eye on them; a queue's owner may be gone before this is.
class FakeOperationQueueFactory final : public OperationQueueFactory {
public:
    std::unique_ptr<OperationQueue> makeQueue(std::string name, int width) override;

    /// The newest living queue of that name, or nullptr.
    FakeOperationQueue* queue(std::string_view name);
    /// Runs all queues until none has work. @return whether anything ran.
    bool runAll();

private:
    class Tracked;
    std::vector<FakeOperationQueue*> queues_;
};

}  // namespace kelvaris

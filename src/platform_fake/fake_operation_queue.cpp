#include "platform_fake/fake_operation_queue.h"

#include <algorithm>

namespace kelvaris {

void FakeOperationQueue::add(Operation operation, OperationPriority priority) {
    waiting_.emplace(std::pair{-static_cast<int>(priority), nextSequence_++}, std::move(operation));
}

bool FakeOperationQueue::runNext() {
    if (waiting_.empty()) return false;
    const Operation operation = std::move(waiting_.begin()->second);
    waiting_.erase(waiting_.begin());
    operation();
    return true;
}

void FakeOperationQueue::runAll() {
    while (runNext()) {
    }
}

/// Hands the work on to a queue that the factory also knows, and strikes it off its list at the end.
class FakeOperationQueueFactory::Tracked final : public OperationQueue {
public:
    Tracked(FakeOperationQueueFactory& factory, std::string name, int width)
        : factory_(factory), queue_(std::move(name), width) {
        factory_.queues_.push_back(&queue_);
    }
    ~Tracked() override { std::erase(factory_.queues_, &queue_); }

    void add(Operation operation, OperationPriority priority) override {
        queue_.add(std::move(operation), priority);
    }
    const std::string& name() const override { return queue_.name(); }
    int width() const override { return queue_.width(); }

private:
    FakeOperationQueueFactory& factory_;
    FakeOperationQueue queue_;
};

std::unique_ptr<OperationQueue> FakeOperationQueueFactory::makeQueue(std::string name, int width) {
    return std::make_unique<Tracked>(*this, std::move(name), width);
}

FakeOperationQueue* FakeOperationQueueFactory::queue(std::string_view name) {
    const auto found = std::find_if(queues_.rbegin(), queues_.rend(),
                                    [&](const FakeOperationQueue* queue) { return queue->name() == name; });
    return found == queues_.rend() ? nullptr : *found;
}

bool FakeOperationQueueFactory::runAll() {
    bool ran = false;
    for (bool again = true; again;) {
        again = false;
        for (FakeOperationQueue* queue : std::vector(queues_)) {
            if (std::find(queues_.begin(), queues_.end(), queue) != queues_.end() && queue->runNext()) {
                again = ran = true;
            }
        }
    }
    return ran;
}

}  // namespace kelvaris

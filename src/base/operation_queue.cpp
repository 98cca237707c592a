#include "base/operation_queue.h"

namespace kelvaris {

ThreadedOperationQueue::ThreadedOperationQueue(std::string name, int width, std::function<void()> atThreadEnd)
    : name_(std::move(name)), width_(width), atThreadEnd_(std::move(atThreadEnd)) {}

ThreadedOperationQueue::~ThreadedOperationQueue() {
    std::map<std::pair<int, std::uint64_t>, Operation> dropped;  // destroyed outside the lock
    {
        const std::lock_guard lock(mutex_);
        stopping_ = true;
        dropped.swap(waiting_);
        changed_.notify_all();
    }
    for (std::thread& thread : threads_) thread.join();
}

void ThreadedOperationQueue::add(Operation operation, OperationPriority priority) {
    const std::lock_guard lock(mutex_);
    if (stopping_) return;
    waiting_.emplace(std::pair{-static_cast<int>(priority), nextSequence_++}, std::move(operation));
    if (static_cast<std::size_t>(idle_) < waiting_.size() &&
        threads_.size() < static_cast<std::size_t>(width_)) {
        threads_.emplace_back([this] { work(); });
    }
    changed_.notify_all();
}

void ThreadedOperationQueue::work() {
    std::unique_lock lock(mutex_);
    for (;;) {
        ++idle_;
        changed_.wait(lock, [this] { return stopping_ || !waiting_.empty(); });
        --idle_;
        if (stopping_) break;
        Operation operation = std::move(waiting_.begin()->second);
        waiting_.erase(waiting_.begin());
        ++running_;
        lock.unlock();
        operation();
        operation = nullptr;
        lock.lock();
        --running_;
        changed_.notify_all();
    }
    lock.unlock();
    if (atThreadEnd_) atThreadEnd_();
}

void ThreadedOperationQueue::waitUntilIdle() {
    std::unique_lock lock(mutex_);
    changed_.wait(lock, [this] { return waiting_.empty() && running_ == 0; });
}

}  // namespace kelvaris

// The faults of the machine in memory: steps that fail, crashes, and what a power cut leaves.

#include "platform_fake/fake_files_tree.h"

namespace kelvaris {

using namespace fake_files;

void FakeFiles::failAtStep(std::size_t number, Code code) {
    const std::lock_guard guard(mutex_);
    steps_.clear();
    failAt_ = number;
    failCode_ = code;
    crashAt_ = 0;
}

void FakeFiles::crashAtStep(std::size_t number) {
    const std::lock_guard guard(mutex_);
    steps_.clear();
    crashAt_ = number;
    failAt_ = 0;
}

void FakeFiles::restart() {
    const std::lock_guard guard(mutex_);
    for (auto undo = unflushedNames_.rbegin(); undo != unflushedNames_.rend(); ++undo) undo->second();
    unflushedNames_.clear();
    const auto lose = [](const auto& self, const NodePointer& node) -> void {
        node->bytes = node->flushed;
        for (const auto& [name, child] : node->children) self(self, child);
    };
    lose(lose, root_);
    locked_->clear();
    clearFaults();
}

void FakeFiles::clearFaults() {
    const std::lock_guard guard(mutex_);
    failAt_ = crashAt_ = 0;
    crashed_ = false;
    steps_.clear();
}

std::size_t FakeFiles::stepCount() const {
    const std::lock_guard guard(mutex_);
    return steps_.size();
}

std::vector<FakeFiles::Step> FakeFiles::steps() const {
    const std::lock_guard guard(mutex_);
    return steps_;
}

void FakeFiles::resetSteps() {
    const std::lock_guard guard(mutex_);
    steps_.clear();
}

std::size_t FakeFiles::readCount(const Path& path) const {
    const std::lock_guard guard(mutex_);
    const auto found = readCounts_.find(path);
    return found == readCounts_.end() ? 0 : found->second;
}

std::size_t FakeFiles::listCount(const Path& folder) const {
    const std::lock_guard guard(mutex_);
    const auto found = listCounts_.find(folder);
    return found == listCounts_.end() ? 0 : found->second;
}

FileResult<void> FakeFiles::step(Step step) {
    if (auto living = alive(); !living) return living;
    steps_.push_back(step);
    if (steps_.size() == crashAt_) {
        crashed_ = true;
        return failure(Code::other);
    }
    if (steps_.size() == failAt_) return failure(failCode_);
    return {};
}

FileResult<void> FakeFiles::alive() const {
    if (crashed_) return failure(Code::other);
    return {};
}

FileResult<void> FakeFiles::reserve(std::int64_t growth) {
    if (growth > freeSpace_) return failure(Code::noSpace);
    freeSpace_ -= growth;
    return {};
}

}  // namespace kelvaris
